#pragma once

#include "scf/electrons.h"

/// What is counted, compared and told of the cycles that judge the density too.

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
    bool fAhead = false;       ///< the densities are a step ahead of matrices and energy
};

/// The next cycle's Fock matrices of the densities at hand, and their energy beside the one before.
/// Yields.
void NextFock(Electrons& electrons, GuardEnd& end);

/// Tells the client of the energy of the cycle, where there is one to compare it with.
void TellCycle(const GuardEnd& end);

/// Whether the energy of the cycle differs from the one before by less than the limit.
bool IsEnergySettled(const Electrons& electrons, const GuardLimits& limits, const GuardEnd& end);

}  // namespace qsolve
