#include "numeric/definite.h"

#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {
namespace {

using Multipliers = double[kPanel][kPanel];

/// Takes from kWide or nCount columns of a whole panel what the rows above leave, row by row.
[[gnu::always_inline]] inline void TakeFromColumns(const Multipliers& w, int nStep, int nCount,
                                                   double* pColumns) {
    Wide x[kPanel];
#pragma GCC unroll 8
    for (int k = 0; k < kPanel; ++k) {
        LoadPart(pColumns + k * nStep, nCount, x[k]);
#pragma GCC unroll 8
        for (int j = 0; j < k; ++j) x[k] += w[k][j] * x[j];
        StorePart(x[k], nCount, pColumns + k * nStep);
    }
}

}  // namespace

int FactorPanel(int nRows, int nColumns, int nStep, double* mPanel, double* vInverse) {
    Multipliers w;
    for (int k = 0; k < nRows; ++k) {
        double* u = mPanel + k * nStep;
        for (int j = 0; j < k; ++j) {
            const double* above = mPanel + j * nStep;
            w[k][j] = -above[k] * vInverse[j];
            for (int i = k; i < nRows; ++i) u[i] += w[k][j] * above[i];
        }
        if (!(u[k] > 0.0)) return k;
        vInverse[k] = 1.0 / u[k];
    }
    int i = nRows;  // behind it are columns of whole panels alone
    for (; i + kWide <= nColumns; i += kWide) TakeFromColumns(w, nStep, kWide, mPanel + i);
    if (i < nColumns) TakeFromColumns(w, nStep, nColumns - i, mPanel + i);
    return nRows;
}

}  // namespace qsolve::QSOLVE_FORM
