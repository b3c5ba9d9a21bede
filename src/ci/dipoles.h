#pragma once

#include "ci/density.h"
#include "ci/interaction.h"

namespace qsolve {

/// Dipole moments of states and between them, e bohr.
struct CiDipoles {
    double vFixed[3] = {};  ///< of the core charges and of the electrons below the window
    OneElectronLists One;
    Array<double> vDensity;  ///< scratch
};

/// Prepares the moments. Without memory: Fatal. Yields.
void FillCiDipoles(const ScfLevels& levels, const Interaction& ci, CiDipoles& dipoles);

/// The moment of a state of unit length, or between two states that are orthogonal; vStates have
/// nConfigs coefficients, vMoment three.
void StateDipole(const Interaction& ci, const double* vState, CiDipoles& dipoles, double* vMoment);
void TransitionDipole(const Interaction& ci, const double* vFrom, const double* vTo,
                      CiDipoles& dipoles, double* vMoment);

}  // namespace qsolve
