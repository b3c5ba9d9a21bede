#pragma once

#include "ci/interaction.h"

namespace qsolve {

/// Matrices of an SCF that a state of a configuration interaction takes over, N x N.
struct StateMatrices {
    double* mDensityT;     ///< in: total density of the SCF; out: of the state
    double* mSpinDensity;  ///< out
    double* mFockA;        ///< scratch
    double* mVectorsA;     ///< out: natural orbitals, one a row, by ascending occupation
    double* vNaturalOcc;   ///< N: their occupations
};

/// Turns the SCF's density into that of a state (vState, nConfigs coefficients) and finds its
/// natural orbitals. P.-O. Loewdin, Phys. Rev. 97, 1474 (1955). The spin density is that of the
/// levels' occupations, without what the state has between two levels. Sets the occupations of the
/// orbital results, falling, and their order. Without memory: Fatal. Yields.
void BuildNaturalOrbitals(const Interaction& ci, const double* vState, const StateMatrices& out);

}  // namespace qsolve
