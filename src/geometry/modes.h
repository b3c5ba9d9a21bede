#pragma once

#include "geometry/external_modes.h"

namespace qsolve {

/// Modes of a force matrix whose external modes have been raised.
///
/// mMatrix, n x n, symmetric: destroyed. mVectors, n x n: one mode a row, of unit length. vValues,
/// n: their force constants, the vibrations ascending and behind them the nExternal external modes,
/// from which the levels have been taken off. Yields; Fatal with kMsgOutOfMemory where there is no
/// memory.
void SolveModes(int n, int nExternal, const ExternalLevels& levels, double* mMatrix,
                double* mVectors, double* vValues);

/// Modes of a Hessian in which each atom counts the same, for a search: mHessian over the
/// coordinates of nAtoms atoms at vXyz, which is destroyed, in a unit of which dMillidynes
/// mdyn/Angstrom are one. mVectors and vValues as above, the values in the unit of the Hessian.
/// Returns the number of external modes. vWork is 3 nAtoms long and vOnes holds nAtoms times 1.
int DiagonaliseHessian(int nAtoms, const double* vXyz, const double* vOnes, double dMillidynes,
                       double* vWork, double* mHessian, double* mVectors, double* vValues);

}  // namespace qsolve
