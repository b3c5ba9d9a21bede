#pragma once

#include "scf/commutator.h"
#include "scf/state.h"

namespace qsolve {

/// Fock matrices that the extrapolation remembers.
constexpr int kDiisVectors = 5;

/// Direct inversion in the iterative subspace: replaces the Fock matrix by the combination of the
/// last five, coefficients summing to 1, whose error F P - P F is least. P. Pulay, J. Comput. Chem.
/// 3, 556 (1982).
///
/// mFock, n x n, is symmetric; density is that of the cycle before; mDiisError and mDiisFock hold
/// kDiisVectors matrices, of which the lower triangles count. A singular system leaves F as it is
/// and starts a new history with the next call. mWork is scratch, n x n. Yields.
void ExtrapolateFockDiis(int n, double* mFock, const SpinDensity& density, double* mDiisError,
                         double* mDiisFock, double* mWork, DiisHistory& history);

}  // namespace qsolve
