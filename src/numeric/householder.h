#pragma once

#include "numeric/kernels.h"

namespace qsolve {

/// Reflectors taken together: the matrix behind a panel is then updated once for all of them.
constexpr int kPanel = 32;

/// The largest matrix that is reduced one reflector after the other: panels do not pay there.
constexpr int kAtOnce = 32;

/// A reflector with a smaller h is not applied.
constexpr double kSmallestScale = 1e-30;

/// Householder reduction A = Q T Q^T of a symmetric matrix, in panels. Reflector c, of
/// n - 2, clears row c beyond its second element:
///
///     H_c = I - t t^T / h,   t = a + s e,   s = sign(a_1) |a|,   h = s t_1
///
/// with a the part of row c right of the diagonal. h below 1e-30 means that there is nothing to
/// clear. Then T_c,c+1 = -s. G. H. Golub, C. F. Van Loan, Matrix Computations, 8.3.
struct Reduction {
    int n;            ///< at least 3
    double* mMatrix;  ///< Padded(n) x ReductionStep(n), by LoadMatrix; t of reflector c out, in row
                      ///< c from c + 1 on
    double* mPanel;   ///< scratch, kPanelRows x ReductionStep(n)
    double* vDiagonal;  ///< of T, n
    double* vOff;       ///< of T, n; the last one is 0
    double* vScale;     ///< h by reflector, n; 0 for one that is not to be applied
};

/// From one row of the matrix of a reduction to the next: padded, and such that rows do not compete
/// for the same places in a cache.
constexpr int ReductionStep(int n) {
    return Padded(n) + (Padded(n) % 64 == 0 ? kPad : 0);
}

/// Parts into which a product of the matrix with a vector is cut. Their number follows from the
/// order alone, and so do the bits of the sum.
constexpr int kMostParts = 8;

/// Rows of scratch: the panel, and the sums of the parts.
constexpr int kPanelRows = 2 * kPanel + kMostParts;

/// Doubles of the matrix and the scratch of a reduction, which is nPanelRows long.
constexpr long long ReductionSize(int n, int nPanelRows) {
    return static_cast<long long>(Padded(n) + nPanelRows) * ReductionStep(n);
}

/// Copies a matrix, n x n, of which the lower triangle is read, to the padded one.
void LoadMatrix(const Reduction& reduction, const double* mLower);

/// Makes the panel of reflectors from number c on and updates the rest of the matrix. Returns the
/// number of the next one. Start at 0, go on while it is below n - 2, then FinishReduction.
int ReducePanel(const Reduction& reduction, int c);

/// Reads off what remains of T after the last panel.
void FinishReduction(const Reduction& reduction);

/// In place of all these for an order of at most kAtOnce: the whole reduction of a matrix, n x n,
/// of which the lower triangle is read. The panel is not used.
inline void ReduceAtOnce(const Reduction& reduction, const double* mLower) {
    kernels->ReduceAtOnce(reduction, mLower);
    FinishReduction(reduction);
}

/// Reflectors that are transformed back together, for n of them.
constexpr int BlockOf(int n) {
    return n < 400 ? 48 : 96;
}

/// Doubles of scratch that TransformBack needs.
constexpr long long TransformWork(int n, int nVectors) {
    return 2LL * BlockOf(n) * (nVectors + BlockOf(n));
}

/// Applies H_c .. H_(nEnd - 1), at most BlockOf(n) reflectors, to the rows of mVectors, nVectors x
/// n, as x = H_c ... H_(nEnd - 1) z; to be called from the last reflectors to the first. Done as
/// one product of matrices, I - Y S Y^T. R. Schreiber, C. F. Van Loan, SIAM J. Sci. Stat. Comput.
/// 10, 53 (1989). vWork has TransformWork doubles. Clears the matrix left of the reflectors.
void TransformBack(const Reduction& reduction, int c, int nEnd, int nVectors, double* mVectors,
                   double* vWork);

/// In place of TransformBack after ReduceAtOnce: applies all reflectors to the rows of mVectors,
/// nVectors x n.
inline void TransformAtOnce(const Reduction& reduction, int nVectors, double* mVectors) {
    kernels->TransformAtOnce(reduction, nVectors, mVectors);
}

}  // namespace qsolve
