#include <cstddef>

#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {

double Dot(int n, const double* x, const double* y) {
    constexpr int kSums = 4;
    Wide sum[kSums] = {}, a, b;
    int i = 0;
    for (; i + kSums * kWide <= n; i += kSums * kWide) {
#pragma GCC unroll 4
        for (int s = 0; s < kSums; ++s) {
            Load(x + i + s * kWide, a), Load(y + i + s * kWide, b);
            sum[s] += a * b;
        }
    }
    for (; i + kWide <= n; i += kWide) {
        Load(x + i, a), Load(y + i, b);
        sum[0] += a * b;
    }
    double dRest = 0.0;
    for (; i < n; ++i) dRest += x[i] * y[i];
    return Sum((sum[0] + sum[2]) + (sum[1] + sum[3])) + dRest;
}

void DotRows(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* t,
             double* v) {
    int r = 0;
    for (; r + 4 <= nRows; r += 4) {
        const double* x = mRows + r * nStep;
        Wide s0{}, s1{}, s2{}, s3{}, a, b;
        int i = 0;
        for (; i + kWide <= n; i += kWide) {
            Load(t + i, b);
            Load(x + i, a), s0 += a * b;
            Load(x + nStep + i, a), s1 += a * b;
            Load(x + 2 * nStep + i, a), s2 += a * b;
            Load(x + 3 * nStep + i, a), s3 += a * b;
        }
        double d[4] = {Sum(s0), Sum(s1), Sum(s2), Sum(s3)};
        for (; i < n; ++i)
            for (int k = 0; k < 4; ++k) d[k] += x[k * nStep + i] * t[i];
        for (int k = 0; k < 4; ++k) v[r + k] = d[k];
    }
    for (; r < nRows; ++r) v[r] = Dot(n, mRows + r * nStep, t);
}

void AddRows(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* w,
             double* __restrict y) {
    int r = 0;
    for (; r + 4 <= nRows; r += 4) {
        const double *x0 = mRows + r * nStep, *x1 = x0 + nStep, *x2 = x1 + nStep, *x3 = x2 + nStep;
        const double w0 = w[r], w1 = w[r + 1], w2 = w[r + 2], w3 = w[r + 3];
        for (int j = 0; j < n; ++j) y[j] += w0 * x0[j] + w1 * x1[j] + w2 * x2[j] + w3 * x3[j];
    }
    for (; r < nRows; ++r) {
        const double* x = mRows + r * nStep;
        for (int j = 0; j < n; ++j) y[j] += w[r] * x[j];
    }
}

void Rotate(int n, double c, double s, double* __restrict x, double* __restrict y) {
    for (int k = 0; k < n; ++k) {
        const double u = x[k], v = y[k];
        x[k] = c * u + s * v;
        y[k] = c * v - s * u;
    }
}

}  // namespace qsolve::QSOLVE_FORM
