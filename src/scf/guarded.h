#pragma once

#include "scf/electrons.h"
#include "scf/mixing.h"

/// Cycles that are guarded against a rising energy and that judge the density too.

namespace qsolve {

/// When the cycles are at an end.
struct GuardLimits {
    double dEnergy;      ///< change of the energy, kcal/mol; what is rounding counts as none
    double dCommutator;  ///< largest element of F P - P F of a spin, unit of the family
    int nCycles;         ///< Fock matrices at most
};

/// What the cycles end with.
struct GuardEnd {
    bool fConverged = false;
    int nCycles = 0;
    double dEnergy = 0.0;      ///< unit of the family
    double dDifference = 0.0;  ///< kcal/mol
    double dCommutator = 0.0;  ///< unit of the family
};

/// Cycles from the present densities of the sets until both limits are met: the Fock matrix of the
/// densities, a mixture of it with those before, new orbitals, new densities with the lowest levels
/// filled by number. The mixture makes the error smallest while the energy falls, and the energy
/// lowest while it does not. Densities and energy in the end belong together; Fock matrices are
/// unmixed. Yields; Fatal without memory for the history, which is taken where it is too small.
GuardEnd RunGuarded(Electrons& electrons, const GuardLimits& limits, MixHistory& history);

/// Orbitals of the present Fock matrices, which are destroyed, and their levels. The densities
/// become those of the orbitals where the lowest levels were occupied; else the orbitals are made
/// within each shell, so that the occupied ones stay first. Returns whether they are the lowest.
bool TakeOrbitals(Electrons& electrons);

}  // namespace qsolve
