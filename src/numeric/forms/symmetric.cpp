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
static_assert(kStrip % kWide == 0);

/// kStrip rows of B from column j on against t, and their transposed into p, but for the square on
/// the diagonal, which is whole.
[[gnu::always_inline]] inline void AddStrip(int nColumns, int i, const double* pB, int nStep,
                                            const double* t, double* p) {
    Wide sum[kStrip] = {}, tr[kStrip], b, tj;
#pragma GCC unroll 8
    for (int r = 0; r < kStrip; ++r) tr[r] = t[i + r] - Wide{};
    for (int j = i; j < i + kStrip; j += kWide) {
        Load(t + j, tj);
#pragma GCC unroll 8
        for (int r = 0; r < kStrip; ++r) Load(pB + r * nStep + j, b), sum[r] += b * tj;
    }
    for (int j = i + kStrip; j < nColumns; j += kWide) {
        Wide p0, p1{};
        Load(t + j, tj), Load(p + j, p0);
#pragma GCC unroll 8
        for (int r = 0; r < kStrip; r += 2) {
            Load(pB + r * nStep + j, b), sum[r] += b * tj, p0 += b * tr[r];
            Load(pB + (r + 1) * nStep + j, b), sum[r + 1] += b * tj, p1 += b * tr[r + 1];
        }
        Store(p + j, p0 + p1);
    }
    for (int r = 0; r < kStrip; ++r) p[i + r] += Sum(sum[r]);
}

}  // namespace

void AddSymmetricRows(int nColumns, int nFirst, int nEnd, const double* mB, int nStep,
                      const double* t, double* p) {
    for (int i = nFirst; i < nEnd; i += kStrip)
        AddStrip(nColumns, i, At(mB, nStep, i), nStep, t, p);
}

}  // namespace qsolve::QSOLVE_FORM
