#include "numeric/definite.h"

#include <algorithm>

#include "numeric/kernels.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

constexpr int kBlock = 32;  ///< rows whose share all rows behind them get at once

/// The vector of pivot k, which rows j < k of D U take nothing of: (D U v)_j = 0.
void LeadDown(int n, int k, const double* mFactor, double* vDown) {
    std::fill_n(vDown, n, 0.0);
    vDown[k] = 1.0;
    for (int j = k - 1; j >= 0; --j) {
        const double* u = Row(mFactor, n, j);
        vDown[j] = -Dot(k - j, u + j + 1, vDown + j + 1) / u[j];
    }
}

/// Takes what the rows nFirst .. nEnd - 1 of D U leave of all behind them.
void TakeOut(int n, int nFirst, int nEnd, double* mMatrix) {
    double vInverse[kBlock];
    for (int j = nFirst; j < nEnd; ++j) vInverse[j - nFirst] = 1.0 / Row(mMatrix, n, j)[j];
    const double* pRows = Row(mMatrix, n, nFirst) + nEnd;
    AddProduct({.nRows = n - nEnd,
                .nInner = nEnd - nFirst,
                .nColumns = n - nEnd,
                .a = Transposed(pRows, n),
                .b = Plain(pRows, n),
                .pC = Row(mMatrix, n, nEnd) + nEnd,
                .nStepC = n,
                .dFactor = -1.0,
                .vWeights = vInverse,
                .triangle = Triangle::kUpper});
}

}  // namespace

bool IsPositiveDefinite(int n, double* mMatrix, double* vDown) {
    for (int nFirst = 0; nFirst < n; nFirst += kBlock) {
        const int nEnd = std::min(nFirst + kBlock, n);
        for (int k = nFirst; k < nEnd; ++k) {
            // Row k of D U is that of A less U_jk times row j of D U, for all rows before it.
            double* u = Row(mMatrix, n, k) + k;
            for (int j = nFirst; j < k; ++j)
                vDown[j] = -Row(mMatrix, n, j)[k] / Row(mMatrix, n, j)[j];
            kernels->AddRows(n - k, k - nFirst, Row(mMatrix, n, nFirst) + k, n, vDown + nFirst, u);
            if (!(*u > 0.0)) {
                LeadDown(n, k, mMatrix, vDown);
                return false;
            }
        }
        if (nEnd < n) TakeOut(n, nFirst, nEnd, mMatrix);
    }
    return true;
}

}  // namespace qsolve
