#include "vibrations/infrared.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numeric/matrix3.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

/// From mdyn/(Angstrom amu) to 1/s^2, and from the angular frequency to 1/cm.
constexpr double kPerSecondSquared = 6.02252e28;
constexpr double kWavenumberPerAngular = 5.3088375e-12;

}  // namespace

double FrequencyOf(double dForceConstant) {
    const double dSize =
        std::sqrt(std::abs(dForceConstant) * kPerSecondSquared) * kWavenumberPerAngular;
    return std::copysign(dSize, dForceConstant);
}

void FillModeDipoles(int n, const double* mModes, const double* mDipoles, double* mModeDipoles) {
    std::fill_n(mModeDipoles, 3 * static_cast<std::size_t>(n), 0.0);
    for (int m = 0; m < n; ++m) {
        const double* L = Row(mModes, n, m);
        double* d = Row(mModeDipoles, 3, m);
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < 3; ++c) d[c] += L[i] * Row(mDipoles, 3, i)[c];
    }
}

double IntensityOf(const double* vModeDipole) {
    return Dot3(vModeDipole, vModeDipole) * kDecadicIntensity;
}

}  // namespace qsolve
