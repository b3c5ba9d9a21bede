#pragma once

#include "link/memory.h"
#include "link/packets.h"

namespace qsolve {

/// What a configuration interaction leaves. Lives for one calculation.
struct CiState {
    Array<UvRecord> CiStateTable;  ///< states of a singles CI as they go to the client
    int nCiStates = 0;
    Array<double> vNaturalOcc;  ///< N: occupations of the natural orbitals of a microstate CI
};
inline CiState ci;

}  // namespace qsolve
