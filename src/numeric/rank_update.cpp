#include "numeric/rank_update.h"

#include <algorithm>

#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/strips.h"

namespace qsolve {

void AddOuterProducts(int n, int nVectors, const double* mVectors, const double* vWeights,
                      double* mResult) {
    Product product{n, nVectors, n, Transposed(mVectors, n), Plain(mVectors, n), mResult, n};
    product.vWeights = vWeights;
    product.triangle = Triangle::kLower;
    AddProduct(product);
}

void MirrorRows(int nStep, int nFirst, int nEnd, double* mMatrix) {
    constexpr int kBlock = 16;  // two blocks of this side stay in the first cache
    for (int i0 = nFirst; i0 < nEnd; i0 += kBlock) {
        const int iEnd = std::min(nEnd, i0 + kBlock);
        for (int j0 = 0; j0 < iEnd; j0 += kBlock) {
            for (int j = j0; j < std::min(iEnd, j0 + kBlock); ++j) {
                double* row = Row(mMatrix, nStep, j);
                for (int i = std::max(i0, j + 1); i < iEnd; ++i) row[i] = Row(mMatrix, nStep, i)[j];
            }
        }
    }
}

void MirrorLower(int n, double* mMatrix) {
    ForEachStrip(n, [&](int, int nFirst, int nEnd) { MirrorRows(n, nFirst, nEnd, mMatrix); });
}

}  // namespace qsolve
