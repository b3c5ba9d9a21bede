#pragma once

namespace qsolve {

/// Points with an error each, which are at most kMostPulay.
constexpr int kMostPulay = 10;
struct PulayPoints {
    int nCount;
    int nStep;            ///< between the rows of the products
    const double* mDots;  ///< scalar products of the errors, by slot
    const int* vOrder;    ///< slot of each point, oldest first
};

/// Coefficients, oldest first, that make the mixed error smallest, their sum 1: direct inversion in
/// the iterative subspace. P. Pulay, J. Comput. Chem. 3, 556 (1982). Old points are left out, with
/// coefficients of 0, where the system is singular. Returns the number of points that count, which
/// are the newest.
int MixByPulay(const PulayPoints& points, double* vMixture);

}  // namespace qsolve
