#pragma once

#include "dynamics/noise_stream.h"

namespace qsolve {

/// The deviates of one run of Langevin dynamics: from the one generator, or from a stream that does
/// not come back. With the generator, a run of 714025 / 72 steps and more for each moving atom
/// meets the same noise again, and unless friction times step is 0.1 or more the bath is then wrong
/// by up to 60 per cent in temperature.
struct RandomForce {
    int nLangevinSeed = 0;
    bool fReseed = true;
    bool fLongNoise = false;
    NoiseStream Stream;
};

/// The random force of a run that starts.
RandomForce StartRandomForce(int nSeed, bool fLongNoise);

struct DeviatePair {
    double x = 0.0, y = 0.0;
};

/// Two deviates of mean 0 with standard deviations dWidthX and dWidthY and correlation
/// dCorrelation, each made of unit deviates that are sums of twelve uniform numbers, less 6.
DeviatePair CorrelatedDeviates(double dWidthX, double dWidthY, double dCorrelation,
                               RandomForce& force);

}  // namespace qsolve
