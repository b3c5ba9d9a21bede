#pragma once

namespace qsolve {

/// P_ij += sum_k w_k C_ki C_kj for j <= i. mVectors is nVectors x n, vWeights nVectors, mResult
/// n x n; its upper triangle is neither read nor written.
void AddOuterProducts(int n, int nVectors, const double* mVectors, const double* vWeights,
                      double* mResult);

/// The same in place of what the triangle held.
void MakeOuterProducts(int n, int nVectors, const double* mVectors, const double* vWeights,
                       double* mResult);

/// Copies the rows nFirst .. nEnd - 1 of a lower triangle over the columns above it; rows are nStep
/// apart.
void MirrorRows(int nStep, int nFirst, int nEnd, double* mMatrix);

/// Copies the lower triangle of an n x n matrix to the upper one.
void MirrorLower(int n, double* mMatrix);

}  // namespace qsolve
