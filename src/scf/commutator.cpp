#include "scf/commutator.h"

#include <algorithm>
#include <cstddef>

#include "link/link.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/strips.h"

namespace qsolve {
namespace {

constexpr int kStrip = 192;  ///< rows between two yields

/// Whether a density is that of populations alone, as the first one often is.
bool IsDiagonal(int n, const double* mDensity) {
    for (int i = 0; i < n; ++i) {
        const double* row = Row(mDensity, n, i);
        for (int j = 0; j < i; ++j)
            if (row[j] != 0.0) return false;
    }
    return true;
}

void OfPopulations(int n, const double* mFock, const double* mDensity, double* mCommutator) {
    for (int i = 0; i < n; ++i) {
        const double* f = Row(mFock, n, i);
        double* c = Row(mCommutator, n, i);
        for (int j = 0; j <= i; ++j)
            c[j] = f[j] * Row(mDensity, n, j)[j] - f[j] * Row(mDensity, n, i)[i];
    }
}

void OfMatrices(int n, const double* mFock, const double* mDensity, double* mWork,
                double* mCommutator) {
    for (int i = 0; i < n; i += kStrip) {
        const int nStrip = std::min(kStrip, n - i);
        Multiply(nStrip, n, n, Row(mFock, n, i), mDensity, Row(mWork, n, i));
        Yield(static_cast<std::size_t>(n) * kStrip);
    }
    SubtractTransposed(n, mWork, mCommutator);
}

/// sum_k w_k (F C_k C_k^T - C_k (F C_k)^T).
void OfSum(int n, const double* mFock, const SpinDensity& density, double* mWork,
           double* mCommutator) {
    const int nSum = density.nEnd - density.nFirst, nMost = InnerStrip(n);
    const double* mVectors = Row(density.mVectors, n, density.nFirst);
    if (nSum <= 0) ClearRows(n, n, mCommutator);
    for (int k = 0; k < nSum; k += nMost) {
        const int nStrip = std::min(nMost, nSum - k);
        const double* mStrip = Row(mVectors, n, k);
        Multiply(nStrip, n, n, mStrip, mFock, mWork);
        Product product{n,
                        nStrip,
                        n,
                        Transposed(mWork, n),
                        Plain(mStrip, n),
                        mCommutator,
                        n,
                        density.dFactor,
                        density.vWeights + density.nFirst + k,
                        Triangle::kLower};
        if (k == 0)
            MakeProduct(product);
        else
            AddProduct(product);
        product.a = Transposed(mStrip, n);
        product.b = Plain(mWork, n);
        product.dFactor = -density.dFactor;
        AddProduct(product);
        Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(nStrip));
    }
}

}  // namespace

void Commutator(int n, const double* mFock, const SpinDensity& density, double* mWork,
                double* mCommutator) {
    if (density.mVectors && 2 * (density.nEnd - density.nFirst) < n)
        OfSum(n, mFock, density, mWork, mCommutator);
    else if (IsDiagonal(n, density.mDensity))
        OfPopulations(n, mFock, density.mDensity, mCommutator);
    else
        OfMatrices(n, mFock, density.mDensity, mWork, mCommutator);
}

}  // namespace qsolve
