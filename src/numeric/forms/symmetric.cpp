#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {
namespace {

/// Rows taken together: an element of p is then read and written once for all of them.
#if defined(__AVX512F__)
constexpr int kStrip = 8;
#else
constexpr int kStrip = 4;
#endif

/// The triangle on the diagonal, nSide rows of it, by elements.
void MultiplyCorner(int nSide, const double* pB, int nStep, const double* t, double* p) {
    for (int i = 0; i < nSide; ++i) {
        const double* b = At(pB, nStep, i);
        p[i] += b[i] * t[i];
        for (int j = i + 1; j < nSide; ++j) {
            p[i] += b[j] * t[j];
            p[j] += b[j] * t[i];
        }
    }
}

/// kStrip rows of B, n elements each, against t, and their transposed into p.
void MultiplyStrip(int n, const double* pB, int nStep, const double* tRows, const double* t,
                   double* pRows, double* p) {
    Wide sum[kStrip] = {}, tr[kStrip];
#pragma GCC unroll 8
    for (int r = 0; r < kStrip; ++r) tr[r] = tRows[r] - Wide{};
    int j = 0;
    for (; j + kWide <= n; j += kWide) {
        Wide b, tj, p0, p1{};
        Load(t + j, tj), Load(p + j, p0);
#pragma GCC unroll 8
        for (int r = 0; r < kStrip; ++r) {
            Load(At(pB, nStep, r) + j, b);
            sum[r] += b * tj;
            if (r % 2 == 0)
                p0 += b * tr[r];
            else
                p1 += b * tr[r];
        }
        Store(p + j, p0 + p1);
    }
    double d[kStrip];
#pragma GCC unroll 8
    for (int r = 0; r < kStrip; ++r) d[r] = Sum(sum[r]);
    for (; j < n; ++j) {
        for (int r = 0; r < kStrip; ++r) {
            d[r] += At(pB, nStep, r)[j] * t[j];
            p[j] += At(pB, nStep, r)[j] * tRows[r];
        }
    }
    for (int r = 0; r < kStrip; ++r) pRows[r] += d[r];
}

}  // namespace

void AddSymmetricRows(int n, int nFirst, int nEnd, const double* pB, int nStep, const double* t,
                      double* p) {
    for (int i = nFirst; i < nEnd; i += kStrip) {
        const double* b = At(pB, nStep, i) + i;
        const int nSide = Least(kStrip, nEnd - i);
        MultiplyCorner(nSide, b, nStep, t + i, p + i);
        const int nRest = i + nSide;
        if (nSide == kStrip) {
            MultiplyStrip(n - nRest, b + kStrip, nStep, t + i, t + nRest, p + i, p + nRest);
            continue;
        }
        for (int r = 0; r < nSide && nRest < n; ++r) {
            const double* x = At(b, nStep, r) + nSide;
            p[i + r] += Dot(n - nRest, x, t + nRest);
            AddRows(n - nRest, 1, x, 0, t + i + r, p + nRest);
        }
    }
}

}  // namespace qsolve::QSOLVE_FORM
