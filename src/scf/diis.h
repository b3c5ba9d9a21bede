#pragma once

#include "scf/state.h"

namespace qsolve {

/// Fock matrices that the extrapolation remembers.
constexpr int kDiisVectors = 5;

/// Direct inversion in the iterative subspace: replaces the Fock matrix by the combination of the
/// last five, coefficients summing to 1, whose error F P - P F is least. P. Pulay, J. Comput. Chem.
/// 3, 556 (1982).
///
/// mFock and mDensity, the spin density of the cycle before, are n x n and symmetric; mDiisError
/// and mDiisFock hold kDiisVectors matrices. A singular system leaves F as it is and starts a new
/// history with the next call. Takes one n x n array; without memory the job ends. Yields.
void ExtrapolateFockDiis(int n, double* mFock, const double* mDensity, double* mDiisError,
                         double* mDiisFock, DiisHistory& history);

}  // namespace qsolve
