#pragma once

/// The density and energy of a cycle once its orbitals are known.

namespace qsolve {

/// Energy of one spin's electrons, E = sum over i, j of (H_ij + F_ij) P_ij / 2. All n x n and
/// symmetric, of which the lower triangles are read; in the unit of H and F.
double ComputeElectronicEnergy(int n, const double* mCore, const double* mFock,
                               const double* mDensity);

/// Ends the making of a new density in `scf`. Restricted: mDensityA, which holds the full density,
/// becomes mDensityT, and half of it mDensityA. Unrestricted: mDensityT is the sum of the spins.
/// NDDO also has its populations of atoms refreshed.
void FinishDensity();

/// Populations of each atom's s and p orbitals and of its d orbitals by position, from mDensityT:
/// integrals.vAtomScratch1 and vAtomScratch2. NDDO only. Entries of dummies stay.
void FillAtomPopulations();

/// Sets scf.dChargeOrigin, the reference of an ion's dipole, to the centre of mass of the selected
/// atoms when there is more than one of them and the molecule is charged, else to 0. Working unit.
void ComputeChargeOrigin();

/// Electrons that mDensityT may hold too many or too few.
constexpr double kTraceTolerance = 1e-6;

/// The sum of the diagonal of a density.
double ElectronsHeld(const double* mDensity);

/// Warns, once, when mDensityT does not hold the electrons of the calculation, or the density that
/// made the energy did not, which held dOfEnergy: levels are occupied by their energy, so that one
/// that equals the highest occupied level to the last bit is filled with it.
void CheckDensityTrace(double dOfEnergy);

}  // namespace qsolve
