#include "geometry/external_modes.h"

#include <cmath>

#include "numeric/matrix3.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

/// The motion of the atoms, weighted by the roots of their masses: along axis k for k below 3,
/// about axis k - 3 above. Brought to unit length.
void FillMotion(int k, int nAtoms, const double* vXyz, const double* vMass, const Inertia& inertia,
                double* t) {
    const double* a = inertia.mAxes + 3 * (k % 3);
    for (int i = 0; i < nAtoms; ++i) {
        double r[3], v[3] = {a[0], a[1], a[2]};
        for (int x = 0; x < 3; ++x) r[x] = vXyz[3 * i + x] - inertia.vCentre[x];
        if (k >= 3) Cross3(a, r, v);
        const double dWeight = vMass == nullptr ? 1.0 : std::sqrt(vMass[i]);
        for (int x = 0; x < 3; ++x) t[3 * i + x] = dWeight * v[x];
    }
    const double dLength = std::sqrt(Dot(3 * nAtoms, t, t));
    if (dLength == 0.0) return;
    for (int i = 0; i < 3 * nAtoms; ++i) t[i] /= dLength;
}

}  // namespace

void RaiseExternalModes(int nAtoms, const double* vXyz, const double* vMass, const Inertia& inertia,
                        const ExternalLevels& levels, double* vWork, double* mMatrix) {
    constexpr int kAboutFirstAxis = 3;
    const int n = 3 * nAtoms;
    for (int k = 0; k < kExternalModes; ++k) {
        if (k == kAboutFirstAxis && CountExternalModes(inertia) < kExternalModes) continue;
        FillMotion(k, nAtoms, vXyz, vMass, inertia, vWork);
        const double dLevel = levels.dFirst + levels.dStep * (k + 1);
        for (int i = 0; i < n; ++i) {
            double* row = Row(mMatrix, n, i);
            const double dFactor = dLevel * vWork[i];
            for (int j = 0; j < n; ++j) row[j] += dFactor * vWork[j];
        }
    }
}

}  // namespace qsolve
