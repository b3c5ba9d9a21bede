#pragma once

namespace qsolve {

/// Rows from which on two steps together take less time.
constexpr int kFewestPaired = 8;

/// Norms of a matrix between which PairedEigenvalues neither overflows nor loses what is small.
constexpr double kSmallestPaired = 1e-15, kLargestPaired = 1e40;

/// Eigenvalues of a symmetric tridiagonal matrix of order n >= 1, ascending, as
/// TridiagonalEigenvalues of numeric/tridiagonal.h finds them but for the last digits, in two
/// thirds of the time from some twenty rows on: two steps at a time with one shift. The second
/// follows the first two rows behind, so that the divisions that each of them waits for are made
/// together. (A shift of its own, the other eigenvalue of the last block, would save it a step in
/// twenty, and where a spectrum lies evenly about its middle nothing would converge.)
///
/// vValues is the diagonal in and the eigenvalues out; vOff[i] joins i and i + 1 and is destroyed.
/// An element of it below dNegligible counts as 0; that is some 1e-16 of the norm, which is as
/// above. Ends after at most kMostSteps steps for one eigenvalue, which is then taken as it is.
void PairedEigenvalues(int n, double dNegligible, double* vValues, double* vOff);

}  // namespace qsolve
