#pragma once

namespace qsolve {

constexpr int kShuffleEntries = 97;

/// The one generator of the jobs that move atoms by time or chance. Lives for the process; each job
/// seeds it anew.
struct DynamicsState {
    int nShuffleTable[kShuffleEntries] = {};
    int nShuffleLast = 0;          ///< what the table gave last; chooses the next entry
    bool fGeneratorReady = false;  ///< the table has been filled
};
inline DynamicsState dynamics;

}  // namespace qsolve
