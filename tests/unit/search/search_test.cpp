#include "search/search.h"

#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "gradient/state.h"
#include "job/state.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "setup/state.h"
#include "tests/support/model_potential.h"

namespace qsolve {
namespace {

void Minimise(int nOptimiser, double dRms, int nMaxCycles) {
    switch (nOptimiser) {
        case kSteepestDescent:
            return SteepestDescent(dRms, nMaxCycles);
        case kFletcherReeves:
            return FletcherReeves(dRms, nMaxCycles);
        default:
            return PolakRibiere(dRms, nMaxCycles);
    }
}

const std::vector<double> kThreeAtoms{0, 0, 0, 1.3, 0.2, 0, 0.3, 1.1, 0.4};

/// What holds for all three minimisers.
class AnySearch : public ModelTest, public testing::WithParamInterface<int> {
  protected:
    static void Run(double dRms, int nMaxCycles) { Minimise(GetParam(), dRms, nMaxCycles); }
    static bool IsDescent() { return GetParam() == kSteepestDescent; }
};

TEST_P(AnySearch, FindsTheBottomOfABowl) {
    Place({0.5, -0.25, 0.125, 1, 2, 3});
    Start(Bowl({400, 100, 50, 300, 20, 700}, {0, 0, 0, 1.5, 2.2, 2.9}));
    Run(1e-4, 4000);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_LT(DistanceFrom({0, 0, 0, 1.5, 2.2, 2.9}), 2e-5);
}

TEST_P(AnySearch, ClosesATriangleOfAtoms) {
    Place(kThreeAtoms);
    Start(LennardJones());
    Run(1e-2, 5000);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_NEAR(scf.dTotalEnergy, -30.0, 1e-5);
}

TEST_P(AnySearch, ReachesTheSameMinimumInBohr) {
    Place(kThreeAtoms);
    system.MethodId = kCndo;
    Start(LennardJones());
    Run(1e-2, 5000);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_NEAR(scf.dTotalEnergy, -30.0, 1e-5);
    EXPECT_LT(gradient.dGradientSquared, 9e-4);
}

TEST_P(AnySearch, FollowsACurvedValley) {
    Place({-1.2, 1, 0.5});
    Start(Valley());
    Run(1e-2, 40000);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_LT(DistanceFrom({1, 1, 0}), 0.05);
}

TEST_P(AnySearch, WritesTheFullReportOnceAndInItsMinimum) {
    Place(kThreeAtoms);
    bool fWritten = false;
    Start([&](const std::vector<double>& x, std::vector<double>& g) {
        EXPECT_FALSE(fWritten);
        fWritten = setup.fFinalReport;
        return LennardJones()(x, g);
    });
    Run(1e-3, 5000);
    EXPECT_TRUE(fWritten);
    EXPECT_EQ(model.Path.back(), model.Path[model.Path.size() - 2]) << "a last SCF in its place";
}

TEST_P(AnySearch, OnTheGroundAlreadyRunsTheReportAlone) {
    Place({0, 0, 0});
    Start(Bowl({1, 1, 1}, {0.01, 0, 0}));
    Run(0.1, 100);
    EXPECT_EQ(model.nRuns, 2);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_FALSE(setup.fFinalReport);  // what a later SCF reports is its own affair
    EXPECT_EQ(results.Block.nCycles, IsDescent() ? 1 : 0);
    EXPECT_EQ(results.Block.nEnergyPoints, 1);
}

TEST_P(AnySearch, SingleAtomWithoutForceIsConvergedWithAnyLimit) {
    for (const double dRms : {0.1, 0.0}) {
        Place({1, 2, 3});
        Start([](const std::vector<double>&, std::vector<double>&) { return -5.0; });
        Run(dRms, 100);
        EXPECT_EQ(results.Block.fConverged, 1);
        EXPECT_EQ(DistanceFrom({1, 2, 3}), 0.0);
    }
}

TEST_P(AnySearch, EndsWhenItsCyclesRunOut) {
    Place({-1.2, 1, 0.5});
    Start(Valley());
    Run(1e-8, 3);
    EXPECT_EQ(results.Block.fConverged, 0);
    EXPECT_EQ(results.Block.nCycles, 3);
    EXPECT_EQ(results.Block.nEnergyPoints, IsDescent() ? 3 : model.nRuns);
    EXPECT_FALSE(setup.fFinalReport);
}

TEST_P(AnySearch, DoesNothingWithoutCycles) {
    for (const int nMaxCycles : {0, -7}) {
        Place({-1.2, 1, 0.5});
        Start(Valley());
        const int nBefore = model.nRuns;
        Run(1e-8, nMaxCycles);
        EXPECT_EQ(model.nRuns, nBefore);
        EXPECT_EQ(results.Block.nCycles, 0);
        EXPECT_EQ(results.Block.fConverged, 0);
    }
}

TEST_P(AnySearch, ReportsEveryPeriodOfCycles) {
    for (const int nPeriod : {3, -3}) {
        NewScriptedClient();
        Place({-1.2, 1, 0.5});
        job.nReportPeriod = nPeriod;
        Start(Valley());
        Run(1e-12, 10);
        const std::vector<ResultBlock> blocks = Blocks();
        ASSERT_EQ(blocks.size(), 3u);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(blocks[i].nCycles, static_cast<int>(3 * (i + 1)));
            EXPECT_EQ(blocks[i].fConverged, 0);
            EXPECT_EQ(blocks[i].fFinalResult, 0);
        }
        ASSERT_EQ(client.Sent.size(), 9u) << "block, coordinates and charges of each";
        EXPECT_EQ(client.Sent[1].Payload.size(), 12u);
        EXPECT_EQ(client.Sent[2].nType, kPacketCharges);
    }
}

TEST_P(AnySearch, PreciseResultsFollowTheChargesOfAReportPoint) {
    Place({-1.2, 1, 0.5});
    options.nExtensions = kPreciseResults;
    job.nReportPeriod = 1;
    Start(Valley());
    Run(1e-12, 2);
    ASSERT_EQ(client.Sent.size(), 8u);
    EXPECT_EQ(client.Sent[3].nType, kPacketPrecise);
    EXPECT_EQ(client.Sent[7].nType, kPacketPrecise);
}

TEST_P(AnySearch, PeriodOfZeroOrBeyondTheCyclesReportsNothing) {
    for (const int nPeriod : {0, 11, std::numeric_limits<int>::min()}) {
        Place({-1.2, 1, 0.5});
        job.nReportPeriod = nPeriod;
        Start(Valley());
        Run(1e-12, 10);
        EXPECT_TRUE(client.Sent.empty()) << nPeriod;
    }
}

TEST_P(AnySearch, MovesTheSelectedAtomsAlone) {
    const std::vector<double> x{0, 0, 0, 1.05, 0.1, 0, 0.4, 0.95, 0.1};
    Place(x, {3, 1});
    Start(LennardJones());
    Run(1e-2, 5000);
    EXPECT_EQ(results.Block.fConverged, 1);
    for (std::size_t k = 3; k < 6; ++k) EXPECT_EQ(system.pCoords[k], x[k]);
    EXPECT_NEAR(scf.dTotalEnergy, -30.0, 1e-5);
}

TEST_P(AnySearch, CappingAtomsStayAndCountInTheLimit) {
    Place({0.1, 0, 0, 1, 0, 0});
    system.pAtoms[1].nState = kCapping;
    system.nCapping = 1;
    // 0.1 apart with force 1: the square is 0.01, the limit 6 x 0.05^2 = 0.015.
    Start(Bowl({1, 1, 1, 1, 1, 1}, {0, 0, 0, 0, 0, 0}));
    Run(0.05, 10);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_EQ(DistanceFrom({0.1, 0, 0, 1, 0, 0}), 0.0);
    Run(0.01, 5000);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_LT(std::abs(system.pCoords[0]), 0.03);
    EXPECT_EQ(system.pCoords[3], 1.0);
}

TEST_P(AnySearch, EnergiesThatAreNoNumbersEndItWhereTheCoordinatesAreNumbers) {
    Place({1, 0, 0});
    int nRuns = 0;
    Start([&](const std::vector<double>& x, std::vector<double>& g) {
        const double d = Bowl({5, 5, 5}, {0, 0, 0})(x, g);
        if (++nRuns < 4) return d;
        g.assign(3, std::numeric_limits<double>::quiet_NaN());
        return g[0];
    });
    Run(1e-6, 1000000);
    EXPECT_EQ(results.Block.fConverged, 0);
    EXPECT_LT(nRuns, 60);
    if (!IsDescent()) {
        EXPECT_TRUE(std::isfinite(system.pCoords[0]));
    }
}

TEST_P(AnySearch, EnergyThatFallsForEverEndsIt) {
    Place({1, 0, 0});
    Start([&](const std::vector<double>& x, std::vector<double>& g) {
        g[0] = -1.0;
        return -x[0];
    });
    Run(1e-6, 300);
    EXPECT_EQ(results.Block.fConverged, 0);
    EXPECT_LT(model.nRuns, 400);
}

INSTANTIATE_TEST_SUITE_P(Optimisers, AnySearch, testing::Range(0, 3));

}  // namespace
}  // namespace qsolve
