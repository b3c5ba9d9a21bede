#pragma once

#include "link/memory.h"

namespace qsolve {

/// The energy gradient. Lives for one calculation.
struct GradientState {
    Array<double> pGradient;    ///< by position, x y z, kcal/mol per working unit of length
    bool fComputed = false;     ///< pGradient belongs to the last SCF
    double dRmsGradient = 0.0;  ///< kcal/(mol Angstrom); 0 where no gradient has been computed
};
inline GradientState gradient;

}  // namespace qsolve
