#pragma once

#include "numeric/kernels.h"

namespace qsolve {

/// Shifts of a tridiagonal matrix that are factored and solved side by side.
constexpr int kLanes = 8;

/// Triangular factors of T - x_t I by elimination with row interchanges, for kLanes shifts x_t at
/// once. Element i of lane t stands at [i * kLanes + t] everywhere; each array has n * kLanes.
struct LaneFactors {
    int n;
    double* vU0;          ///< diagonal of the upper factor
    double* vU1;          ///< its first band
    double* vU2;          ///< its second band; not 0 just where rows i and i + 1 were exchanged
    double* vMultiplier;  ///< what was added of row i to row i + 1
};

/// Factors T - vShifts[t] I. vDiagonal and vOff have n, vOff[n - 1] is 0. A pivot of less than
/// dPivot in magnitude becomes dPivot, which is to be positive and at the level of rounding.
inline void FactorLanes(const LaneFactors& factors, const double* vDiagonal, const double* vOff,
                        const double* vShifts, double dPivot) {
    kernels->FactorLanes(factors, vDiagonal, vOff, vShifts, dPivot);
}

/// The forward half of a solution: applies the interchanges and multipliers to vX, n x kLanes.
inline void SolveForward(const LaneFactors& factors, double* vX) {
    kernels->SolveForward(factors, vX);
}

/// The backward half: solves the upper factor for vX, n x kLanes, then scales each lane to a
/// largest magnitude of 1e-5. vLargest, kLanes, are the magnitudes before, at least 1e-20.
inline void SolveBackward(const LaneFactors& factors, double* vX, double* vLargest) {
    kernels->SolveBackward(factors, vX, vLargest);
}

}  // namespace qsolve
