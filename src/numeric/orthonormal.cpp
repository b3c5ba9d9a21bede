#include "numeric/orthonormal.h"

#include <algorithm>
#include <cmath>

#include "numeric/definite.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/product.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr int kBlock = 32;     ///< rows that get the share of all rows before them at once
constexpr int kColumns = 144;  ///< and no more that one task takes through all rows
constexpr double kWorthThreads = 1e6;

/// L^T from D U, in place: row k over the root of its pivot. vInverse gets 1 / L_kk.
void TakeRoots(int n, double* mFactor, double* vInverse) {
    for (int k = 0; k < n; ++k) {
        double* u = Row(mFactor, n, k);
        vInverse[k] = 1.0 / std::sqrt(u[k]);
        for (int j = k; j < n; ++j) u[j] *= vInverse[k];
    }
}

/// The columns nFirst .. nEnd - 1 of L^-1 X.
void SolveColumns(int nRows, int n, int nFirst, int nEnd, const double* mUpper,
                  const double* vInverse, double* mRows) {
    for (int nBlock = 0; nBlock < nRows; nBlock += kBlock) {
        const int nBlockEnd = std::min(nBlock + kBlock, nRows);
        double* pBlock = Row(mRows, n, nBlock) + nFirst;
        kernels->AddProduct({nBlockEnd - nBlock, nBlock, nEnd - nFirst,
                             Transposed(mUpper + nBlock, nRows), Plain(mRows + nFirst, n), pBlock,
                             n, -1.0});
        for (int k = nBlock; k < nBlockEnd; ++k) {
            double vOfRow[kBlock], *x = Row(mRows, n, k) + nFirst;
            for (int j = nBlock; j < k; ++j) vOfRow[j - nBlock] = -Row(mUpper, nRows, j)[k];
            kernels->AddRows(nEnd - nFirst, k - nBlock, pBlock, n, vOfRow, x);
            for (int i = 0; i < nEnd - nFirst; ++i) x[i] *= vInverse[k];
        }
    }
}

}  // namespace

bool OrthonormaliseRows(int nRows, int n, double* mGram, double* vWork, double* mRows) {
    if (!IsPositiveDefinite(nRows, mGram, vWork)) return false;
    TakeRoots(nRows, mGram, vWork);
    const int nTasks = 2 * ((n + 2 * kColumns - 1) / (2 * kColumns));  // two threads share evenly
    ForEachTaskIf(1.0 * nRows * nRows * n > kWorthThreads, nTasks, [&](int i) {
        SolveColumns(nRows, n, n * i / nTasks, n * (i + 1) / nTasks, mGram, vWork, mRows);
    });
    return true;
}

}  // namespace qsolve
