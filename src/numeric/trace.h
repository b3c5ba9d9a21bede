#pragma once

#include "numeric/kernels.h"

namespace qsolve {

/// sum_i x_i y_i over n elements, in an order that depends on n alone.
inline double Dot(int n, const double* x, const double* y) {
    return kernels->Dot(n, x, y);
}

/// (sum_ij A_ij B_ij + sum_i A_ii B_ii) / 2, the inner product of two symmetric matrices, or of two
/// antisymmetric ones, over one triangle with its diagonal. n x n; only the lower triangles are
/// read.
double TraceProductHalf(int n, const double* mA, const double* mB);

/// The same in less time where rows are short, with other digits in the last places: the cycles of
/// old keep theirs.
double TraceProductHalfQuickly(int n, const double* mA, const double* mB);

/// sum_ij A_ij B_ij, the trace of A B for two symmetric matrices, n x n; only the lower triangles
/// are read.
double TraceProduct(int n, const double* mA, const double* mB);

}  // namespace qsolve
