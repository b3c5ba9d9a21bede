#pragma once

/// The face of the set-up room: what a job needs before its first SCF. The values stand in
/// setup/state.h.

namespace qsolve {

/// Checks options and molecule against each other, converts the geometry to the working unit,
/// numbers the orbitals, counts the electrons and places them on levels. Writes the header of the
/// calculation's log. A refusal is Fatal, a doubtful parameter a warning. Never run twice for one
/// intake, since the conversions are in place.
void ValidateJob();

/// Turns the coordinates of all atoms, and the tethers and stretches, from Angstrom to bohr where
/// the method works in bohr. In place: once for an intake.
void ConvertToWorkingUnit();

/// Refuses an atom with a mass that is not finite or at most 1e-10.
void CheckMasses();

/// Fills results.Orbitals.vOccupancy, the electrons of each level. Restricted: 2, then 1 on open
/// levels, then 0; in a next lowest state the last occupied level is marked -1. Unrestricted: 1 on
/// the occupied alpha levels, -1 on the occupied beta levels, whose half starts at N.
void SetOccupations();

}  // namespace qsolve
