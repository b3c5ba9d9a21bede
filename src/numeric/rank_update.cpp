#include "numeric/rank_update.h"

#include <algorithm>

#include "numeric/product.h"
#include "numeric/row.h"

namespace qsolve {

void AddOuterProducts(int n, int nVectors, const double* mVectors, const double* vWeights,
                      double* mResult) {
    Product product{n, nVectors, n, Transposed(mVectors, n), Plain(mVectors, n), mResult, n};
    product.vWeights = vWeights;
    product.triangle = Triangle::kLower;
    AddProduct(product);
}

void MirrorLower(int n, double* mMatrix) {
    constexpr int kBlock = 16;  // two blocks of this side stay in the first cache
    for (int i0 = 0; i0 < n; i0 += kBlock) {
        for (int j0 = 0; j0 <= i0; j0 += kBlock) {
            for (int j = j0; j < std::min(n, j0 + kBlock); ++j) {
                double* row = Row(mMatrix, n, j);
                for (int i = std::max(i0, j + 1); i < std::min(n, i0 + kBlock); ++i)
                    row[i] = Row(mMatrix, n, i)[j];
            }
        }
    }
}

}  // namespace qsolve
