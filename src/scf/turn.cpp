#include "scf/turn.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "link/link.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
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

/// C = A B^T where that is symmetric, by its lower triangle. mA and mB are nRows x nInner.
void SymmetricByTransposed(int nRows, int nInner, const double* mA, const double* mB, double* mC) {
    std::fill(mC, Row(mC, nRows, nRows), 0.0);
    Product product{nRows, nInner, nRows, Plain(mA, nInner), Transposed(mB, nInner), mC, nRows};
    product.triangle = Triangle::kLower;
    AddProduct(product);
    MirrorLower(nRows, mC);
}

/// The turns F_pq / (e_p - e_q), nSmall x nLarge. False where one is too large. What leads out of
/// the smaller side is taken at right angles to it, so that where nothing does, no turn is left,
/// however little orthonormal the other side is.
bool MakeTurns(const Sides& sides, const double* mFock, const double* vLevel,
               const double* mVectors, double* mTurns, double* mWork) {
    const double* mSmall = Row(mVectors, sides.n, sides.nFirstSmall);
    Multiply(sides.nSmall, sides.n, sides.n, mSmall, mFock, mWork);
    double* mWithin = mTurns;
    SymmetricByTransposed(sides.nSmall, sides.n, mWork, mSmall, mWithin);
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

/// (1 + E)^(-1/2) by its series, n x n, for E of the norm d: by Horner's rule in E^2, with
/// coefficients that are linear in E. The result is in the first of three squares of scratch.
void InverseRoot(int n, const double* mE, double d, double* mScratch) {
    double vTerms[64] = {1.0};
    int nTerms = 1;
    for (double dTerm = 1.0; dTerm > kSmallestTerm && nTerms < 64; ++nTerms) {
        vTerms[nTerms] = vTerms[nTerms - 1] * (0.5 - nTerms) / nTerms;
        dTerm *= d;
    }
    const std::size_t nSquare = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    double *mRoot = mScratch, *mE2 = mRoot + nSquare, *mWork = mE2 + nSquare;
    const auto AddTerms = [&](int k) {  // numbers k and k + 1, the latter zero beyond the last
        for (std::size_t i = 0; i < nSquare; ++i) mRoot[i] += vTerms[k + 1] * mE[i];
        for (int i = 0; i < n; ++i) Row(mRoot, n, i)[i] += vTerms[k];
    };
    SymmetricByTransposed(n, n, mE, mE, mE2);
    std::fill_n(mRoot, nSquare, 0.0);
    for (int k = (nTerms - 1) / 2 * 2; k >= 0; k -= 2) {
        if (k + 2 < nTerms) {
            std::swap(mRoot, mWork);
            SymmetricByTransposed(n, n, mE2, mWork, mRoot);
        }
        AddTerms(k);
        Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    }
    if (mRoot != mScratch) std::copy_n(mRoot, nSquare, mScratch);
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

    // The orbitals with what they gain, and their overlap less unit.
    double* mOverlap = Row(mStep, n, s);
    std::copy_n(mSmall, Row(mSmall, n, s) - mSmall, mStep);
    AddProduct({s, l, n, Plain(mTurns, l), Plain(mLarge, n), mStep, n});
    SymmetricByTransposed(s, n, mStep, mStep, mOverlap);
    for (int i = 0; i < s; ++i) Row(mOverlap, s, i)[i] -= 1.0;
    const double dNorm = NormOf(s, mOverlap);
    Yield(2 * static_cast<std::size_t>(n) * static_cast<std::size_t>(s));
    if (!(dNorm < kLargestOverlap)) return false;

    AddProduct({l, s, n, Transposed(mTurns, l), Plain(mSmall, n), mLarge, n, -1.0});
    double* mRoot = mFock;  // with what else it takes: three squares of at most half the side
    InverseRoot(s, mOverlap, dNorm, mRoot);
    Multiply(s, s, n, mRoot, mStep, mSmall);
    return true;
}

}  // namespace qsolve
