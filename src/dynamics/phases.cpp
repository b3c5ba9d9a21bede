#include "dynamics/phases.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qsolve {

namespace {

constexpr double kMost = std::numeric_limits<int>::max();

/// A quotient a little above a whole number, such as 0.3 / 0.1 in floating point, still counts as
/// that number.
constexpr double kSlack = 0.1;

int CountFrom(double dQuotient, double dLeast) {
    const double d = std::ceil(dQuotient - kSlack);
    return std::isnan(d) ? 0 : static_cast<int>(std::clamp(d, dLeast, kMost));
}

int Sum(int a, int b) {
    return static_cast<int>(std::min(static_cast<double>(a) + b, kMost));
}

}  // namespace

int StepsIn(double dTime, double dTimeStep) {
    return dTimeStep > 0.0 ? CountFrom(dTime / dTimeStep, 0.0) : 0;
}

Phases DerivePhaseLengths(double dHeatTime, double dRunTime, double dCoolTime, double dTimeStep) {
    Phases phases{.nHeatSteps = StepsIn(dHeatTime, dTimeStep),
                  .nRunSteps = StepsIn(dRunTime, dTimeStep),
                  .nCoolSteps = StepsIn(dCoolTime, dTimeStep)};
    phases.nHeatRunSteps = Sum(phases.nHeatSteps, phases.nRunSteps);
    phases.nTotalSteps = Sum(phases.nHeatRunSteps, phases.nCoolSteps);
    return phases;
}

int RescalingPeriod(int nSteps, double dTempStep, double dRange) {
    return CountFrom(nSteps * dTempStep / std::abs(dRange), -kMost);
}

}  // namespace qsolve
