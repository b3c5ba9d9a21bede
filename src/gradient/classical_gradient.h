#pragma once

namespace qsolve {

/// Adds to the gradient of the selected atoms their interaction with the classical charges, in
/// CNDO, INDO, ZINDO/1 and ZINDO/S. For a selected atom A with core Z_A and populations N of its
/// shells, and a classical one of charge q and core Z the energy is
///
///     -q (N_sp g_sp + N_d g_d) + Z_A (Z / R - (Z - q) g_sp)
///
/// with the repulsions g of classical_charges.h. The classical atom does not move and gets nothing.
///
/// mDensityT is setup.nOrbitals squared, the total density; pGradient has x y z by position,
/// hartree/bohr. Atoms in one place do not push each other. Charges Yield for each selected atom.
void AddClassicalChargeGradient(const double* mDensityT, double* pGradient);

}  // namespace qsolve
