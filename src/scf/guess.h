#pragma once

/// What a calculation starts from: densities, the first Fock matrices, and the small disturbances
/// that keep the symmetry of a start from trapping it. Matrices are N x N, energies in the unit of
/// the method family.

namespace qsolve {

/// Readies the densities and orbitals in `scf` for the coming cycles. In the first SCF of a job the
/// density is diagonal, one electron an orbital in CNDO and ZINDO, the populations of the atoms in
/// NDDO, and the orbitals are those of the basis. In later ones both stay as the last SCF left
/// them. The previous density of the damping becomes that of the spin, and the older diagonal 0.
void InitScfGuess();

/// F = H. In the first two cycles of a job's first SCF the methods of the CNDO and ZINDO families
/// also add a symmetric disturbance eps (-1)^(i(i+1)/2 + j), i >= j, to every element. mFock, N x
/// N.
void CopyCoreToFock(int nCycle, double* mFock);

/// Diagonal of the first Fock matrix of CNDO and INDO: F_ii = U_i, of ZINDO: F_ii = U_i / 2, each
/// with 1e-7 added and taken away in pairs of orbitals. vCoreDiag holds U, N; elements off the
/// diagonal stay.
void SeedFockCndo(int n, const double* vCoreDiag, double* mFock);
void SeedFockZindo(int n, const double* vCoreDiag, double* mFock);

/// Sets the spins apart in the first cycle of an unrestricted job's first SCF where there are as
/// many alpha as beta electrons: +-1e-5 on the diagonals, of opposite sign in the two spins.
void PerturbSpinFock(int nCycle, double* mFockA, double* mFockB);

}  // namespace qsolve
