#pragma once

namespace qsolve {

/// Whether a symmetric matrix A, n x n, is positive definite, by its factors U^T D U: pivot k is
/// what is left of A_kk, and each has to be positive. mMatrix: the upper triangle is read;
/// destroyed. Where a pivot is not, vDown gets a vector v with v A v equal to that pivot and
/// v_k = 1, zero behind it; of not-a-numbers it may be none. vDown, n, is scratch else.
///
/// The factors are those of a matrix that differs from A by some n roundings of its largest
/// element: J. H. Wilkinson, J. Assoc. Comput. Mach. 8, 281 (1961).
bool IsPositiveDefinite(int n, double* mMatrix, double* vDown);

}  // namespace qsolve
