#include "scf/diis.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numeric/invert.h"
#include "numeric/kernels.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

constexpr int kOrder = kDiisVectors + 1;  ///< of the system with its Lagrange multiplier
constexpr double kSmallestDeterminant = 1e-6;

static_assert(sizeof DiisHistory::mDiisB == kOrder * kOrder * sizeof(double));

/// Matrix number i of a history, i from 0.
double* Slot(double* mHistory, int n, int i) {
    const auto nOrder = static_cast<std::size_t>(n);
    return mHistory + static_cast<std::size_t>(i) * nOrder * nOrder;
}

/// Chooses the slot that is written in this cycle.
void Advance(DiisHistory& history) {
    if (history.fDiisRestart) {
        history.nDiisCount = history.nDiisSlot = 1;
        history.fDiisRestart = false;
        return;
    }
    history.nDiisCount = std::min(history.nDiisCount + 1, kDiisVectors);
    history.nDiisSlot = history.nDiisSlot % kDiisVectors + 1;
}

/// Border and the row and column of the new error; the rest stays from the cycles before.
void UpdateSystem(int n, double* mDiisError, DiisHistory& history) {
    const int nCount = history.nDiisCount, nSlot = history.nDiisSlot - 1;
    double* b = history.mDiisB;
    const double* mNew = Slot(mDiisError, n, nSlot);
    for (int i = 0; i < nCount; ++i) {
        Row(b, kOrder, i)[nCount] = Row(b, kOrder, nCount)[i] = -1.0;
        const double dDot = TraceProductHalf(n, Slot(mDiisError, n, i), mNew);
        Row(b, kOrder, i)[nSlot] = Row(b, kOrder, nSlot)[i] = dDot;
    }
    Row(b, kOrder, nCount)[nCount] = 0.0;
    const double dSquare = Row(b, kOrder, nSlot)[nSlot];
    if (n > 1) history.dDiisError = dSquare / (0.5 * n * (n - 1.0));
}

/// Solves for the coefficients, nDiisCount of them. False when the system is singular.
bool Solve(DiisHistory& history, double* vCoefficients) {
    const int nCount = history.nDiisCount, nOrder = nCount + 1, nSlot = history.nDiisSlot - 1;
    const double dSquare = Row(history.mDiisB, kOrder, nSlot)[nSlot];
    const double r = dSquare == 0.0 ? 1.0 : 1.0 / dSquare;  // the border is of the order of 1
    double inverse[kOrder * kOrder];
    for (int i = 0; i < nOrder; ++i) {
        const double* b = Row(history.mDiisB, kOrder, i);
        for (int j = 0; j < nOrder; ++j)
            Row(inverse, nOrder, i)[j] = i < nCount && j < nCount ? r * b[j] : b[j];
    }
    int rows[kOrder], columns[kOrder];
    if (!(std::abs(InvertMatrix(nOrder, inverse, rows, columns)) >= kSmallestDeterminant))
        return false;
    for (int k = 0; k < nCount; ++k) vCoefficients[k] = -Row(inverse, nOrder, nCount)[k];
    return true;
}

}  // namespace

void ExtrapolateFockDiis(int n, double* mFock, const SpinDensity& density, double* mDiisError,
                         double* mDiisFock, double* mWork, DiisHistory& history) {
    Advance(history);
    const int nSlot = history.nDiisSlot - 1;
    double *mKept = Slot(mDiisFock, n, nSlot), *mError = Slot(mDiisError, n, nSlot);
    for (int i = 0; i < n; ++i) std::copy_n(Row(mFock, n, i), i + 1, Row(mKept, n, i));
    Commutator(n, mFock, density, mWork, mError);
    UpdateSystem(n, mDiisError, history);
    double c[kDiisVectors];
    if (!Solve(history, c)) {
        history.fDiisRestart = true;
        return;
    }
    if (history.nDiisCount < 2) return;
    const std::ptrdiff_t nSquare = static_cast<std::ptrdiff_t>(n) * n;
    for (int i = 0; i < n; ++i) {
        std::fill_n(Row(mFock, n, i), i + 1, 0.0);
        kernels->AddRows(i + 1, history.nDiisCount, Row(mDiisFock, n, i), nSquare, c,
                         Row(mFock, n, i));
    }
    MirrorLower(n, mFock);
}

}  // namespace qsolve
