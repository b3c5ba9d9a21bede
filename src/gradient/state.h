#pragma once

#include "link/memory.h"

namespace qsolve {

/// The energy gradient. Lives for one calculation.
struct GradientState {
    Array<double> pGradient;    ///< by position, x y z, kcal/mol per working unit of length
    double dRmsGradient = 0.0;  ///< kcal/(mol Angstrom)
};
inline GradientState gradient;

}  // namespace qsolve
