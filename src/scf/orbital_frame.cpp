#include "scf/orbital_frame.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "link/link.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr double kLargestSquare = 0.05;  ///< Y Y^T, a norm
constexpr double kSmallestTerm = 1e-17;  ///< of the series below

/// C = A B^T where that is symmetric. mA and mB are nRows x nInner.
void SymmetricByTransposed(int nRows, int nInner, const double* mA, const double* mB, double* mC) {
    std::fill(mC, Row(mC, nRows, nRows), 0.0);
    Product product{nRows, nInner, nRows, Plain(mA, nInner), Transposed(mB, nInner), mC, nRows};
    product.triangle = Triangle::kLower;
    AddProduct(product);
    MirrorLower(nRows, mC);
}

/// The largest sum of a row's magnitudes, which no eigenvalue exceeds; no number where one is none.
double NormOf(int n, const double* m) {
    double dLargest = 0.0;
    for (int i = 0; i < n; ++i) {
        double d = 0.0;
        for (int j = 0; j < n; ++j) d += std::abs(Row(m, n, i)[j]);
        if (std::isnan(d)) return d;
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

const double* OrbitalFrame::Small() const {
    return Row(mOrbitals.Data(), n, nFirstSmall);
}

const double* OrbitalFrame::Large() const {
    return Row(mOrbitals.Data(), n, nFirstLarge);
}

void TakeFrame(const Shells& shells, const double* mVectors, const double* vLevel,
               OrbitalFrame& frame) {
    const int n = shells.n, nFull = shells.nFull;
    frame.n = n;
    frame.nSmall = std::min(nFull, n - nFull);
    frame.nLarge = n - frame.nSmall;
    frame.nFirstSmall = nFull > frame.nSmall ? nFull : 0;
    frame.nFirstLarge = nFull > frame.nSmall ? 0 : nFull;
    const auto nRows = static_cast<std::size_t>(n);
    if (frame.mOrbitals.Size() != nRows * nRows) frame.mOrbitals.Take(nRows, nRows, kWork);
    if (frame.vLevel.Size() != nRows) frame.vLevel.Take(nRows, kWork);
    std::copy_n(mVectors, frame.mOrbitals.Size(), frame.mOrbitals.Data());
    std::copy_n(vLevel, nRows, frame.vLevel.Data());
}

bool PlaceOrbitals(const OrbitalFrame& frame, const double* mTurns, double* mFirst, double* mSecond,
                   double* mVectors) {
    const int n = frame.n, s = frame.nSmall, l = frame.nLarge;
    double *mTurned = mFirst, *mSquare = Row(mFirst, n, s), *mRoot = mSecond;
    SymmetricByTransposed(s, l, mTurns, mTurns, mSquare);
    const double dNorm = NormOf(s, mSquare);
    if (!(dNorm < kLargestSquare)) return false;
    std::copy_n(frame.Small(), Row(mTurned, n, s) - mTurned, mTurned);
    AddProduct({s, l, n, Plain(mTurns, l), Plain(frame.Large(), n), mTurned, n});
    Yield(2 * static_cast<std::size_t>(n) * static_cast<std::size_t>(s));
    InverseRoot(s, mSquare, dNorm, mRoot);
    Multiply(s, s, n, mRoot, mTurned, Row(mVectors, n, frame.nFirstSmall));
    return true;
}

void ElementsInFrame(const OrbitalFrame& frame, const double* mTurns, const double* mFock,
                     const double* mVectors, double* mFirst, double* mSecond, double* mElements) {
    const int n = frame.n, s = frame.nSmall, l = frame.nLarge;
    double *mProduct = mFirst, *mWithin = mSecond;
    Multiply(s, n, n, Row(mVectors, n, frame.nFirstSmall), mFock, mProduct);
    MultiplyByTransposed(s, n, l, mProduct, frame.Large(), mElements);
    MultiplyByTransposed(s, n, s, mProduct, frame.Small(), mWithin);
    AddProduct({s, s, l, Plain(mWithin, s), Plain(mTurns, l), mElements, l, -1.0});
    Yield(3 * static_cast<std::size_t>(n) * static_cast<std::size_t>(s));
}

}  // namespace qsolve
