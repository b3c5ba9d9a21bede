#include "scf/orbital_frame.h"

#include <algorithm>
#include <cmath>

#include "link/link.h"
#include "numeric/orthonormal.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/strips.h"

namespace qsolve {
namespace {

constexpr double kLargestSquare = 0.05;  ///< Y Y^T, a norm

/// The upper triangle of A A^T. mA is nRows x nInner.
void Square(int nRows, int nInner, const double* mA, double* mC) {
    Product product{nRows, nInner, nRows, Plain(mA, nInner), Transposed(mA, nInner), mC, nRows};
    product.triangle = Triangle::kUpper;
    MakeProduct(product);
}

/// In four chains of sums, none of which waits for another.
double SumOfMagnitudes(int n, const double* x) {
    double v[4] = {};
    int i = 0;
    for (; i + 4 <= n; i += 4)
        for (int t = 0; t < 4; ++t) v[t] += std::abs(x[i + t]);
    for (; i < n; ++i) v[0] += std::abs(x[i]);
    return (v[0] + v[1]) + (v[2] + v[3]);
}

/// The largest sum of a row's magnitudes, which no eigenvalue exceeds, of a symmetric matrix of
/// which the upper triangle is read; no number where one is none. vSums, n, is scratch.
double NormOf(int n, const double* m, double* vSums) {
    std::fill_n(vSums, n, 0.0);
    for (int i = 0; i < n; ++i) {
        const double* row = Row(m, n, i);
        vSums[i] += SumOfMagnitudes(n - i, row + i);
        for (int j = i + 1; j < n; ++j) vSums[j] += std::abs(row[j]);
    }
    double dLargest = 0.0;
    for (int i = 0; i < n; ++i) {
        if (std::isnan(vSums[i])) return vSums[i];
        dLargest = std::max(dLargest, vSums[i]);
    }
    return dLargest;
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
    if (frame.mOrbitals.Size() != nRows * nRows) frame.mOrbitals.TakeUnset(nRows, nRows, kWork);
    if (frame.vLevel.Size() != nRows) frame.vLevel.Take(nRows, kWork);
    CopyRows(n, n, mVectors, frame.mOrbitals.Data());
    std::copy_n(vLevel, nRows, frame.vLevel.Data());
}

bool PlaceOrbitals(const OrbitalFrame& frame, const double* mTurns, double* mFirst, double* mSecond,
                   double* mVectors) {
    const int n = frame.n, s = frame.nSmall, l = frame.nLarge;
    double *mSquare = mFirst, *vWork = mSecond, *mTurned = Row(mVectors, n, frame.nFirstSmall);
    Square(s, l, mTurns, mSquare);
    if (!(NormOf(s, mSquare, vWork) < kLargestSquare)) return false;
    CopyRows(s, n, frame.Small(), mTurned);
    AddProduct({s, l, n, Plain(mTurns, l), Plain(frame.Large(), n), mTurned, n});
    Yield(2 * static_cast<std::size_t>(n) * static_cast<std::size_t>(s));
    for (int i = 0; i < s; ++i) Row(mSquare, s, i)[i] += 1.0;
    return OrthonormaliseRows(s, n, mSquare, vWork, mTurned);
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
