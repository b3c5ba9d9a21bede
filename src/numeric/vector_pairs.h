#pragma once

#include "numeric/kernels.h"

namespace qsolve {

/// Elements i and j of some vectors, p of the first kind and q of the second.
struct VectorPairs {
    int nFirst, nSecond;                ///< vectors of either kind
    bool fTriangle;                     ///< of pairs, only those with q <= p
    const double *vFirstI, *vFirstJ;    ///< a_i and a_j of each p
    const double *vSecondI, *vSecondJ;  ///< b_i and b_j of each q
};

/// What the pairs have of the product of functions i and j, p by p and q by q:
///
///     x_pq = a_pi b_qj + a_pj b_qi,   for i = j half of that
inline void FillVectorPairs(const VectorPairs& pairs, double* vProducts) {
    kernels->FillVectorPairs(pairs, vProducts);
}

}  // namespace qsolve
