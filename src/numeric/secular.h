#pragma once

namespace qsolve {

/// The eigenvalues of diag(d) + rho z z^T, one between each d_j and the next, the last one above
/// all: the roots of 1/rho + sum_i z_i^2 / (d_i - x).
struct Secular {
    int n;                   ///< at least 1
    double dRho;             ///< positive
    const double* vPoles;    ///< d, strictly ascending, n
    const double* vSquares;  ///< z^2, positive, n
};

/// A root as a pole and the way from there, which keeps the digits of its distance to that pole.
struct Root {
    int nOrigin;    ///< number of the pole
    double dShift;  ///< the root less the pole
};

/// Root number j, by rational interpolation with the two poles at its sides, kept in its interval.
/// R.-C. Li, LAPACK Working Note 89 (1993). At most kMostRootSteps steps are taken, whatever the
/// numbers are.
Root FindRoot(const Secular& secular, int j);

constexpr int kMostRootSteps = 80;

}  // namespace qsolve
