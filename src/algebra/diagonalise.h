#pragma once

namespace qsolve {

/// Eigenvalues and eigenvectors of a real symmetric matrix of any order: Householder reduction to a
/// tridiagonal matrix T, QR iteration for its eigenvalues, inverse iteration for its vectors, and
/// these transformed back. Not-a-numbers and infinities go through and come out; nothing fails but
/// the allocation, and equal input gives equal output, bit for bit.
///
/// mMatrix, n x n: only the lower triangle is read; destroyed. mVectors, n x n: eigenvector k, of
/// unit length, is row k; its sign follows from the fixed sequence of start vectors. vValues, n:
/// the eigenvalues, ascending. Works in algebra.vEigenWork, which it takes anew where that is too
/// short. Yields.
void Diagonalise(int n, double* mMatrix, double* mVectors, double* vValues);

/// Orders n energies upwards by exchanging pairs, and with them the rows of mVectors, n x nStep.
void SortVectors(int n, double* mVectors, double* vEnergy, int nStep);

}  // namespace qsolve
