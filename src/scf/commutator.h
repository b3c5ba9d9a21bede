#pragma once

namespace qsolve {

/// The density of a spin: the matrix, n x n, and where it is just a sum over orbitals and a
/// multiple of the unit matrix, that sum, dFactor sum_k w_k C_k C_k^T over the orbitals nFirst ..
/// nEnd - 1 of mVectors. What commutes with a Fock matrix shows in the sum alone, which is the
/// cheaper way where it is short.
struct SpinDensity {
    const double* mDensity;
    int nFirst = 0, nEnd = 0;
    const double* mVectors = nullptr;  ///< null where the density is no such sum
    const double* vWeights = nullptr;
    double dFactor = 1.0;
};

/// The lower triangle of F P - P F, n x n, which is antisymmetric since both are symmetric. mFock
/// is whole; mWork, n x n, is scratch. Yields.
void Commutator(int n, const double* mFock, const SpinDensity& density, double* mWork,
                double* mCommutator);

}  // namespace qsolve
