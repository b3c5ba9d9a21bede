#pragma once

/// The face of the set-up room: what a job needs before its first SCF. The values stand in
/// setup/state.h.

namespace qsolve {

/// Checks options and molecule against each other, brings the geometry into the working unit,
/// numbers the orbitals, counts the electrons and places them on levels. Writes the header of the
/// calculation's log. A refusal is Fatal, a doubtful parameter a warning.
void ValidateJob();

/// Takes system.pCoords and fills it with the places of all atoms in the working unit, bohr or
/// Angstrom: the one place where a geometry of the client becomes one that is computed.
void TakeCoordinates();

/// Refuses an atom with a mass that is not finite or at most 1e-10.
void CheckMasses();

/// Fills results.Orbitals.vOccupancy, the electrons of each level. Restricted: 2, then 1 on open
/// levels, then 0; in a next lowest state the last occupied level is marked -1. Unrestricted: 1 on
/// the occupied alpha levels, -1 on the occupied beta levels, whose half starts at N.
void SetOccupations();

}  // namespace qsolve
