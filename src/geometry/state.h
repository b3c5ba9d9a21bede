#pragma once

namespace qsolve {

/// How the SCFs at displaced points went.
struct DifferenceReport {
    int nPoints = 0;        ///< displaced points
    long long nCycles = 0;  ///< cycles of all of them
    int nUnconverged = 0;   ///< that ended at the iteration limit
    int nOfMean = 0;        ///< whose gradients are not those of the state that is asked for
    int nWhyMean = 0;       ///< MeanForce of one of these
    int nWorkers = 0;       ///< copies of the process that computed them; 0 none
};

}  // namespace qsolve
