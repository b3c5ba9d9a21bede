#pragma once

namespace qsolve {

constexpr int kShuffleEntries = 97;

/// What a client may ask of a run beyond what every client gets.
struct DynamicsWishes {
    bool fLongNoise = false;       ///< Langevin: noise from a stream that does not come back
    bool fLand = false;            ///< heating always ends on its goal, and no target passes one
    bool fScaledNoise = false;     ///< Langevin: noise of places in bohr where places are
    bool fRestUnmoving = false;    ///< capping atoms and dummies have no velocity
    bool fStateReports = false;    ///< Monte Carlo: a report tells of the state and not of a trial
    bool fMovableOnly = false;     ///< Monte Carlo: nothing but free atoms is tried
    bool fDoubleEnergies = false;  ///< Monte Carlo: trials are judged in double precision
    bool fKnownEnergies = false;   ///< Monte Carlo: no SCF for an energy that is known
};

/// The jobs that move atoms by time or chance.
struct DynamicsState {
    // The one generator. Lives for the process; each job seeds it anew.
    int nShuffleTable[kShuffleEntries] = {};
    int nShuffleLast = 0;          ///< what the table gave last; chooses the next entry
    bool fGeneratorReady = false;  ///< the table has been filled

    // Lives for one job.
    DynamicsWishes Wishes;
};
inline DynamicsState dynamics;

}  // namespace qsolve
