#pragma once

#include "link/memory.h"

namespace qsolve {

/// The energy gradient. Lives for one calculation.
struct GradientState {
    Array<double> pGradient;        ///< by position, x y z, kcal/mol per working unit of length
    bool fComputed = false;         ///< pGradient belongs to the last SCF
    double dGradientSquared = 0.0;  ///< sum of squares, (kcal/(mol Angstrom))^2; 0 without one
    double dRmsGradient = 0.0;      ///< kcal/(mol Angstrom); 0 where no gradient has been computed
    double dRestraintEnergy[4] = {};  ///< by RestraintKind, kcal/mol, of the last SCF
};
inline GradientState gradient;

}  // namespace qsolve
