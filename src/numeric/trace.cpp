#include "numeric/trace.h"

#include "numeric/row.h"
#include "numeric/strips.h"

namespace qsolve {

double TraceProductHalf(int n, const double* mA, const double* mB) {
    return SumOverStrips(n, [&](int nFirst, int nEnd) {
        double dSum = 0.0;
        for (int i = nFirst; i < nEnd; ++i) dSum += Dot(i + 1, Row(mA, n, i), Row(mB, n, i));
        return dSum;
    });
}

double TraceProductHalfQuickly(int n, const double* mA, const double* mB) {
    return SumOverStrips(
        n, [&](int nFirst, int nEnd) { return kernels->DotLower(n, nFirst, nEnd, mA, mB); });
}

double TraceProduct(int n, const double* mA, const double* mB) {
    return SumOverStrips(n, [&](int nFirst, int nEnd) {
        double dSum = 0.0;
        for (int i = nFirst; i < nEnd; ++i) {
            const double *a = Row(mA, n, i), *b = Row(mB, n, i);
            dSum += 2.0 * Dot(i, a, b) + a[i] * b[i];
        }
        return dSum;
    });
}

}  // namespace qsolve
