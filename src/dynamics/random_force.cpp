#include "dynamics/random_force.h"

#include <algorithm>
#include <cmath>

#include "dynamics/random.h"

namespace qsolve {

namespace {

double UnitDeviate(RandomForce& force) {
    if (!force.fLongNoise) return GaussianDeviate(1.0, force.nLangevinSeed, force.fReseed);
    double dSum = 0.0;
    for (int i = 0; i < 12; ++i) dSum += NextUniform(force.Stream);
    return dSum - 6.0;
}

}  // namespace

RandomForce StartRandomForce(int nSeed, bool fLongNoise) {
    return {.nLangevinSeed = nSeed,
            .fReseed = true,
            .fLongNoise = fLongNoise,
            .Stream = StartNoise(nSeed)};
}

DeviatePair CorrelatedDeviates(double dWidthX, double dWidthY, double dCorrelation,
                               RandomForce& force) {
    const double u = UnitDeviate(force);
    const double w = UnitDeviate(force);
    const double dRest = std::sqrt(std::max(0.0, 1.0 - dCorrelation * dCorrelation));
    return {.x = u * dWidthX, .y = (dCorrelation * u + dRest * w) * dWidthY};
}

}  // namespace qsolve
