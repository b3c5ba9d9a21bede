#pragma once

namespace qsolve {

/// Adds the part of the energy gradient that comes from the resonance integrals, of all methods:
///
///     g_A += 2 sum over mu of A, nu of other atoms of P_mu nu dH_mu nu / dx_A
///
/// with H = f S for orbitals of different atoms, f the resonance integral over overlap of the
/// method. What A gets, the other atom gives.
///
/// mDensityT is setup.nOrbitals squared, symmetric, the total density. pGradient has x y z by
/// position, in hartree/bohr or eV/Angstrom as the method. Charges Yield for each atom; Fatal with
/// kMsgOutOfMemory where there is no memory for a table of atoms.
void AddResonanceGradient(const double* mDensityT, double* pGradient);

}  // namespace qsolve
