#pragma once

namespace qsolve {

/// Gives up, for this process and all that come of it, what a backend never does: to open, make or
/// change files, to start programs, to speak to the network or into other processes. What is given
/// up fails from then on as a thing that is not permitted. fListening: its own socket may still be
/// removed. Returns false, with nothing given up, where the system has no such promise, and where
/// the build has none: sanitizers and counters of lines write files.
bool Confine(bool fListening);

}  // namespace qsolve
