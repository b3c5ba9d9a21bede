#include "scf/guarded.h"

#include <gtest/gtest.h>

#include <string>

#include "job/state.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"

namespace qsolve {
namespace {

class GuardedCycles : public FreshState {};

TEST_F(GuardedCycles, AreToldByTheirNumbersFromOne) {
    SetUpJob(Water(kAm1));
    further.Scf.fGuarded = 1;
    further.Scf.nStability = kNoStability;
    RunScf();
    int nTold = 0;
    for (const std::string& line : client.Texts(kPacketStatusLine)) {
        if (line.find("Iteration = ") != 0) continue;
        const std::string sStart = "Iteration = " + std::to_string(++nTold) + " ";
        EXPECT_EQ(line.substr(0, sStart.size()), sStart);
    }
    EXPECT_GT(nTold, 2);
}

TEST_F(GuardedCycles, EndWithTheLowestLevelsFull) {
    for (const int nMethod : {int{kAm1}, int{kCndo}, int{kZindo1}}) {
        GuardedJob job(Molecule(nMethod, kWaterPlaces));
        EXPECT_TRUE(job.Converge().fConverged);
        EXPECT_TRUE(TakeOrbitals(job.electrons)) << nMethod;
    }
}

}  // namespace
}  // namespace qsolve
