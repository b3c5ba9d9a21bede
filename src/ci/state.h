#pragma once

#include "link/memory.h"

namespace qsolve {

/// States of a configuration interaction, as they go to the client. Lives for one calculation.
struct CiState {
    struct StateRecord {
        unsigned char Bytes[64];
    };
    Array<StateRecord> CiStateTable;
    int nCiStates = 0;
};
inline CiState ci;

}  // namespace qsolve
