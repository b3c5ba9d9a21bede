#pragma once

#include <cstddef>

namespace qsolve {

/// Eigenvalues and eigenvectors of a real symmetric matrix of any order: Householder reduction to a
/// tridiagonal matrix T, its eigenvalues and vectors, and these transformed back. T is solved by
/// divide and conquer where it is large, else by QR iteration for its eigenvalues and inverse
/// iteration for its vectors. Not-a-numbers and infinities go through and come out; nothing fails
/// but the allocation, and equal input gives equal output, bit for bit, on any number of threads.
///
/// mMatrix, n x n: only the lower triangle is read; destroyed. mVectors, n x n: eigenvector k, of
/// unit length, is row k; its sign follows from a fixed sequence of numbers. vValues, n:
/// the eigenvalues, ascending. Works in algebra.vEigenWork, which it takes anew where that is too
/// short. Yields.
void Diagonalise(int n, double* mMatrix, double* mVectors, double* vValues);

/// The same with the vectors nFirst .. nEnd - 1 alone, and those of eigenvalues that equal the
/// first or the last of them to the last digit. The other rows of mVectors are left with no
/// meaning.
void DiagonaliseRange(int n, int nFirst, int nEnd, double* mMatrix, double* mVectors,
                      double* vValues);

/// The same, with other digits in the last places where the order is at most 32, in less than half
/// the time there. Where levels are equal such digits decide what a cycle fills: those of old keep
/// theirs.
void DiagonaliseQuickly(int n, int nFirst, int nEnd, double* mMatrix, double* mVectors,
                        double* vValues);

/// The eigenvalues alone, n, ascending, by QR iteration of T: a third to a half of the work.
/// mMatrix as above; destroyed. Yields.
void Eigenvalues(int n, double* mMatrix, double* vValues);

/// Scratch of one solution at a time.
struct EigenScratch {
    double* vWork;  ///< EigenWork(n), from a line of the cache on
    int* vIndex;    ///< EigenIndices(n)
};

/// Doubles of scratch for an order.
std::size_t EigenWork(int n);

/// Ints of scratch for an order.
std::size_t EigenIndices(int n);

/// DiagonaliseQuickly for all vectors, for tasks of the pool: works in scratch of the caller's, and
/// does not yield.
void DiagonaliseInTask(int n, double* mMatrix, double* mVectors, double* vValues,
                       const EigenScratch& scratch);

/// Orders n energies upwards by exchanging pairs, and with them the rows of mVectors, n x nStep.
void SortVectors(int n, double* mVectors, double* vEnergy, int nStep);

}  // namespace qsolve
