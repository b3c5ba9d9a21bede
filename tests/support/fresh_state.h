#pragma once

#include <gtest/gtest.h>

#include "algebra/state.h"
#include "ci/state.h"
#include "dynamics/state.h"
#include "gradient/state.h"
#include "integrals/state.h"
#include "job/state.h"
#include "link/state.h"
#include "properties/state.h"
#include "scf/state.h"
#include "session/state.h"
#include "setup/state.h"
#include "symmetry/state.h"
#include "tests/support/scripted_client.h"
#include "vibrations/state.h"

namespace qsolve {

/// Gives every room a new struct, as in a process that has just started.
inline void ResetAllState() {
    link = LinkState{};
    options = RunOptions{};
    job = JobOptions{};
    further = FurtherOptions{};
    fDebugTrace = 0;
    system = SystemState{};
    results = ResultState{};
    parameters = ParameterState{};
    setup = SetupState{};
    integrals = IntegralState{};
    scf = ScfState{};
    algebra = AlgebraState{};
    gradient = GradientState{};
    properties = PropertyState{};
    ci = CiState{};
    dynamics = DynamicsState{};
    vibrations = VibrationState{};
    symmetry = SymmetryState{};
    session = SessionState{};
    memory = MemoryState{.nBytesHeld = memory.nBytesHeld};
}

/// Base of the tests that touch state.
class FreshState : public testing::Test {
  protected:
    FreshState() { ResetAllState(); }
    ~FreshState() override {
        client.DuringPump = nullptr;  // may refer to what ends with the test
        ResetAllState();
    }
};

}  // namespace qsolve
