#pragma once

#include "scf/electrons.h"

/// The second derivatives of the energy by rotations of orbitals, E(x) = E + x H x / 2: R. Seeger,
/// J. A. Pople, J. Chem. Phys. 66, 3045 (1977). Vectors are CountRotations(electrons) long and
/// listed as scf/rotations.h says; energies are in the unit of the family.

namespace qsolve {

/// Towards which states a curvature is looked for: those of the same kind, or those with the spins
/// of a restricted closed shell turned apart.
enum class Turn { kSame, kSpinsApart };

/// A preconditioner divides by no difference of levels that is smaller, eV.
constexpr double kSmallestBend = 0.05;

/// The diagonal of the Hessian but for what the electrons answer, from the levels vEnergy of the
/// sets: 2 w (f_p - f_q) (e_q - e_p).
void FillBend(const Electrons& electrons, double* vBend);

/// y := H x, with vBend as FillBend makes it. The orbitals of the sets have to be those of their
/// Fock matrices. Densities, in scf.mDensityT too, and Fock matrices are destroyed (FillDensities
/// and EvaluateFock make them anew). Yields; Fatal without memory.
void MultiplyByHessian(Electrons& electrons, Turn turn, const double* vBend, const double* x,
                       double* y);

}  // namespace qsolve
