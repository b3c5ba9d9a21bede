#pragma once

/// The face of the gradient room.

namespace qsolve {

/// The derivatives of the energy of the last SCF with respect to the positions of the selected
/// atoms, capping ones included: fills gradient.pGradient, by position x y z, in the raw unit of
/// the method, hartree/bohr or eV/Angstrom, and sets gradient.fComputed. The density counts as
/// stationary, so that nothing but integrals is differentiated:
///
///     dE/dx = 2 sum over pairs of orbitals on different atoms of P dH/dx
///             + sum of P_mu mu dV_mu/dx + sum of dgamma/dx (P P - Pa Pa - Pb Pb) + dE_core/dx
///
/// P. Pulay, Mol. Phys. 17, 197 (1969). A single selected atom has the gradient 0.
///
/// Densities are setup.nOrbitals squared, symmetric: total, alpha and beta. In a restricted
/// calculation mDensityA is half the total, and mDensityB is not read and may be null.
///
/// Charges Yield for each atom. Fatal with kMsgOutOfMemory where there is no memory for a table of
/// atoms; fComputed is then unset.
void ComputeGradient(const double* mDensityT, const double* mDensityA, const double* mDensityB);

/// For the gradient of an energy that is a sum over densities, each with a weight: ClearGradient
/// sets gradient.pGradient to 0 and unsets gradient.fComputed, AddGradient adds dWeight times the
/// gradient of densities as above, whose spins have orbitals of their own where mDensityB is not
/// null, and sets it. What repels without electrons is in each: weights that sum to 1 count it
/// once.
void ClearGradient();
void AddGradient(double dWeight, const double* mDensityT, const double* mDensityA,
                 const double* mDensityB);

}  // namespace qsolve
