#pragma once

#include "ci/ci.h"
#include "ci/interaction.h"

namespace qsolve {

/// Turns the SCF's density into that of a state (vState, nConfigs coefficients) and finds its
/// natural orbitals. P.-O. Loewdin, Phys. Rev. 97, 1474 (1955). The spin density is that of the
/// levels' occupations, without what the state has between two levels. Sets the occupations of the
/// orbital results, falling, and their order. Without memory: Fatal. Yields.
void BuildNaturalOrbitals(const Interaction& ci, const double* vState, const StateMatrices& out);

}  // namespace qsolve
