#pragma once

#include "scf/state.h"

namespace qsolve {

/// Fock matrices that the extrapolation remembers.
constexpr int kDiisVectors = 5;

/// The density of a spin in the cycle before: the matrix, n x n, and where it is just a sum over
/// orbitals and a multiple of the unit matrix, that sum, dFactor sum_k w_k C_k C_k^T over the
/// orbitals nFirst .. nEnd - 1 of mVectors. What commutes with a Fock matrix shows in the sum
/// alone, which is the cheaper way where it is short.
struct SpinDensity {
    const double* mDensity;
    int nFirst = 0, nEnd = 0;
    const double* mVectors = nullptr;  ///< null where the density is no such sum
    const double* vWeights = nullptr;
    double dFactor = 1.0;
};

/// Direct inversion in the iterative subspace: replaces the Fock matrix by the combination of the
/// last five, coefficients summing to 1, whose error F P - P F is least. P. Pulay, J. Comput. Chem.
/// 3, 556 (1982).
///
/// mFock, n x n, is symmetric; mDiisError and mDiisFock hold kDiisVectors matrices, of which the
/// lower triangles count. A singular system leaves F as it is and starts a new history with the
/// next call. mWork is scratch, n x n. Yields.
void ExtrapolateFockDiis(int n, double* mFock, const SpinDensity& density, double* mDiisError,
                         double* mDiisFock, double* mWork, DiisHistory& history);

}  // namespace qsolve
