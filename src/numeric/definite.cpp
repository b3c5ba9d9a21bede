#include "numeric/definite.h"

#include <algorithm>

#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

constexpr int kBlock = 128;  ///< rows whose share all rows behind them get at once
static_assert(kBlock % kPanel == 0);

/// The vector of pivot k, which rows j < k of D U take nothing of: (D U v)_j = 0.
void LeadDown(int n, int k, const double* mFactor, double* vDown) {
    std::fill_n(vDown, n, 0.0);
    vDown[k] = 1.0;
    for (int j = k - 1; j >= 0; --j) {
        const double* u = Row(mFactor, n, j);
        vDown[j] = -Dot(k - j, u + j + 1, vDown + j + 1) / u[j];
    }
}

/// Takes what the rows nFrom .. nFirst - 1 of D U leave of those of a panel, nFirst .. nEnd - 1.
void TakeFromPanel(int n, int nFrom, int nFirst, int nEnd, const double* vInverse,
                   double* mMatrix) {
    for (int i = nFirst; i < nEnd; ++i)  // computed with the rest of the square, and read by no one
        std::fill(Row(mMatrix, n, i) + nFirst, Row(mMatrix, n, i) + i, 0.0);
    const double* pRows = Row(mMatrix, n, nFrom) + nFirst;
    AddProduct({.nRows = nEnd - nFirst,
                .nInner = nFirst - nFrom,
                .nColumns = n - nFirst,
                .a = Transposed(pRows, n),
                .b = Plain(pRows, n),
                .pC = Row(mMatrix, n, nFirst) + nFirst,
                .nStepC = n,
                .dFactor = -1.0,
                .vWeights = vInverse + nFrom});
}

/// Takes what the rows nFirst .. nEnd - 1 of D U leave of all behind them.
void TakeOut(int n, int nFirst, int nEnd, const double* vInverse, double* mMatrix) {
    const double* pRows = Row(mMatrix, n, nFirst) + nEnd;
    AddProduct({.nRows = n - nEnd,
                .nInner = nEnd - nFirst,
                .nColumns = n - nEnd,
                .a = Transposed(pRows, n),
                .b = Plain(pRows, n),
                .pC = Row(mMatrix, n, nEnd) + nEnd,
                .nStepC = n,
                .dFactor = -1.0,
                .vWeights = vInverse + nFirst,
                .triangle = Triangle::kUpper});
}

}  // namespace

bool IsPositiveDefinite(int n, double* mMatrix, double* vDown) {
    double* vInverse = vDown;  // 1 / D of the rows that are done
    for (int nBlock = 0; nBlock < n; nBlock += kBlock) {
        const int nBlockEnd = std::min(nBlock + kBlock, n);
        for (int nFirst = nBlock; nFirst < nBlockEnd; nFirst += kPanel) {
            const int nEnd = std::min(nFirst + kPanel, nBlockEnd);
            if (nFirst > nBlock) TakeFromPanel(n, nBlock, nFirst, nEnd, vInverse, mMatrix);
            const int nGood = FactorPanel(nEnd - nFirst, n - nFirst, n,
                                          Row(mMatrix, n, nFirst) + nFirst, vInverse + nFirst);
            if (nFirst + nGood < nEnd) {
                LeadDown(n, nFirst + nGood, mMatrix, vDown);
                return false;
            }
        }
        if (nBlockEnd < n) TakeOut(n, nBlock, nBlockEnd, vInverse, mMatrix);
    }
    return true;
}

}  // namespace qsolve
