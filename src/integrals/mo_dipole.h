#pragma once

namespace qsolve {

/// The dipole operator over molecular orbitals as a linear form on their products (mo_integral.h):
///
///     <a| -(r - R_0) |b> = sum over i of d_i x_i,    x the product of a and b,
///
/// one form of MoProductSize() entries for each axis, mForm being 3 x MoProductSize(), in e bohr.
/// An electron counts at its nucleus, with the s-p and p-d moments of the atom: the sum over the
/// occupied orbitals, with the core charges, is the dipole of ComputeDipole. vOrigin is R_0 in the
/// working unit.
void FillMoDipole(const double* vOrigin, double* mForm);

}  // namespace qsolve
