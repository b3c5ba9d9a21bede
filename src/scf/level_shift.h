#pragma once

#include "scf/state.h"

namespace qsolve {

/// The level shift at the start of an SCF: 1 eV with a target of -4.44 eV and a cap of 20 eV, or
/// off where the job starts it at no cycle.
LevelShift InitLevelShift();

/// Moves the shifts so that the gap between the highest occupied and the lowest empty level comes
/// near a target that grows. Run near the top of each cycle while dShiftA is not 0. dE1 is the
/// electronic energy of the last cycle, dE2 the one before, in the unit of the family. Reads the
/// levels, clears flags of the cycle where the energy rises, and keeps what outlives the SCF in
/// scf.
void UpdateLevelShift(double dE1, double dE2, LevelShift& shift, ScfCycle& cycle);

/// F' = F + s (P - I) with s the shift in the unit of the family, so that occupied levels stay and
/// empty ones move by -s; the level lists follow with +s. Nothing before the shift has started.
/// mDensitySpin and mFock are n x n, vLevel and vEnergy n, nOcc 0 .. n; n is the number of
/// orbitals.
void ApplyLevelShift(int nOcc, int nCycle, double dShift, const double* mDensitySpin,
                     double* vLevel, double* vEnergy, double* mFock);

}  // namespace qsolve
