#include "scf/turn.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/link.h"
#include "numeric/product.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr double kLargestTurn = 0.1;      ///< radians
constexpr double kLargestOverlap = 0.05;  ///< of the turned orbitals less unit, a norm
constexpr double kSmallestTerm = 1e-17;   ///< of the series below

/// The two sides of the Fermi level: the smaller one, whose orbitals are made orthonormal, and the
/// other.
struct Sides {
    int n, nSmall, nLarge, nFirstSmall, nFirstLarge;
};

Sides SidesOf(const Shells& shells) {
    const int n = shells.n, nFull = shells.nFull;
    if (n - nFull < nFull) return {n, n - nFull, nFull, nFull, 0};
    return {n, nFull, n - nFull, 0, nFull};
}

/// The turns F_pq / (e_p - e_q), nSmall x nLarge. False where one is too large. What leads out of
/// the smaller side is taken at right angles to it, so that where nothing does, no turn is left,
/// however little orthonormal the other side is.
bool MakeTurns(const Sides& sides, const double* mFock, const double* vLevel,
               const double* mVectors, double* mTurns, double* mWork) {
    const double* mSmall = Row(mVectors, sides.n, sides.nFirstSmall);
    Multiply(sides.nSmall, sides.n, sides.n, mSmall, mFock, mWork);
    double* mWithin = mTurns;
    MultiplyByTransposed(sides.nSmall, sides.n, sides.nSmall, mWork, mSmall, mWithin);
    AddProduct({sides.nSmall, sides.nSmall, sides.n, Plain(mWithin, sides.nSmall),
                Plain(mSmall, sides.n), mWork, sides.n, -1.0});
    MultiplyByTransposed(sides.nSmall, sides.n, sides.nLarge, mWork,
                         Row(mVectors, sides.n, sides.nFirstLarge), mTurns);
    Yield(3 * static_cast<std::size_t>(sides.n) * static_cast<std::size_t>(sides.nSmall));
    for (int p = 0; p < sides.nSmall; ++p) {
        double* v = Row(mTurns, sides.nLarge, p);
        const double e = vLevel[sides.nFirstSmall + p];
        for (int q = 0; q < sides.nLarge; ++q) {
            v[q] /= e - vLevel[sides.nFirstLarge + q];
            if (!(std::abs(v[q]) < kLargestTurn)) return false;
        }
    }
    return true;
}

/// The largest sum of a row's magnitudes, which no eigenvalue exceeds.
double NormOf(int n, const double* m) {
    double dLargest = 0.0;
    for (int i = 0; i < n; ++i) {
        double d = 0.0;
        for (int j = 0; j < n; ++j) d += std::abs(Row(m, n, i)[j]);
        dLargest = std::max(dLargest, d);
    }
    return dLargest;
}

/// (1 + E)^(-1/2) by its series, n x n, for E of the norm d, by Horner's rule. The result is in
/// mRoot; mWork is scratch.
void InverseRoot(int n, const double* mE, double d, double* mRoot, double* mWork) {
    double vTerms[64] = {1.0};
    int nTerms = 1;
    for (double dTerm = 1.0; dTerm > kSmallestTerm && nTerms < 64; ++nTerms) {
        vTerms[nTerms] = vTerms[nTerms - 1] * (0.5 - nTerms) / nTerms;
        dTerm *= d;
    }
    const std::size_t nSquare = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    const auto AddUnit = [n](double dFactor, double* m) {
        for (int i = 0; i < n; ++i) Row(m, n, i)[i] += dFactor;
    };
    std::fill_n(mRoot, nSquare, 0.0);
    AddUnit(vTerms[nTerms - 1], mRoot);
    for (int k = nTerms - 2; k >= 0; --k) {
        Multiply(n, n, n, mE, mRoot, mWork);
        std::copy_n(mWork, nSquare, mRoot);
        AddUnit(vTerms[k], mRoot);
        Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    }
}

}  // namespace

bool TurnOrbitals(const Shells& shells, double* mFock, const double* vLevel, double* mVectors,
                  double* mFirst, double* mSecond) {
    const Sides sides = SidesOf(shells);
    const int n = sides.n, s = sides.nSmall, l = sides.nLarge;
    if (shells.nOpen != 0 || s == 0) return false;
    double *mTurns = mFirst, *mStep = mSecond;
    double *mSmall = Row(mVectors, n, sides.nFirstSmall),
           *mLarge = Row(mVectors, n, sides.nFirstLarge);
    if (!MakeTurns(sides, mFock, vLevel, mVectors, mTurns, mStep)) return false;

    // The overlap of the turned orbitals less unit: what the turns are among themselves.
    double* mOverlap = mFock;
    MultiplyByTransposed(s, l, s, mTurns, mTurns, mOverlap);
    if (!(NormOf(s, mOverlap) < kLargestOverlap)) return false;
    Multiply(s, l, n, mTurns, mLarge, mStep);
    AddProduct({l, s, n, Transposed(mTurns, l), Plain(mSmall, n), mLarge, n, -1.0});
    for (std::size_t i = 0; i < static_cast<std::size_t>(s) * static_cast<std::size_t>(n); ++i)
        mStep[i] += mSmall[i];
    Yield(2 * static_cast<std::size_t>(n) * static_cast<std::size_t>(s));

    MultiplyByTransposed(s, n, s, mStep, mStep, mOverlap);
    for (int i = 0; i < s; ++i) Row(mOverlap, s, i)[i] -= 1.0;
    double *mRoot = mTurns, *mWork = mOverlap + static_cast<std::ptrdiff_t>(s) * s;
    InverseRoot(s, mOverlap, NormOf(s, mOverlap), mRoot, mWork);
    Multiply(s, s, n, mRoot, mStep, mSmall);
    return true;
}

}  // namespace qsolve
