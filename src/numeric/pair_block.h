#pragma once

#include "numeric/kernels.h"

namespace qsolve {

/// Products phi_i phi_j, j <= i, of n functions.
constexpr int PairProducts(int n) {
    return n * (n + 1) / 2;
}

/// Two groups of functions, i and j of A with k and l of B, and the block w_(ij)(kl) between their
/// products, PairProducts(nA) x PairProducts(nB), each in the order of a lower triangle.
struct PairBlock {
    int nA, nB;  ///< functions: 1, 4 or 9
    const double* pBlock;
    int nStep;            ///< from one row to the next of the two matrices
    const double* pSpin;  ///< Q, nA x nB
    double* pFock;        ///< F, nA x nB
    const double* vDensityA;
    const double* vDensityB;  ///< of the products
    double* vPotentialA;
    double* vPotentialB;  ///< of the products
};

/// What the block adds to the potentials and to the matrix:
///
///     V_ij += sum_kl w_(ij)(kl) D_kl,   V_kl += sum_ij w_(ij)(kl) D_ij,
///     F_ik -= sum_jl w_(ij)(kl) Q_jl,   j and l over all functions
inline void AddPairBlock(const PairBlock& pair) {
    kernels->AddPairBlock(pair);
}

}  // namespace qsolve
