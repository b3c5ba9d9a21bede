#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "job/state.h"
#include "scf/descent.h"
#include "scf/half_electron.h"
#include "scf/rotations.h"
#include "scf/scf.h"
#include "scf/starts.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"

namespace qsolve {
namespace {

constexpr double kSame = 1e-2;  ///< kcal/mol; what further starts gain here is a hundred times that

/// Two atoms, Angstrom, and how their spins are treated.
struct Pair {
    int nMethod, nFirst, nSecond;
    double dApart;
    int nMultiplicity;
    bool fUnrestricted;
};

/// Along no axis of the frame.
JobScript ScriptOf(const Pair& pair) {
    return Spins(
        Molecule(pair.nMethod, {{pair.nFirst, 0, 0, 0}, {pair.nSecond, pair.dApart, 0.1, 0.2}}), 0,
        pair.nMultiplicity, pair.fUnrestricted);
}

class LowestOfMany : public FreshState {
  protected:
    static double EnergyWith(const Pair& pair, int nStability, int nStarts) {
        SetUpJob(ScriptOf(pair));
        further.Scf = {.fGuarded = 1, .nStability = nStability, .nStarts = nStarts};
        RunScf();
        EXPECT_TRUE(scf.End.fConverged);
        return scf.dElectronic;
    }

    /// kcal/mol, with the correction of half electrons, of the state that a descent has led to.
    static double EnergyReached(GuardedJob& job, const GuardEnd& end) {
        double dEnergy = end.dEnergy;
        TakeOrbitals(job.electrons);
        if (setup.nOccupied != setup.nDoublyOcc) {
            for (int k = 0; k < job.electrons.n; ++k) results.Orbitals.vOrbitalOrder[k] = k;
            dEnergy += HalfElectronCorrection(job.a.vEnergy.Data(), job.a.mVectors.Data());
        }
        return dEnergy * job.run.Family.dKcalPerUnit;
    }

