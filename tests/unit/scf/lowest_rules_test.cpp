#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "job/state.h"
#include "scf/rotations.h"
#include "scf/scf.h"
#include "scf/stability.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"

namespace qsolve {
namespace {

constexpr double kNeverMet = 1e-30;  ///< eV, a limit of the commutator

/// Five molecules of water in a row: 200 rotations.
std::vector<Place> RowOfWater() {
    std::vector<Place> places;
    for (int i = 0; i < 5; ++i)
        for (const Place& p : kWaterPlaces) places.push_back({p.nElement, p.x, p.y, p.z + 3.0 * i});
    return places;
}

/// When the cycles of FindLowestState end, and what they say of it.
class LowestRules : public FreshState {
  protected:
    static const ScfEnd& Run(JobScript script, const ScfWishes& asked, int nBudget,
                             double dLimit = 1e-6) {
        script.Options.nIterationLimit = nBudget;
        script.Options.flConvergenceLimit = static_cast<float>(dLimit);
        SetUpJob(script);
        further.Scf = asked;
        RunScf();
        return scf.End;
    }
    static std::vector<JobScript> Kinds(int nMethod) {
        return {Water(nMethod), Spins(Molecule(nMethod, kWaterPlaces), 0, 3, false),
                Spins(Molecule(nMethod, kWaterPlaces), 1, 2, true)};
    }
};

/// The error of the energy is of second order in the commutator, so that the limit of the one goes
/// with the root of the other's; a client may name its own.
TEST_F(LowestRules, CyclesEndWithTheFirstThatMeetsBothLimits) {
    for (const int nMethod : {1, 5}) {
        int nKind = 0;
        for (const JobScript& script : Kinds(nMethod)) {
            std::vector<ScfEnd> cycles;  // of budgets that grow
            for (int nBudget = 1; nBudget < 30; ++nBudget) {
                cycles.push_back(
                    Run(script, {.fGuarded = 1, .dCommutatorLimit = kNeverMet}, nBudget));
                ASSERT_FALSE(cycles.back().fConverged);
                ASSERT_EQ(cycles.back().nCycles, nBudget + 1);
            }
            // Closed shells, half electrons, whose energy is of first order in it, and two spins.
            const double dUsual = std::array{1e-5, 5e-8, 5e-7}[static_cast<std::size_t>(nKind++)];
            for (const double dTold : {0.0, 1e-1, 1e-3})
                for (const double dLimit : {1e-1, 1e-3, 1e-4, 1e-6}) {
                    const double dCommutator =
                        dTold > 0.0 ? dTold : dUsual * std::sqrt(dLimit / 1e-6);
                    const auto first =
                        std::find_if(cycles.begin(), cycles.end(), [&](const ScfEnd& e) {
                            return e.dDifference < dLimit && e.dCommutator < dCommutator;
                        });
                    ASSERT_NE(first, cycles.end());
                    const ScfEnd& end =
                        Run(script, {.fGuarded = 1, .dCommutatorLimit = dTold}, 100, dLimit);
                    EXPECT_TRUE(end.fConverged);
                    EXPECT_FALSE(end.fDescended);
                    EXPECT_EQ(end.nCycles, first->nCycles)
                        << nMethod << ' ' << nKind << ' ' << dTold << ' ' << dLimit;
                    EXPECT_EQ(end.dCommutator, first->dCommutator);
                    EXPECT_EQ(scf.Account.nCycles, end.nCycles - 1) << "differences";
                    EXPECT_NEAR(scf.Account.dFinalDifference, end.dDifference, 1e-8);
                }
        }
    }
}

/// Forty Fock matrices, and then a descent within what is left of the budget. The state is the
/// same.
TEST_F(LowestRules, ADescentTakesOverFromCyclesThatStall) {
    const ScfWishes stalled = {.fGuarded = 1, .dCommutatorLimit = kNeverMet};
    for (const JobScript& script : Kinds(5)) {
        Run(script, {.fGuarded = 1}, 100);
        const double dEnergy = scf.dTotalEnergy;
        EXPECT_FALSE(Run(script, stalled, 39).fDescended);
        EXPECT_EQ(scf.End.nCycles, 40);
        EXPECT_TRUE(Run(script, stalled, 40).fDescended);
        EXPECT_EQ(scf.End.nCycles, 41);
        EXPECT_TRUE(Run(script, stalled, 60).fDescended);
        EXPECT_EQ(scf.End.nCycles, 61);
        EXPECT_EQ(scf.End.nAllCycles, 61);
        EXPECT_FALSE(scf.End.fConverged);
        EXPECT_NEAR(scf.dTotalEnergy, dEnergy, 1e-6);
    }
}

/// Pairs of a filled and an empty level about the frontier: both at it, one below, one above, two
/// below; then the core's orbitals and scattered ones, which can always be had.
int StartsOfClosedShell(int nFull, int nLevels, int nAsked) {
    const int vPairs[4][2] = {{0, 0}, {1, 0}, {0, 1}, {2, 0}};  // from the frontier: down, up
    int nStarts = 1 + std::max(nAsked - 4, 0);
    for (int i = 0; i < std::min(nAsked, 4); ++i)
        nStarts += vPairs[i][0] < nFull && vPairs[i][1] < nLevels - nFull ? 1 : 0;
    return nStarts;
}

TEST_F(LowestRules, StartsThatHaveNoLevelsAreNotTried) {
    const std::vector<Place> ammonium = {{7, 0, 0, 0},
                                         {1, 0.6, 0.6, 0.6},
                                         {1, -0.6, -0.6, 0.6},
                                         {1, -0.6, 0.6, -0.6},
                                         {1, 0.6, -0.6, -0.6}};
    struct Case {
        std::vector<Place> places;
        int nCharge, nFull, nLevels;
    };
    for (const Case& c :
         {Case{{{1, 0, 0, 0}, {1, 0.8, 0, 0}}, 0, 1, 2},
          Case{{{9, 0, 0, 0}, {1, 0.9, 0, 0}}, 0, 4, 5},
          Case{{{9, 0, 0, 0}, {1, 0.9, 0, 0}}, 4, 2, 5}, Case{kWaterPlaces, 0, 4, 6},
          Case{ammonium, 1, 4, 8}, Case{{{1, 0, 0, 0}}, 1, 0, 1}})
        for (int nAsked = 0; nAsked <= 7; ++nAsked) {
            const JobScript closed = Spins(Molecule(5, c.places), c.nCharge, 1, false);
            Run(closed, {.fGuarded = 1, .nStarts = nAsked}, 100);
            EXPECT_EQ(scf.End.nStarts, StartsOfClosedShell(c.nFull, c.nLevels, nAsked))
                << c.nFull << ' ' << c.nLevels << ' ' << nAsked;
            // Of two sets of orbitals, each has every second start.
            const JobScript open = Spins(Molecule(5, c.places), c.nCharge, 1, true);
            Run(open, {.fGuarded = 1, .nStarts = nAsked}, 100);
            int nStarts = 1 + std::max(nAsked - 4, 0);
            for (int nSet = 0; nSet < 2; ++nSet)
                nStarts +=
                    StartsOfClosedShell(c.nFull, c.nLevels, (std::min(nAsked, 4) + nSet) / 2) - 1;
            EXPECT_EQ(scf.End.nStarts, nStarts) << c.nFull << ' ' << c.nLevels << ' ' << nAsked;
        }
}

/// The spins come apart as one start more where a state is followed, but of equal spins alone.
TEST_F(LowestRules, SpinsApartAreAStartOfTheirOwn) {
    const ScfWishes follow = {.fGuarded = 1, .nStability = kFollowStability};
    EXPECT_EQ(Run(Spins(Water(5), 0, 1, true), follow, 100).nStarts, 2);
    EXPECT_EQ(Run(Spins(Water(5), 0, 1, false), follow, 100).nStarts, 1);
    EXPECT_EQ(Run(Spins(Water(5), 0, 3, true), follow, 100).nStarts, 1);
    EXPECT_EQ(Run(Spins(Water(5), 0, 1, true), {.fGuarded = 1, .nStability = kTestStability}, 100)
                  .nStarts,
              1);
}

/// Where the cycles of two sets stalled, the core's orbitals are one start more, unless starts are
/// asked for.
TEST_F(LowestRules, SpinsThatStallStartFromTheCoreToo) {
    const auto Starts = [](const JobScript& script, int nStability, int nBudget, int nAsked) {
        const ScfWishes asked = {.fGuarded = 1,
                                 .nStability = nStability,
                                 .nStarts = nAsked,
                                 .dCommutatorLimit = kNeverMet};
        return Run(script, asked, nBudget).nStarts;
    };
    const JobScript radical = Spins(Water(5), 1, 2, true), other = Spins(Water(5), 1, 2, false);
    EXPECT_EQ(Starts(radical, kFollowStability, 39, 0), 1);
    EXPECT_EQ(Starts(radical, kFollowStability, 40, 0), 2);
    EXPECT_EQ(Starts(radical, kFollowStability, 60, 0), 2);
    EXPECT_EQ(Starts(radical, kTestStability, 60, 0), 1);
    EXPECT_EQ(Starts(radical, kNoStability, 60, 0), 1);
    EXPECT_EQ(Starts(radical, kFollowStability, 60, 1), 2);  // an excited one
    EXPECT_EQ(Starts(other, kFollowStability, 60, 0), 1);
}

/// Within the kind first, then, for closed shells that are stable there, towards unequal spins.
/// Few rotations take no Fock matrix; those of the tests of many are counted.
TEST_F(LowestRules, StatesAreTestedWithinTheirKindAndClosedShellsForSpins) {
    std::vector<JobScript> scripts = Kinds(5);
    scripts.push_back(Molecule(5, RowOfWater()));
    for (const JobScript& script : scripts) {
        const bool fClosed = script.Options.nMultiplicity == 1;
        const bool fMany = &script == &scripts.back();
        int nProducts = 0;
        if (fMany) {
            GuardedJob job(script);
            job.Converge();
            std::vector<double> direction(CountRotations(job.electrons));
            for (const Turn turn : {Turn::kSame, Turn::kSpinsApart}) {
                nProducts += LowestCurvature(job.electrons, turn, 150, direction.data()).nProducts;
                FillDensities(job.electrons);
                EvaluateFock(job.electrons);
            }
            EXPECT_GT(nProducts, 5);
        }
        const ScfEnd& end = Run(script, {.fGuarded = 1, .nStability = kTestStability}, 100);
        EXPECT_EQ(end.nFound, kStable);
        EXPECT_GT(end.dInternal, 0.0);
        EXPECT_EQ(end.dSpins > 0.0, fClosed);
        EXPECT_EQ(end.nCurvatures, (fMany ? 0 : kInternalShown) | (fClosed ? kSpinsTested : 0) |
                                       (fClosed && !fMany ? kSpinsShown : 0));
        // Davidson's method may take one more or less from a state that is converged less sharply.
        EXPECT_NEAR(end.nAllCycles - end.nCycles, nProducts, fMany ? 2 : 0);
    }
    const JobScript twoWays = Spins(Molecule(1, {{7, 0, 0, 0}, {7, 1.7, 0.1, 0.2}}), 0, 1, false);
    EXPECT_EQ(Run(twoWays, {.fGuarded = 1, .nStability = kTestStability}, 100).nFound, kUnstable);
    EXPECT_EQ(scf.End.dSpins, 0.0);
    EXPECT_EQ(scf.End.nCurvatures, kInternalShown) << "nothing is said of the spins";
}

}  // namespace
}  // namespace qsolve
