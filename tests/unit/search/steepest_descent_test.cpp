#include <algorithm>
#include <cmath>

#include "job/state.h"
#include "link/messages.h"
#include "search/search.h"
#include "setup/state.h"
#include "tests/support/model_potential.h"

namespace qsolve {
namespace {

class Descent : public ModelTest {
  protected:
    /// How far the atoms went in each cycle.
    static std::vector<double> Steps() {
        std::vector<double> steps;
        for (std::size_t k = 1; k < model.Path.size(); ++k) {
            double d = 0.0;
            for (std::size_t i = 0; i < model.Path[k].size(); ++i)
                d += std::pow(model.Path[k][i] - model.Path[k - 1][i], 2);
            steps.push_back(std::sqrt(d));
        }
        return steps;
    }
};

/// A slope of 3 along x whose energy is what the test says, run by run.
Potential Scripted(std::vector<double> vEnergy) {
    return
        [vEnergy, n = std::size_t{0}](const std::vector<double>&, std::vector<double>& g) mutable {
            g[0] = 3.0;
            return vEnergy[std::min(n++, vEnergy.size() - 1)];
        };
}

TEST_F(Descent, StepGrowsByAFifthAndIsHalvedWhenTheEnergyDoesNotFall) {
    Place({0, 0, 0});
    Start(Scripted({10, 9, 8, 8, 9, 8.5, 7}));
    SteepestDescent(1e-3, 6);
    const std::vector<double> steps = Steps();
    ASSERT_EQ(steps.size(), 6u);
    EXPECT_NEAR(steps[0], 0.002 * 3.0, 1e-15);
    const double dFactor[] = {1.2, 1.2, 0.5, 0.5, 1.2};  // the third energy ties
    for (std::size_t k = 0; k < 5; ++k) EXPECT_NEAR(steps[k + 1] / steps[k], dFactor[k], 1e-9) << k;
    EXPECT_LT(system.pCoords[0], 0.0) << "downhill";
}

TEST_F(Descent, TooShortAStepEndsItWithAWarning) {
    Place({0, 0, 0});
    Start(Scripted({10}));
    SteepestDescent(1e-3, 1000);
    EXPECT_EQ(client.Warnings(), std::vector<std::string>{MessageText(kMsgDescentStepTooSmall)});
    // 0.006 / 2^13 is the first below 1e-6.
    EXPECT_EQ(results.Block.nCycles, 13);
    EXPECT_EQ(results.Block.nEnergyPoints, 13);
    EXPECT_EQ(results.Block.fConverged, 0);
    EXPECT_FALSE(setup.fFinalReport);
    EXPECT_EQ(model.nRuns, 14);
}

TEST_F(Descent, CountsItsLastCycleWhenItConverges) {
    Place({0.5, 0, 0});
    Start(Bowl({400, 400, 400}, {0, 0, 0}));
    SteepestDescent(0.1, 1000);
    EXPECT_EQ(results.Block.nCycles, model.nRuns - 1);
    EXPECT_EQ(results.Block.nEnergyPoints, model.nRuns - 1);
}

}  // namespace
}  // namespace qsolve
