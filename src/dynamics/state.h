#pragma once

#include "link/memory.h"

namespace qsolve {

constexpr int kShuffleEntries = 97;

/// The jobs that move atoms by time or chance.
struct DynamicsState {
    // The one generator. Lives for the process; each job seeds it anew.
    int nShuffleTable[kShuffleEntries] = {};
    int nShuffleLast = 0;          ///< what the table gave last; chooses the next entry
    bool fGeneratorReady = false;  ///< the table has been filled

    // Lives for one job.
    Array<double> vVelocity;  ///< by position, x y z, Angstrom/ps for every method
};
inline DynamicsState dynamics;

}  // namespace qsolve
