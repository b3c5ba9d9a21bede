#include "numeric/product.h"

#include <algorithm>

#include "numeric/kernels.h"
#include "numeric/row.h"

namespace qsolve {
void AddProduct(const Product& product) {
    kernels->AddProduct(product);
}

void Multiply(int nRows, int nInner, int nColumns, const double* mA, const double* mB, double* mC) {
    std::fill(mC, Row(mC, nColumns, nRows), 0.0);
    AddProduct({nRows, nInner, nColumns, Plain(mA, nInner), Plain(mB, nColumns), mC, nColumns});
}

void MultiplyByTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                          double* mC) {
    std::fill(mC, Row(mC, nColumns, nRows), 0.0);
    AddProduct({nRows, nInner, nColumns, Plain(mA, nInner), Transposed(mB, nInner), mC, nColumns});
}

void MultiplyTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                        double* mC) {
    std::fill(mC, Row(mC, nColumns, nRows), 0.0);
    AddProduct({nRows, nInner, nColumns, Transposed(mA, nRows), Plain(mB, nColumns), mC, nColumns});
}

void SubtractTransposed(int n, const double* mX, double* mC) {
    constexpr int kBlock = 16;  // two blocks of this side stay in the first cache
    for (int i0 = 0; i0 < n; i0 += kBlock) {
        for (int j0 = 0; j0 < n; j0 += kBlock) {
            const int nEnd = std::min(n, j0 + kBlock);
            for (int i = i0; i < std::min(n, i0 + kBlock); ++i) {
                const double* x = Row(mX, n, i);
                double* c = Row(mC, n, i);
                for (int j = j0; j < nEnd; ++j) c[j] = x[j] - Row(mX, n, j)[i];
            }
        }
    }
}

void Commutator(int n, const double* mA, const double* mB, double* mWork, double* mC) {
    Multiply(n, n, n, mA, mB, mWork);
    SubtractTransposed(n, mWork, mC);
}

}  // namespace qsolve
