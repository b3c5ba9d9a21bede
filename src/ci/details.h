#pragma once

#include "ci/interaction.h"
#include "ci/spectrum.h"
#include "ci/state.h"

namespace qsolve {

/// Which states are kept in full: the first nStates of the list, with the configurations whose
/// coefficients are larger than dLeast in size.
struct DetailRequest {
    int nStates;
    double dLeast;
};

/// Keeps the states of an interaction, with as many properties as there are to be states (fewer
/// states are all of them). nWanted is the place of the state of the job. Without memory: Fatal.
/// Yields.
void KeepDetails(const Interaction& interaction, const StateProperties* pProperties, int nWanted,
                 const DetailRequest& request, CiDetails& details);

}  // namespace qsolve
