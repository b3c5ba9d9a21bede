#include <cmath>
#include <cstring>

#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "search/search.h"
#include "setup/parameters.h"
#include "tests/support/model_potential.h"

namespace qsolve {
namespace {

class Conjugate : public ModelTest {
  protected:
    static void Run(bool fPolak, double dRms, int nMaxCycles) {
        fPolak ? PolakRibiere(dRms, nMaxCycles) : FletcherReeves(dRms, nMaxCycles);
    }
};

// The first point of a line search is sqrt(-slope / s.s) dScale |s| = 0.002 |g| away, or half of
// that: with s = -g the root is 1.
TEST_F(Conjugate, FirstStepIsTheScaleTimesTheGradient) {
    for (const bool fPolak : {false, true}) {
        Place({1, 0, 0});
        model.Path.clear();
        Start(Bowl({5, 5, 5}, {0, 0, 0}));
        Run(fPolak, 1e-6, 1);
        EXPECT_NEAR(model.Path[0][0] - model.Path[1][0], (fPolak ? 0.001 : 0.002) * 5.0, 1e-12);
        // Steps on from there: once the same again, then twice, four times ...
        const double d = model.Path[0][0] - model.Path[1][0];
        EXPECT_NEAR(model.Path[1][0] - model.Path[2][0], d, 1e-12);
        EXPECT_NEAR(model.Path[2][0] - model.Path[3][0], 2 * d, 1e-12);
        EXPECT_NEAR(model.Path[3][0] - model.Path[4][0], 4 * d, 1e-12);
    }
}

// Where the parabola to the floor is shorter than the scaled gradient it is taken: 4000 / g^2 |g|.
TEST_F(Conjugate, SteepSlopesStepByTheFloor) {
    Place({1, 0, 0});
    Start(Bowl({2e4, 2e4, 2e4}, {0, 0, 0}));
    FletcherReeves(1e-3, 1);
    EXPECT_NEAR(model.Path[0][0] - model.Path[1][0], 4000.0 / 2e4, 1e-9);
}

// On a bowl exact line searches give conjugate directions, so that as many cycles as there are
// different force constants suffice; the line searches here are exact on parabolas, since a cubic
// through two points and slopes of one is that parabola.
TEST_F(Conjugate, BowlTakesOneCycleForEachForceConstant) {
    for (const bool fPolak : {false, true}) {
        Place({0.5, -0.25, 0.125, 1, 2, 3});
        Start(Bowl({400, 100, 400, 100, 40, 40}, {0, 0, 0, 0, 0, 0}));
        Run(fPolak, 1e-6, 100);
        EXPECT_EQ(results.Block.fConverged, 1);
        EXPECT_LE(results.Block.nCycles, 4) << fPolak;
    }
}

// The same in bohr, where the gradient's square is per Angstrom and its products per bohr.
TEST_F(Conjugate, BowlInBohrTakesAsManyCycles) {
    for (const bool fPolak : {false, true}) {
        Place({0.5, -0.25, 0.125, 1, 2, 3});
        system.MethodId = kCndo;
        Start(Bowl({400, 100, 400, 100, 40, 40}, {0, 0, 0, 0, 0, 0}));
        Run(fPolak, 1e-6, 100);
        EXPECT_LE(results.Block.nCycles, 4) << fPolak;
    }
}

TEST_F(Conjugate, EnergyNeverRisesFromCycleToCycleInAValley) {
    for (const bool fPolak : {false, true}) {
        NewScriptedClient();
        Place({-1.2, 1, 0.5});
        job.nReportPeriod = 1;
        options.nExtensions = kPreciseResults;
        std::vector<double> energies;
        Start(Valley());
        double dLast = scf.dTotalEnergy;
        Run(fPolak, 1e-2, 200);
        EXPECT_EQ(results.Block.fConverged, 1) << fPolak;
        for (const SentPacket& packet : client.Sent) {
            if (packet.nType != kPacketPrecise) continue;
            double dEnergy = 0.0;
            std::memcpy(&dEnergy, packet.Payload.data() + 8, sizeof dEnergy);
            EXPECT_LE(dEnergy, dLast);
            dLast = dEnergy;
        }
    }
}

// Units decide what a number means and not where a search goes: with the same numbers and the same
// limit on them both take the same way.
TEST_F(Conjugate, WayIsTheSameInBohrAsInAngstrom) {
    for (const bool fPolak : {false, true}) {
        std::vector<std::vector<double>> paths[2];
        for (const int nMethod : {int{kPm3}, int{kCndo}}) {
            Place({-1.2, 1, 0.5});
            system.MethodId = nMethod;
            model.Path.clear();
            Start(Valley());
            Run(fPolak, nMethod == kCndo ? 0.01 * kBohrPerAngstrom : 0.01, 50);
            paths[nMethod == kCndo] = model.Path;
        }
        ASSERT_EQ(paths[0].size(), paths[1].size());
        for (std::size_t k = 0; k < paths[0].size(); ++k)
            EXPECT_NEAR(paths[0][k][0], paths[1][k][0], 1e-6) << k;
    }
}

/// Whether a cycle, from 2, began straight downhill in Valley().
bool BeganDownhill(const std::vector<ResultBlock>& blocks, std::size_t nCycle) {
    const std::size_t nRun = static_cast<std::size_t>(blocks[nCycle - 2].nEnergyPoints) - 1;
    const std::vector<double>&x = model.Path[nRun], &y = model.Path[nRun + 1];
    std::vector<double> g(3, 0.0);
    Valley()(x, g);
    double dg = 0.0, dd = 0.0, gg = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        dg += (y[i] - x[i]) * g[i];
        dd += (y[i] - x[i]) * (y[i] - x[i]);
        gg += g[i] * g[i];
    }
    return dg / std::sqrt(dd * gg) < -1.0 + 1e-9;
}

TEST_F(Conjugate, FletcherReevesStartsAfreshEveryThreeCyclesOfAnAtom) {
    for (const bool fPolak : {false, true}) {
        NewScriptedClient();
        Place({-1.2, 1, 0.5});
        job.nReportPeriod = 1;
        model.Path.clear();
        Start(Valley());
        Run(fPolak, 1e-4, 8);
        const std::vector<ResultBlock> blocks = Blocks();
        ASSERT_EQ(blocks.size(), 8u);
        for (std::size_t n = 2; n <= 8; ++n)
            EXPECT_EQ(BeganDownhill(blocks, n), !fPolak && n % 3 == 1) << fPolak << " cycle " << n;
    }
}

// After ten refinements that lead nowhere the slope along the old direction is so steep that the
// new one leads uphill; -g takes its place within the same cycle.
TEST_F(Conjugate, UphillDirectionIsReplacedWithoutACycle) {
    for (const bool fPolak : {false, true}) {
        Place({1, 0, 0});
        model = ModelState{};
        Start([](const std::vector<double>&, std::vector<double>& g) {
            g[0] = model.nRuns <= 1 ? 1.0 : -2.0;
            return 0.0;
        });
        Run(fPolak, 1e-9, 2);
        ASSERT_GT(model.Path.size(), 12u);
        EXPECT_LT(model.Path[1][0], model.Path[0][0]);
        EXPECT_GT(model.Path[12][0], model.Path[11][0]);
        EXPECT_LE(results.Block.nCycles, 2);
    }
}

TEST_F(Conjugate, PolakRibiereAloneReplacesSmallDenominators) {
    for (const bool fPolak : {false, true}) {
        Place({0, 0, 0});
        model = ModelState{};
        Start([](const std::vector<double>&, std::vector<double>& g) {
            g[0] = 1e-11;
            return 0.0;
        });
        Run(fPolak, 0.0, 1);
        // sqrt(1e-22 / 1e-20) = 0.1 in place of sqrt(1e-22 / 1e-22) = 1.
        EXPECT_NEAR(model.Path[1][0] / -1e-11, fPolak ? 0.0001 : 0.002, 1e-9);
    }
}

TEST_F(Conjugate, EnergiesThatContradictTheirSlopesDoNotKeepItGoing) {
    for (const bool fPolak : {false, true}) {
        Place({1, 0, 0});
        model.nRuns = 0;
        Start([](const std::vector<double>& x, std::vector<double>& g) {
            g[0] = 1.0 + 0.1 * std::sin(40.0 * x[0]);
            return -x[0];
        });
        Run(fPolak, 1e-9, 5);
        EXPECT_EQ(results.Block.fConverged, 0);
        EXPECT_LT(model.nRuns, 5 * 112);
    }
}

TEST_F(Conjugate, MissingMemoryIsReported) {
    for (const int n : {0, 1}) {
        NewScriptedClient();
        Place({1, 0, 0});
        Start(Bowl({5, 5, 5}, {0, 0, 0}));
        memory.nTaken = 0;
        memory.nFailAt = n;
        EXPECT_THROW(PolakRibiere(1e-3, 5), Unwinding);
        memory.nFailAt = -1;
        EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgOutOfMemory)});
    }
}

}  // namespace
}  // namespace qsolve
