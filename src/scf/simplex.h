#pragma once

namespace qsolve {

/// Densities that can be mixed, at most.
constexpr int kMostMixed = 8;

/// The mixture of n <= kMostMixed points with the lowest value of the quadratic form
///
///     f(c) = sum_i vLinear_i c_i - sum_ij c_i c_j mBend_ij / 2,   c_i >= 0,   sum c_i = 1
///
/// mBend is symmetric, n x n. Writes the n coefficients. Every face of the simplex is tried, so the
/// form may bend either way; of equal faces the first one is taken.
void MinimiseOnSimplex(int n, const double* vLinear, const double* mBend, double* vMixture);

/// Solves A x = b, n x n with rows nStep apart, by elimination with row exchanges; A and b are
/// destroyed, and b becomes x. False where a pivot is below 1e-14 of the largest element.
bool SolveLinear(int n, int nStep, double* mA, double* vB);

}  // namespace qsolve
