#pragma once

/// The face of the properties room: what follows from a density alone.

namespace qsolve {

/// Populations and net charges of the selected atoms. Densities are N x N with N = scf.nOrbitals;
/// a restricted calculation reads mDensityT, an unrestricted one mDensityA and mDensityB, and the
/// other pointers may be null. Fills results.Orbitals.vPopulation, by position, alpha before beta,
/// and flCharge of each selected atom that is no dummy: core charge less population, in e. Other
/// atoms keep the charge they have.
void ComputeAtomCharges(const double* mDensityT, const double* mDensityA, const double* mDensityB);

/// The dipole moment in Debye, as the sum of three: net charges at the nuclei, s-p hybrids, p-d
/// hybrids:
///
///     mu = f sum_A q_A (R_A - R_0) - sum_A D_A^sp P(s, p) - sum_A D_A^pd P(p, d)
///
/// J. A. Pople, G. A. Segal, J. Chem. Phys. 43, S136 (1965). mDensityT is the total density,
/// nOrbitals x nOrbitals. R_0 is scf.dChargeOrigin, charges and coordinates are those of the atoms
/// and system.pCoords, so ComputeAtomCharges has to come before. Fills properties.dDipoleTable and
/// the dipole of the result block, and with setup.fFinalReport writes the table to the log. One
/// atom alone has no dipole: nothing is computed or written.
void ComputeDipole(const double* mDensityT, int nOrbitals);

}  // namespace qsolve
