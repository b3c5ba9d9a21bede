#include "numeric/rank_update.h"

#include "numeric/kernels.h"
#include "numeric/product.h"
#include "numeric/strips.h"

namespace qsolve {

namespace {

Product OuterProducts(int n, int nVectors, const double* mVectors, const double* vWeights,
                      double* mResult) {
    Product product{n, nVectors, n, Transposed(mVectors, n), Plain(mVectors, n), mResult, n};
    product.vWeights = vWeights;
    product.triangle = Triangle::kLower;
    return product;
}

}  // namespace

void AddOuterProducts(int n, int nVectors, const double* mVectors, const double* vWeights,
                      double* mResult) {
    AddProduct(OuterProducts(n, nVectors, mVectors, vWeights, mResult));
}

void MakeOuterProducts(int n, int nVectors, const double* mVectors, const double* vWeights,
                       double* mResult) {
    MakeProduct(OuterProducts(n, nVectors, mVectors, vWeights, mResult));
}

void MirrorRows(int nStep, int nFirst, int nEnd, double* mMatrix) {
    kernels->MirrorRows(nStep, nFirst, nEnd, mMatrix);
}

void MirrorLower(int n, double* mMatrix) {
    ForEachStrip(n, [&](int, int nFirst, int nEnd) { MirrorRows(n, nFirst, nEnd, mMatrix); });
}

}  // namespace qsolve
