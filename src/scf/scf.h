#pragma once

/// The face of the SCF room.

namespace qsolve {

/// One electronic-structure calculation at the geometry in system.pCoords: integrals, initial
/// guess, SCF cycles, labels of the levels, report.
///
/// The first call after a set-up starts from a guess, later ones from the density and orbitals that
/// the last one left. Results stand in `scf` and `results`. Without convergence it ends after
/// options.nIterationLimit + 2 cycles and leaves the last energy, density and orbitals; no text
/// tells. Nothing happens for extended Hueckel. What has no implementation is refused by Fatal
/// before anything is sent.
void RunScf();

/// Makes the next RunScf of the job start from a guess, as its first one did: for a geometry whose
/// density must not be gone on from.
void ForgetDensity();

}  // namespace qsolve
