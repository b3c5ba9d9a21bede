#pragma once

namespace qsolve {

/// The largest row sum of absolute values of a symmetric tridiagonal matrix of order n >= 1, a
/// bound of its eigenvalues. vOff[i] joins i and i + 1; vOff[n - 1] is 0.
double TridiagonalNorm(int n, const double* vDiagonal, const double* vOff);

/// Eigenvalues of a symmetric tridiagonal matrix of order n >= 1, ascending, by QR iteration with
/// the eigenvalue of the last 2 x 2 block as shift. An off-diagonal element below dNegligible
/// counts as 0. It works on the squares of these elements, without roots: C. H. Reinsch, Numer.
/// Math. 17, 435 (1971); B. N. Parlett, The Symmetric Eigenvalue Problem, 8-15.
///
/// vValues is the diagonal in and the eigenvalues out; vOff, as above, is destroyed. At most
/// kMostSteps steps are spent on one eigenvalue, which is then taken as it is; so it ends whatever
/// the numbers are, and not-a-numbers come out last. Returns the number of steps.
int TridiagonalEigenvalues(int n, double dNegligible, double* vValues, double* vOff);

constexpr int kMostSteps = 60;

/// Eigenvalues and eigenvectors of a symmetric tridiagonal matrix of order n >= 1, ascending, by QL
/// iteration with implicit shifts. A. Dubrulle, R. S. Martin, J. H. Wilkinson, Numer. Math. 12, 377
/// (1968). vValues is the diagonal in and the eigenvalues out; vOff, as above, is destroyed. The
/// rows of mVectors, n of nColumns elements, nStep apart, are those of a unit matrix in and the
/// eigenvectors out, or some columns of either. At most kMostSteps steps are spent on one
/// eigenvalue.
void TridiagonalVectors(int n, int nColumns, double* vValues, double* vOff, double* mVectors,
                        int nStep);

/// Widens a range of n ascending values, unless it is empty, by those that equal its first or last
/// one to the last digit.
void WidenRange(int n, const double* vValues, int& nFirst, int& nEnd);

/// Sorts n numbers upwards, not-a-numbers last.
void SortValues(int n, double* vValues);

}  // namespace qsolve
