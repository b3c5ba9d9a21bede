#pragma once

#include "numeric/kernels.h"

namespace qsolve {

/// Arguments of FillDecay beyond which the result is 0: exp(-708) is the last that a double holds
/// in all its digits.
constexpr double kLargestDecay = 708.0;

/// vDecay_i = exp(-dZeta vR_i) for n values. Products have to be 0 or more; beyond kLargestDecay
/// the result is 0, and so it is for what is no number. Within two units in the last place of the
/// exact value. The loop has no call in it, so that the compiler takes several values at a time.
inline void FillDecay(int n, double dZeta, const double* vR, double* vDecay) {
    kernels->FillDecay(n, dZeta, vR, vDecay);
}

}  // namespace qsolve
