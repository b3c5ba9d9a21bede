#pragma once

namespace qsolve {

/// Inverts an n x n matrix in place by Gauss-Jordan elimination with full pivoting, and returns its
/// determinant. Returns 0 with the matrix half done when a pivot is below 1e-8 in magnitude.
/// vPivotRow and vPivotColumn are scratch of n.
double InvertMatrix(int n, double* mMatrix, int* vPivotRow, int* vPivotColumn);

}  // namespace qsolve
