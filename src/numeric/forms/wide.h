#pragma once

#include <cstddef>
#include <cstring>

#ifdef __AVX2__
#include <immintrin.h>
#endif

/// The namespace of the form that is being compiled: the sources of this folder are compiled once
/// for each kind of processor, with this name set from outside.
#ifndef QSOLVE_FORM
#define QSOLVE_FORM portable
#endif

namespace qsolve::QSOLVE_FORM {

/// Doubles in one register of the processor.
#if defined(__AVX512F__)
constexpr int kWide = 8;
#elif defined(__AVX2__)
constexpr int kWide = 4;
#else
constexpr int kWide = 2;
#endif

/// A register of doubles.
using Wide = double __attribute__((vector_size(8 * kWide)));

// Nothing here may become a function of its own outside of its form: hence always inline.

/// x = p[0 .. kWide - 1], from any address.
[[gnu::always_inline]] inline void Load(const double* p, Wide& x) {
    std::memcpy(&x, p, sizeof x);
}

/// p[0 .. kWide - 1] = x, to any address.
[[gnu::always_inline]] inline void Store(double* p, const Wide& x) {
    std::memcpy(p, &x, sizeof x);
}

#if defined(__AVX512F__)
/// A register of which the first n lanes take part, 0 <= n <= kWide.
[[gnu::always_inline]] inline __mmask8 FirstLanes(int n) {
    return static_cast<__mmask8>((1U << n) - 1U);
}
#elif defined(__AVX2__)
[[gnu::always_inline]] inline __m256i FirstLanes(int n) {
    return _mm256_cmpgt_epi64(_mm256_set1_epi64x(n), _mm256_set_epi64x(3, 2, 1, 0));
}
#endif

/// x = p[0 .. n - 1] and zeros behind them, 0 <= n <= kWide; no more is read.
[[gnu::always_inline]] inline void LoadPart(const double* p, int n, Wide& x) {
#if defined(__AVX512F__)
    x = _mm512_maskz_loadu_pd(FirstLanes(n), p);
#elif defined(__AVX2__)
    x = _mm256_maskload_pd(p, FirstLanes(n));
#else
    x = Wide{};
    for (int i = 0; i < n; ++i) x[i] = p[i];
#endif
}

/// p[0 .. n - 1] = the first elements of x, 0 <= n <= kWide; no more is written.
[[gnu::always_inline]] inline void StorePart(const Wide& x, int n, double* p) {
#if defined(__AVX512F__)
    _mm512_mask_storeu_pd(p, FirstLanes(n), x);
#elif defined(__AVX2__)
    _mm256_maskstore_pd(p, FirstLanes(n), x);
#else
    for (int i = 0; i < n; ++i) p[i] = x[i];
#endif
}

/// The sum of the elements, halves added to halves.
[[gnu::always_inline]] inline double Sum(const Wide& x) {
    double v[kWide];
    Store(v, x);
    for (int n = kWide / 2; n > 0; n /= 2)
        for (int i = 0; i < n; ++i) v[i] += v[i + n];
    return v[0];
}

/// Address of row i of a matrix whose rows are nStep apart.
[[gnu::always_inline]] inline double* At(double* m, int nStep, int i) {
    return m + static_cast<std::size_t>(i) * static_cast<std::size_t>(nStep);
}
[[gnu::always_inline]] inline const double* At(const double* m, int nStep, int i) {
    return m + static_cast<std::size_t>(i) * static_cast<std::size_t>(nStep);
}

/// The smaller of two counts.
[[gnu::always_inline]] inline int Least(int a, int b) {
    return a < b ? a : b;
}

}  // namespace qsolve::QSOLVE_FORM
