#pragma once

#include "job/methods.h"
#include "vibrations/state.h"

/// Of a matrix of second derivatives that outlives its job: which molecule it belongs to.

namespace qsolve {

/// A second derivative of 1 kcal/mol per square Angstrom, or bohr, in mdyn/Angstrom.
constexpr double kMillidynesPerKcal = 0.00695125;
constexpr double kMillidynesPerKcalBohr = 0.024823360704143312;

/// The same per square of the working unit of a method.
constexpr double MillidynesPerUnit(int nMethod) {
    return UsesAtomicUnits(nMethod) ? kMillidynesPerKcalBohr : kMillidynesPerKcal;
}

/// Notes the method, the atoms and their places as those of the matrix. Fatal with kMsgOutOfMemory
/// where there is no memory.
void RememberMolecule(VibrationState& kept);

/// Whether the matrix is one of this method and of these atoms in this order.
bool BelongsToThisMolecule(const VibrationState& kept);

/// Whether all atoms are where they were noted: within what a client rounds away. Of a matrix that
/// belongs to this molecule.
bool IsAtItsPlaces(const VibrationState& kept);

}  // namespace qsolve
