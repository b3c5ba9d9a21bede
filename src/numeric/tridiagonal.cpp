#include "numeric/tridiagonal.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "numeric/kernels.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon() / 2.0;
constexpr double kSmallestNormal = std::numeric_limits<double>::min();

/// The eigenvalue of the block of rows m - 1 and m that is nearer to the last element. vSquares are
/// those of the elements beside the diagonal.
double Shift(const double* d, const double* vSquares, int m) {
    const double dMiddle = (d[m - 1] + d[m]) / 2.0;
    const double a = d[m] - dMiddle;
    const double r = std::sqrt(a * a + vSquares[m - 1]);
    return dMiddle + (a < 0.0 ? -r : r);
}

/// One step T := R Q + shift with T - shift = Q R, on the rows l .. m, on the squares of the
/// elements beside the diagonal and without a root: its chain of operations is the shorter by it.
/// 1/c is taken as r/p, which is divided beside c and s and not behind them.
void QrStep(double* d, double* vSquares, int l, int m) {
    const double dShift = Shift(d, vSquares, m);
    double c = 1.0, s = 0.0;  // squares of the rotation's cosine and sine
    double g = d[l] - dShift, p = g * g;
    for (int k = l; k < m; ++k) {
        const double b = vSquares[k], r = p + b;
        if (k > l) vSquares[k - 1] = s * r;
        const double dOldCosine = c, dOld = g, a = d[k + 1];
        c = r == 0.0 ? 1.0 : p / r;
        s = r == 0.0 ? 0.0 : b / r;
        g = c * (a - dShift) - s * dOld;
        d[k] = dOld + (a - g);
        p = c >= kSmallestNormal ? g * g * (r / p) : c == 0.0 ? dOldCosine * b : g * g / c;
    }
    vSquares[m - 1] = s * p;
    d[m] = g + dShift;
}

/// One step on the rows l .. m, with the eigenvalue of the first 2 x 2 block as shift.
void QlStep(int nColumns, int l, int m, double* d, double* e, double* mVectors, int nStep) {
    const double p = (d[l + 1] - d[l]) / (2.0 * e[l]), dRoot = std::sqrt(p * p + 1.0);
    double g = d[m] - d[l] + e[l] / (p + std::copysign(dRoot, p));
    double s = 1.0, c = 1.0, dMoved = 0.0;
    int i = m - 1;
    for (; i >= l; --i) {
        const double f = s * e[i], b = c * e[i], r = std::sqrt(f * f + g * g);
        e[i + 1] = r;
        if (r == 0.0) break;  // the matrix falls apart here
        s = f / r;
        c = g / r;
        g = d[i + 1] - dMoved;
        const double t = (d[i] - g) * s + 2.0 * c * b;
        dMoved = s * t;
        d[i + 1] = g + dMoved;
        g = c * t - b;
        kernels->Rotate(nColumns, c, s, Row(mVectors, nStep, i + 1), Row(mVectors, nStep, i));
    }
    if (i >= l) {
        d[i + 1] -= dMoved;
    } else {
        d[l] -= dMoved;
        e[l] = g;
    }
    e[m] = 0.0;
}

/// Brings the vectors into the order of their values.
void SortVectors(int n, int nColumns, double* d, double* mVectors, int nStep) {
    for (int i = 0; i + 1 < n; ++i) {
        const int k = static_cast<int>(std::min_element(d + i, d + n) - d);
        if (k == i) continue;
        std::swap(d[i], d[k]);
        double* x = Row(mVectors, nStep, i);
        std::swap_ranges(x, x + nColumns, Row(mVectors, nStep, k));
    }
}

}  // namespace

double TridiagonalNorm(int n, const double* vDiagonal, const double* vOff) {
    double dNorm = std::abs(vDiagonal[0]) + std::abs(vOff[0]);
    for (int i = 1; i < n; ++i)
        dNorm = std::max(dNorm, std::abs(vOff[i - 1]) + std::abs(vDiagonal[i]) + std::abs(vOff[i]));
    return dNorm;
}

int TridiagonalEigenvalues(int n, double dNegligible, double* vValues, double* vOff) {
    int nSteps = 0;
    const double dNegligibleSquare = std::copysign(dNegligible * dNegligible, dNegligible);
    for (int i = 0; i < n; ++i) vOff[i] *= vOff[i];
    for (int m = n - 1, nHere = 0; m > 0;) {
        int l = m;
        while (l > 0 && vOff[l - 1] >= dNegligibleSquare) --l;
        if (l == m || nHere == kMostSteps) {
            --m;
            nHere = 0;
            continue;
        }
        QrStep(vValues, vOff, l, m);
        ++nHere;
        ++nSteps;
    }
    SortValues(n, vValues);
    return nSteps;
}

void TridiagonalVectors(int n, int nColumns, double* vValues, double* vOff, double* mVectors,
                        int nStep) {
    const double dNegligible = kEpsilon * TridiagonalNorm(n, vValues, vOff);
    for (int l = 0; l < n; ++l) {
        for (int nSteps = 0; nSteps < kMostSteps; ++nSteps) {
            int m = l;
            while (m + 1 < n && std::abs(vOff[m]) > dNegligible) ++m;
            if (m == l) break;
            QlStep(nColumns, l, m, vValues, vOff, mVectors, nStep);
        }
    }
    SortVectors(n, nColumns, vValues, mVectors, nStep);
}

void WidenRange(int n, const double* vValues, int& nFirst, int& nEnd) {
    if (nFirst >= nEnd) return;
    while (nFirst > 0 && vValues[nFirst - 1] == vValues[nFirst]) --nFirst;
    while (nEnd < n && vValues[nEnd] == vValues[nEnd - 1]) ++nEnd;
}

void SortValues(int n, double* vValues) {
    std::sort(vValues, vValues + n,
              [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
}

}  // namespace qsolve
