#pragma once

#include "link/memory.h"
#include "scf/orbital_hessian.h"

namespace qsolve {

/// All second derivatives of the energy by rotations of orbitals, from the integrals over orbitals:
/// what MultiplyByHessian multiplies by, element by element. Vectors and rows are listed as
/// scf/rotations.h says; energies are in the unit of the family.
struct WholeHessian {
    int nSize = 0;             ///< rotations
    double dWeight = 1.0;      ///< electrons that a full level of a set holds
    double dEv = 1.0;          ///< eV in the unit of the family
    Array<double> vBend;       ///< what FillBend gives
    Array<double> vFillings;   ///< f_p - f_q of each rotation
    Array<double> mIntegrals;  ///< (pq|st), nSize x nSize, lower triangle
    Array<double> mExchange;   ///< (ps|qt) + (pt|qs) within a spin; the same shape
};

/// Makes all of it. The orbitals of the sets have to be those of their Fock matrices, with levels
/// vEnergy; nothing of the electrons is changed. Yields; Fatal without memory.
void FillWholeHessian(const Electrons& electrons, WholeHessian& whole);

/// The matrix itself towards states of either kind, nSize x nSize, symmetric:
///
///     2 w (f_p - f_q) (e_q - e_p), on the diagonal,
///         + 2 w (f_p - f_q) (f_s - f_t) [2 w (pq|st) - (ps|qt) - (pt|qs)]
///
/// for states of the same kind, without (pq|st) where the spins of a closed shell come apart.
void FillHessian(const WholeHessian& whole, Turn turn, double* mHessian);

}  // namespace qsolve
