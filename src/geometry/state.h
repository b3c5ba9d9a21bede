#pragma once

namespace qsolve {

/// How the SCFs at displaced points went.
struct DifferenceReport {
    int nPoints = 0;        ///< displaced points
    long long nCycles = 0;  ///< cycles of all of them
    int nUnconverged = 0;   ///< that ended at the iteration limit
    int nWorkers = 0;       ///< copies of the process that computed them; 0 none
};

}  // namespace qsolve