    /// The lowest end of thirty descents from orbitals turned at random, as far as they can be.
    static double LowestByChance(const Pair& pair) {
        GuardedJob job(ScriptOf(pair));
        job.Converge();
        double dLowest = 1e300;
        for (int nSeed = 1; nSeed <= 30; ++nSeed) {
            ScatterOrbitals(job.electrons, nSeed, 1.5);
            const GuardEnd end = Descend(job.electrons, {1e-7, 1e-5, 400});
            dLowest = std::min(dLowest, EnergyReached(job, end));
            FillDensities(job.electrons);
        }
        return dLowest;
    }
};

/// Closed shells, half electrons and unrestricted spins whose first state is not the lowest. The
/// states are followed down from instabilities, with no further start.
TEST_F(LowestOfMany, FollowedInstabilitiesLeadToTheLowestStateThatChanceFinds) {
    for (const Pair& pair :
         {Pair{5, 9, 9, 1.6, 3, true}, Pair{1, 6, 6, 1.25, 3, false}, Pair{1, 6, 6, 1.7, 3, false},
          Pair{1, 6, 6, 1.7, 3, true}, Pair{1, 5, 7, 1.3, 3, true}, Pair{1, 7, 7, 1.7, 1, false},
          Pair{1, 7, 7, 1.7, 3, true}, Pair{1, 8, 8, 1.2, 3, true}, Pair{1, 9, 9, 1.6, 3, false}}) {
        const double dFirst = EnergyWith(pair, kTestStability, 0);
        EXPECT_EQ(scf.End.nFound, kUnstable);
        EXPECT_EQ(scf.End.nLowered, 0);
        const double dFollowed = EnergyWith(pair, kFollowStability, 0);
        EXPECT_LT(dFollowed, dFirst - 1.0) << pair.nMethod << ' ' << pair.nFirst;
        EXPECT_GE(scf.End.nLowered, 1);
        EXPECT_EQ(scf.End.nStarts, 1);
        EXPECT_NE(scf.End.nFound, kUnstable);
        EXPECT_LE(dFollowed, LowestByChance(pair) + kSame) << pair.nMethod << ' ' << pair.nFirst;
    }
}

/// Unequal spins set apart lead down from the state where they are alike.
TEST_F(LowestOfMany, EqualSpinsComeApartWhereThatIsLower) {
    for (const Pair& pair : {Pair{5, 6, 6, 1.25, 1, true}, Pair{5, 9, 9, 1.6, 1, true},
                             Pair{1, 8, 8, 1.2, 1, true}, Pair{5, 5, 5, 1.6, 1, true}}) {
        const double dAlike = EnergyWith(
            {pair.nMethod, pair.nFirst, pair.nSecond, pair.dApart, 1, false}, kNoStability, 0);
        const double dApart = EnergyWith(pair, kFollowStability, 0);
        EXPECT_LT(dApart, dAlike - 0.5) << pair.nMethod << ' ' << pair.nFirst;
        EXPECT_LE(dApart, LowestByChance(pair) + kSame) << pair.nMethod << ' ' << pair.nFirst;
    }
}

/// A case for which the first start is enough, for half electrons by their corrected energy; one
/// for the third, of unrestricted spins; and some for all of them.
TEST_F(LowestOfMany, FurtherStartsLeadToTheLowestStateThatChanceFinds) {
    struct Case {
        Pair pair;
        int nStarts;
        double dFall;  ///< at least, kcal/mol
    };
    for (const Case& c :
         {Case{{5, 7, 7, 1.7, 3, false}, 1, 10.0}, Case{{1, 7, 8, 1.6, 2, true}, 1, 25.0},
          Case{{1, 6, 6, 1.7, 1, false}, 1, 90.0}, Case{{1, 9, 9, 1.6, 1, true}, 3, 80.0},
          Case{{1, 9, 9, 1.6, 3, true}, 6, 70.0}, Case{{1, 6, 6, 1.7, 3, true}, 6, 50.0},
          Case{{1, 7, 7, 1.7, 1, false}, 6, 100.0}, Case{{1, 9, 9, 1.6, 3, false}, 6, 80.0}}) {
        const double dFirst = EnergyWith(c.pair, kNoStability, 0);
        EXPECT_EQ(scf.End.nFound, 0);
        EXPECT_LT(EnergyWith(c.pair, kNoStability, c.nStarts), dFirst - c.dFall)
            << c.pair.nMethod << ' ' << c.pair.nFirst;
        EXPECT_GE(scf.End.nLowered, 1);
        const double dLowest = EnergyWith(c.pair, kFollowStability, 6);
        EXPECT_LE(dLowest, LowestByChance(c.pair) + kSame)
            << c.pair.nMethod << ' ' << c.pair.nFirst;
        EXPECT_EQ(EnergyWith(c.pair, kFollowStability, 6), dLowest) << "a second time";
    }
}

/// The last state kept is the one reported: energy, density, levels and word belong together.
TEST_F(LowestOfMany, WhatIsReportedBelongsToTheStateThatIsKept) {
    for (const Pair& pair : {Pair{5, 6, 8, 1.13, 1, false}, Pair{5, 7, 8, 1.15, 2, false},
                             Pair{1, 7, 7, 1.1, 3, true}}) {
        const double dAlone = EnergyWith(pair, kNoStability, 0);
        const ScfEnd alone = scf.End;
        const std::vector<double> density(scf.mDensityT.begin(), scf.mDensityT.end());
        double dElectrons = 0.0;
        for (int i = 0; i < setup.nOrbitals; ++i)
            dElectrons += density[static_cast<std::size_t>(i * setup.nOrbitals + i)];
        EXPECT_NEAR(dElectrons, setup.nElectrons, 1e-9);
        EXPECT_NEAR(EnergyWith(pair, kTestStability, 6), dAlone, 1e-5);
        EXPECT_EQ(scf.End.nLowered, 0);
        EXPECT_EQ(scf.End.nCycles, alone.nCycles);
        EXPECT_EQ(scf.End.fDescended, alone.fDescended);
        EXPECT_EQ(scf.End.dDifference, alone.dDifference);
        EXPECT_GT(scf.End.nAllCycles, 3 * alone.nCycles);
        for (std::size_t i = 0; i < density.size(); ++i)
            EXPECT_NEAR(scf.mDensityT[i], density[i], 1e-6);
    }
}

}  // namespace
}  // namespace qsolve
