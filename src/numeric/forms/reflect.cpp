#include <cmath>
#include <cstddef>

#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"
#include "numeric/householder.h"

namespace qsolve::QSOLVE_FORM {
namespace {

/// Rows or vectors that are worked on together, so that what they share is loaded once.
constexpr int kTogether = 4;

/// The column where a register begins that holds column c.
[[gnu::always_inline]] inline int WideBefore(int c) {
    return c - c % kWide;
}

/// The lower triangle into the padded matrix, and into its upper one.
void LoadWhole(const Reduction& reduction, const double* mLower) {
    const int n = reduction.n, nStep = ReductionStep(n), nTo = Padded(n);
    for (int i = 0; i < nTo; ++i) {
        double* row = At(reduction.mMatrix, nStep, i);
        for (int j = i < n ? n : 0; j < nTo; ++j) row[j] = 0.0;
        for (int j = 0; j <= i && i < n; ++j)
            row[j] = At(reduction.mMatrix, nStep, j)[i] = At(mLower, n, i)[j];
    }
}

/// Rows i .. i + 3 += t_i q + q_i t, and p_i = row i . u, from column nFrom on.
[[gnu::always_inline]] inline void UpdateRows(double* mMatrix, int nStep, int i, int nFrom, int nTo,
                                              const double* t, const double* q, const double* u,
                                              double* p) {
    Wide sum[kTogether] = {}, ti[kTogether], qi[kTogether], tj, qj, uj, x;
#pragma GCC unroll 4
    for (int r = 0; r < kTogether; ++r) ti[r] = t[i + r] - Wide{}, qi[r] = q[i + r] - Wide{};
    for (int j = nFrom; j < nTo; j += kWide) {
        Load(t + j, tj), Load(q + j, qj), Load(u + j, uj);
#pragma GCC unroll 4
        for (int r = 0; r < kTogether; ++r) {
            double* row = At(mMatrix, nStep, i + r) + j;
            Load(row, x);
            x += ti[r] * qj;
            x += qi[r] * tj;
            Store(row, x);
            sum[r] += x * uj;
        }
    }
#pragma GCC unroll 4
    for (int r = 0; r < kTogether; ++r) p[i + r] = Sum(sum[r]);
}

/// Clears row c by a reflector, whose u stands there then with zeros before it. Returns h.
[[gnu::always_inline]] inline double Reflect(const Reduction& reduction, int c, double* row,
                                             double* u) {
    const int nTo = Padded(reduction.n);
    reduction.vDiagonal[c] = row[c];
    for (int j = 0; j <= c; ++j) row[j] = 0.0;
    const int nFrom = WideBefore(c + 1);
    const double dLength = std::sqrt(Dot(nTo - nFrom, row + nFrom, row + nFrom));
    const double s = row[c + 1] < 0.0 ? -dLength : dLength;
    reduction.vOff[c] = -s;
    row[c + 1] += s;
    for (int j = 0; j < nTo; ++j) u[j] = row[j];
    const double h = row[c + 1] * s;
    return reduction.vScale[c] = std::abs(h) >= kSmallestScale ? h : 0.0;
}

/// q = K t - p / h with K = t . p / 2 h h, zero up to column c.
[[gnu::always_inline]] inline void MakeUpdate(int nTo, int c, double h, const double* t,
                                              const double* p, double* q) {
    const int nFrom = WideBefore(c + 1);
    for (int j = 0; j < nTo; ++j) q[j] = 0.0;
    if (h == 0.0) return;
    const double dInverse = 1.0 / h;
    const double dK = Dot(nTo - nFrom, t + nFrom, p + nFrom) * (0.5 * dInverse * dInverse);
    for (int j = c + 1; j < nTo; ++j) q[j] = dK * t[j] - p[j] * dInverse;
}

/// Vectors z, kTogether of kAtOnce elements, -= (t . z / h) t from column nFrom on.
[[gnu::always_inline]] inline void ReflectVectors(int nFrom, int nTo, double h, const double* t,
                                                  double* z) {
    Wide sum[kTogether] = {}, tj, x;
    for (int j = nFrom; j < nTo; j += kWide) {
        Load(t + j, tj);
#pragma GCC unroll 4
        for (int v = 0; v < kTogether; ++v) Load(z + v * kAtOnce + j, x), sum[v] += x * tj;
    }
#pragma GCC unroll 4
    for (int v = 0; v < kTogether; ++v) sum[v] = -Sum(sum[v]) / h - Wide{};
    for (int j = nFrom; j < nTo; j += kWide) {
        Load(t + j, tj);
#pragma GCC unroll 4
        for (int v = 0; v < kTogether; ++v) {
            Load(z + v * kAtOnce + j, x);
            x += sum[v] * tj;
            Store(z + v * kAtOnce + j, x);
        }
    }
}

}  // namespace

void ReduceAtOnce(const Reduction& reduction, const double* mLower) {
    const int n = reduction.n, nStep = ReductionStep(n), nTo = Padded(n);
    alignas(64) double t[kAtOnce] = {}, q[kAtOnce] = {}, u[kAtOnce], p[kAtOnce] = {};
    LoadWhole(reduction, mLower);
    for (int c = 0; c < n - 1; ++c) {
        // The row that comes next as the last reflector has left it, and its own reflector.
        double* row = At(reduction.mMatrix, nStep, c);
        for (int j = c; j < n; ++j) row[j] += t[c] * q[j] + q[c] * t[j];
        if (c == n - 2) break;
        const double h = Reflect(reduction, c, row, u);
        // Behind it the last reflector is applied and the product with the new one summed at once.
        t[c] = q[c] = 0.0;
        const int nFrom = WideBefore(c + 1);
        for (int i = c + 1 - (c + 1) % kTogether; i < nTo; i += kTogether)
            UpdateRows(reduction.mMatrix, nStep, i, nFrom, nTo, t, q, u, p);
        MakeUpdate(nTo, c, h, u, p, q);
        for (int j = 0; j < nTo; ++j) t[j] = u[j];
    }
    double* pLast = At(reduction.mMatrix, nStep, n - 1);
    pLast[n - 1] += 2.0 * t[n - 1] * q[n - 1];
}

void TransformAtOnce(const Reduction& reduction, int nVectors, double* mVectors) {
    const int n = reduction.n, nStep = ReductionStep(n), nTo = Padded(n);
    alignas(64) double z[kTogether * kAtOnce] = {};
    for (int k = 0; k < nVectors; k += kTogether) {
        const int nHere = Least(kTogether, nVectors - k);
        for (int v = 0; v < nHere; ++v)
            for (int j = 0; j < n; ++j) z[v * kAtOnce + j] = At(mVectors, n, k + v)[j];
        for (int c = n - 3; c >= 0; --c)
            if (reduction.vScale[c] != 0.0)
                ReflectVectors(WideBefore(c + 1), nTo, reduction.vScale[c],
                               At(reduction.mMatrix, nStep, c), z);
        for (int v = 0; v < nHere; ++v)
            for (int j = 0; j < n; ++j) At(mVectors, n, k + v)[j] = z[v * kAtOnce + j];
    }
}

}  // namespace qsolve::QSOLVE_FORM
