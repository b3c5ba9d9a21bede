#pragma once

namespace qsolve {

/// Eigenvalues and eigenvectors of a small real symmetric matrix by Jacobi's rotations of planes,
/// which keep the vectors of nearly equal values at right angles to the last digit.
///
/// mMatrix, n x n: only the lower triangle is read; destroyed. mVectors, n x n: eigenvector k, of
/// unit length, is row k. vValues, n: the eigenvalues, ascending. Ends after kMostSweeps sweeps
/// whatever the matrix holds, so not-a-numbers come out where they went in.
void DiagonaliseByJacobi(int n, double* mMatrix, double* mVectors, double* vValues);

}  // namespace qsolve
