#pragma once

#include <cstddef>

namespace qsolve {

/// Address of row i of a row-major matrix with n columns: the one place where an index is widened
/// to an address.
inline double* Row(double* m, int n, int i) {
    return m + static_cast<std::size_t>(i) * static_cast<std::size_t>(n);
}
inline const double* Row(const double* m, int n, int i) {
    return m + static_cast<std::size_t>(i) * static_cast<std::size_t>(n);
}

}  // namespace qsolve
