#pragma once

#include "numeric/kernels.h"

namespace qsolve {

/// Rows of the factors that are made together.
constexpr int kPanel = 8;

/// Makes rows D U of the factors U^T D U from those of a symmetric matrix: the square on the
/// diagonal, nRows wide, and the columns behind it up to nColumns, of which there are some only for
/// nRows = kPanel. Of the square the upper triangle is read and written. vInverse, nRows, gets
/// 1 / D. Returns the number of rows before the first whose pivot is not positive; where there is
/// one, the columns behind the square stay as they were.
inline int FactorPanel(int nRows, int nColumns, int nStep, double* mPanel, double* vInverse) {
    return kernels->FactorPanel(nRows, nColumns, nStep, mPanel, vInverse);
}

/// Whether a symmetric matrix A, n x n, is positive definite, by its factors U^T D U: pivot k is
/// what is left of A_kk, and each has to be positive. mMatrix: the upper triangle is read;
/// destroyed. Where a pivot is not, vDown gets a vector v with v A v equal to that pivot and
/// v_k = 1, zero behind it; of not-a-numbers it may be none. vDown, n, is scratch else.
///
/// The factors are those of a matrix that differs from A by some n roundings of its largest
/// element: J. H. Wilkinson, J. Assoc. Comput. Mach. 8, 281 (1961).
bool IsPositiveDefinite(int n, double* mMatrix, double* vDown);

}  // namespace qsolve
