#include "numeric/paired_steps.h"

#include <cmath>

#include "numeric/tridiagonal.h"

namespace qsolve {
namespace {

/// A double of each step.
using Pair = double __attribute__((vector_size(16)));

/// Of dNegligible, what an element g below it is taken as: too little to move an eigenvalue, enough
/// to be divided by.
constexpr double kTiny = 1e-14;

/// Two steps T := R Q + shift with T - shift = Q R, on the squares of the elements beside the
/// diagonal. With c and s, the squares of a rotation's cosine and sine, a step goes down the rows
/// by
///
///     c = p / r,  s = b / r,  r = p + b,    g := c (a - shift) - s g,    p := g^2 / c
///
/// where b and a are the next elements. Here g is u / r with u = p (a - shift) - b g, and p is
/// u^2 / (r p): from one p to the next there is one division and not two.
struct Steps {
    double dShift, dTiny;
    // Lane 0 is the first step's. The second begins with nothing beside the row before its first,
    // and so has there what a first step has.
    Pair g = {}, p = {1.0, 1.0}, s = {};
    double aBetween = 0.0, bBetween = 0.0;  ///< what the first has made of its last row

    /// From a first row with dAt on the diagonal.
    void Begin(double dAt) {
        const double x = dAt - dShift;
        g = Pair{std::abs(x) < dTiny ? dTiny : x, 1.0};
        p = g * g;
    }

    /// The first step takes one row more, with its elements a and b, and the second what the first
    /// has made of the row before; of two rows before, dDone and bDone are what both have made.
    void Take(double a, double b, double& dDone, double& bDone) {
        const Pair va = {a, aBetween}, vb = {b, bBetween}, r = p + vb;
        Pair u = p * (va - dShift) - vb * g;
        const auto fSmall = (u < dTiny * r) & (u > -dTiny * r);
        if (fSmall[0] | fSmall[1]) u = fSmall ? dTiny * r : u;
        const Pair gNext = u / r, squares = s * r, d = g + (va - gNext);
        s = vb / r;
        p = u * u / (r * p);
        g = gNext;
        aBetween = d[0];
        bBetween = squares[0];
        dDone = d[1];
        bDone = squares[1];
    }
};

/// Both steps on the rows l .. m, three of them at least.
void TakeTwoSteps(int l, int m, double dShift, double dTiny, double* d, double* b) {
    Steps steps{dShift, dTiny};
    steps.Begin(d[l]);
    for (int k = l; k < m + 3; ++k) {
        const bool fBoth = k < m;  // from m on the first step has nothing more to take
        double dDone, bDone;
        steps.Take(fBoth ? d[k + 1] : 0.0, fBoth ? b[k] : 0.0, dDone, bDone);
        if (k >= l + 2) d[k - 2] = dDone;
        if (k >= l + 3) b[k - 3] = bDone;
    }
}

}  // namespace

void PairedEigenvalues(int n, double dNegligible, double* vValues, double* vOff) {
    const double dSquare = dNegligible * dNegligible;
    double *d = vValues, *b = vOff;
    for (int i = 0; i < n; ++i) b[i] *= b[i];
    for (int m = n - 1, nHere = 0; m > 0;) {
        int l = m;
        while (l > 0 && b[l - 1] >= dSquare) --l;
        if (l == m || nHere >= kMostSteps) {
            --m;
            nHere = 0;
            continue;
        }
        const double dMiddle = (d[m - 1] + d[m]) / 2.0, a = d[m] - dMiddle;
        const double r = std::copysign(std::sqrt(a * a + b[m - 1]), a);
        if (m - l == 1) {
            d[m - 1] = dMiddle - r;
            d[m] = dMiddle + r;
            m -= 2;
            nHere = 0;
            continue;
        }
        TakeTwoSteps(l, m, dMiddle + r, kTiny * dNegligible, d, b);
        nHere += 2;
    }
    SortValues(n, vValues);
}

}  // namespace qsolve
