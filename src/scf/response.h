#pragma once

#include "scf/orbital_hessian.h"

/// How orbitals answer a disturbance, to first order.

namespace qsolve {

struct ResponseEnd {
    bool fConverged = false;
    int nProducts = 0;  ///< Fock matrices of all sets that it took
};

/// Solves H x = -b by conjugate gradients, preconditioned by the differences of levels, for the
/// rotations x by which orbitals answer a disturbance whose slope of the energy along each rotation
/// is b: J. A. Pople, R. Krishnan, H. B. Schlegel, J. S. Binkley, Int. J. Quantum Chem. Symp. 13,
/// 225 (1979). vBend as FillBend makes it; vSlope and vRotations are CountRotations(electrons)
/// long. Converged when no element of the rest H x + b is above dPart of the largest one of b.
/// Ends without it after nMost products, and where a curvature is not positive: such a state is no
/// minimum. Densities and Fock matrices are destroyed as MultiplyByHessian says. Yields; Fatal
/// without memory.
ResponseEnd SolveResponse(Electrons& electrons, const double* vBend, const double* vSlope,
                          double dPart, int nMost, double* vRotations);

}  // namespace qsolve
