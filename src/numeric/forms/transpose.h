#pragma once

#include <utility>

#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {

/// Of each pair of registers kStep apart, the first gets what both hold in columns whose number has
/// no bit kStep, the second the rest.
template <int kStep, int... k>
[[gnu::always_inline]] inline void Exchange(std::integer_sequence<int, k...>, Wide (&x)[kWide]) {
#pragma GCC unroll 8
    for (int i = 0; i < kWide; ++i) {
        if (i & kStep) continue;
        const Wide a = x[i], b = x[i + kStep];
        x[i] = __builtin_shufflevector(a, b, (k & kStep ? kWide + k - kStep : k)...);
        x[i + kStep] = __builtin_shufflevector(a, b, (k & kStep ? kWide + k : k + kStep)...);
    }
}

/// Transposes a square of kWide registers.
[[gnu::always_inline]] inline void Transpose(Wide (&x)[kWide]) {
    constexpr auto kColumnsOfSquare = std::make_integer_sequence<int, kWide>();
    Exchange<1>(kColumnsOfSquare, x);
    if constexpr (kWide >= 4) Exchange<2>(kColumnsOfSquare, x);
    if constexpr (kWide >= 8) Exchange<4>(kColumnsOfSquare, x);
}

}  // namespace qsolve::QSOLVE_FORM
