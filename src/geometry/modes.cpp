#include "geometry/modes.h"

#include <algorithm>
#include <cmath>

#include "algebra/diagonalise.h"
#include "geometry/inertia.h"
#include "numeric/row.h"

namespace qsolve {

void SolveModes(int n, int nExternal, const ExternalLevels& levels, double* mMatrix,
                double* mVectors, double* vValues) {
    Diagonalise(n, mMatrix, mVectors, vValues);
    for (int k = n - nExternal; k < n; ++k)
        vValues[k] -= levels.dStep * std::trunc(vValues[k] / levels.dStep + 0.5);
}

int DiagonaliseHessian(int nAtoms, const double* vXyz, const double* vOnes, double dMillidynes,
                       double* vWork, double* mHessian, double* mVectors, double* vValues) {
    const int n = 3 * nAtoms;
    // Where the axes stand does not depend on the unit of length, and a line is one in any.
    const Inertia inertia = ComputeInertia(nAtoms, vXyz, vOnes, 1.0);
    const int nExternal = CountExternalModes(inertia);
    std::transform(mHessian, Row(mHessian, n, n), mHessian,
                   [=](double d) { return dMillidynes * d; });
    RaiseExternalModes(nAtoms, vXyz, nullptr, inertia, kSearchLevels, vWork, mHessian);
    SolveModes(n, nExternal, kSearchLevels, mHessian, mVectors, vValues);
    for (int k = 0; k < n; ++k) vValues[k] /= dMillidynes;
    return nExternal;
}

}  // namespace qsolve
