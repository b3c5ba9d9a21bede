#pragma once

#include "ci/interaction.h"

namespace qsolve {

/// Most levels whose determinants are written, and whose microstates are taken.
constexpr int kMostMicrostateLevels = 20;

/// Writes the determinants: for each level its number, from 1 for the lowest orbital, and for each
/// configuration the electrons of either spin. Nothing for a window of more than 20 levels.
void LogMicrostates(const Interaction& ci);

/// Writes the energies of all states, unit of the method, and their coefficients, six states to a
/// block. Without memory: Fatal. Yields.
void LogCiVectors(const CiStates& states);

/// Writes energies and spins of the lowest 20 states. dEnergy is the energy of the SCF with the
/// cores, dKcal the unit of both in kcal/mol.
void LogMicrostateResults(const CiStates& states, double dEnergy, double dKcal);

}  // namespace qsolve
