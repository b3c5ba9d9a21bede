#include <gtest/gtest.h>

#include <string>

#include "job/state.h"
#include "scf/scf.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Cycles that an SCF of water has told, with a limit of the energy change, kcal/mol.
int CyclesTold(float flLimit) {
    JobScript script = Water(kAm1);
    script.Options.flConvergenceLimit = flLimit;
    script.Options.nIterationLimit = 60;
    SetUpJob(script);
    RunScf();
    int nTold = 0;
    for (const std::string& line : client.Texts(kPacketStatusLine))
        nTold += line.find("Iteration = ") == 0;
    return nTold;
}

class ScfLimit : public FreshState {};

TEST_F(ScfLimit, OfZeroAsksForAllCycles) {
    EXPECT_EQ(CyclesTold(0.0F), 60);
}

TEST_F(ScfLimit, BelowTheRoundingOfTheEnergyIsMetByIt) {
    EXPECT_LT(CyclesTold(1e-30F), 60);
    EXPECT_LE(CyclesTold(1e-3F), CyclesTold(1e-30F));
}

}  // namespace
}  // namespace qsolve
