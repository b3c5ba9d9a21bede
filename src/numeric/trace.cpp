#include "numeric/trace.h"

#include "numeric/lanes.h"
#include "numeric/row.h"

namespace qsolve {

double Dot(int n, const double* x, const double* y) {
    Four s0{}, s1{}, s2{}, s3{}, a, b;
    int i = 0;
    for (; i + 4 * kFour <= n; i += 4 * kFour) {
        Load(x + i, a), Load(y + i, b), s0 += a * b;
        Load(x + i + kFour, a), Load(y + i + kFour, b), s1 += a * b;
        Load(x + i + 2 * kFour, a), Load(y + i + 2 * kFour, b), s2 += a * b;
        Load(x + i + 3 * kFour, a), Load(y + i + 3 * kFour, b), s3 += a * b;
    }
    double dRest = 0.0;
    for (; i < n; ++i) dRest += x[i] * y[i];
    s0 += s2;
    s1 += s3;
    s0 += s1;
    return Sum(s0) + dRest;
}

double TraceProductHalf(int n, const double* mA, const double* mB) {
    double dSum = 0.0;
    for (int i = 0; i < n; ++i) dSum += Dot(i + 1, Row(mA, n, i), Row(mB, n, i));
    return dSum;
}

double TraceProduct(int n, const double* mA, const double* mB) {
    double dSum = 0.0;
    for (int i = 0; i < n; ++i) {
        const double *a = Row(mA, n, i), *b = Row(mB, n, i);
        dSum += 2.0 * Dot(i, a, b) + a[i] * b[i];
    }
    return dSum;
}

}  // namespace qsolve
