#pragma once

#include "link/memory.h"

namespace qsolve {

/// Scratch of the eigensolver. Lives for one calculation.
struct AlgebraState {
    Array<double> vEigenWork;  ///< taken at set-up; the solver takes more where it needs more
    Array<int> vEigenIndex;    ///< the same
};
inline AlgebraState algebra;

}  // namespace qsolve
