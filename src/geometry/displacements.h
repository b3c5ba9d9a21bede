#pragma once

#include "geometry/state.h"
#include "link/messages.h"

/// Second derivatives of the energy as differences of gradients.

namespace qsolve {

/// How the differences are taken.
struct DifferenceScheme {
    bool fForward;        ///< one way, from the reference point on; else both ways
    double dStep;         ///< from the reference point, working unit of length
    double dPerSpan;      ///< 1 over the distance of the two points, as it is multiplied with
    float flLimitFactor;  ///< on the convergence limit of the SCF at displaced points
    float flMostLimit;    ///< which is no larger than this then, kcal/mol
    MessageId nProgress;  ///< status line that tells how much is done, percent
};

/// For the force matrix of the vibrations.
constexpr DifferenceScheme kForceMatrixScheme = {false, 0.004166666666666667,   120.0, 1e-5F,
                                                 1e30F, kMsgForceMatrixProgress};

/// Second derivatives at system.pCoords by differences of the gradient, for the first nAtoms atoms
/// of the selection, capping atoms not among them; n = 3 nAtoms.
///
/// mHessian, n x n: of the energy, kcal/mol per square of the working unit; its two triangles are
/// the mean of both. mDipoles, n x 3, or null: of the dipole, Debye per working unit. Rows and
/// columns of dummies are 0. Where answers can be asked for (geometry/answer.h) the densities at
/// displaced points come from them, at their own small steps to either side whatever the scheme;
/// else, and for a coordinate without one, each displaced SCF starts from the densities that the
/// last one before the call has left, and none depends on another, so that copies of the process
/// may share them: nMostWorkers at most, with the same result to the last bit. At the end
/// coordinates and densities are those of the reference point again; gradient and dipole are not.
///
/// Charges Yield; what ends the job ends the copies. Fatal with kMsgWorkerLost when one of them
/// ends by itself, with kMsgOutOfMemory where there is no memory.
DifferenceReport ComputeDifferences(const DifferenceScheme& scheme, int nAtoms, int nMostWorkers,
                                    double* mHessian, double* mDipoles);

}  // namespace qsolve
