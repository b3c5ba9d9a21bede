#pragma once

namespace qsolve {

/// Turns the overlap matrix in mCore into the core Hamiltonian of CNDO/2 or INDO, in place, and
/// fills vCoreDiagonal and *pCoreEnergy. Matrices have rows nLeading apart and are nOrbitals x
/// nOrbitals, hartree; mCoulomb holds the Coulomb matrix. With k half an eV in hartree,
///
///     H_mu nu = -(beta_A + beta_B) S_mu nu k
///     H_mu mu = U_mu + gamma_AA / 2 - sum over all B of Z_B gamma_AB
///
/// where k is three quarters of itself once either atom is of an element from Ne on. INDO adds its
/// one-centre exchange for He to F. vCoreDiagonal is U, without the rest.
///
/// The core-core energy is that of point charges, and of the classical charges where some atoms are
/// not selected. Charges Yield for each atom.
///
/// J. A. Pople, G. A. Segal, J. Chem. Phys. 44, 3289 (1966); J. A. Pople, D. L. Beveridge,
/// P. A. Dobosh, J. Chem. Phys. 47, 2026 (1967).
void BuildCndoCore(double* mCore, const double* mCoulomb, double* vCoreDiagonal,
                   double* pCoreEnergy, int nLeading, int nOrbitals);

/// One-centre exchange that INDO adds to the core element of an s (nAngular 0) or p (1) orbital,
/// hartree; 0 outside He to F and for d orbitals. Reads the parameter table.
double IndoCoreTerm(int nElement, int nAngular);

/// Hartree that CNDO/2 and INDO take for half an eV of a resonance parameter, for a pair of
/// elements: three quarters once either is Ne or beyond. Elements as in ListedAtom.
double CndoResonancePerEv(int nElementA, int nElementB);

}  // namespace qsolve
