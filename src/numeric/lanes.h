#pragma once

#include <cstring>

namespace qsolve {

/// Four doubles that the compiler keeps in one register, or in two where registers are narrower.
using Four = double __attribute__((vector_size(32)));

/// Elements of a Four.
constexpr int kFour = 4;

// Arguments go by reference: how a Four is passed by value depends on the processor.

/// x = p[0 .. 3], from any address.
inline void Load(const double* p, Four& x) {
    std::memcpy(&x, p, sizeof x);
}

/// p[0 .. 3] = x, to any address.
inline void Store(double* p, const Four& x) {
    std::memcpy(p, &x, sizeof x);
}

/// The sum of the elements, in a fixed order.
inline double Sum(const Four& x) {
    return (x[0] + x[2]) + (x[1] + x[3]);
}

}  // namespace qsolve
