#include "scf/patches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "algebra/diagonalise.h"
#include "job/state.h"
#include "numeric/pool.h"
#include "scf/guarded.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Water molecules in a row, Angstrom apart, each turned otherwise.
std::vector<Place> WatersInARow(int nMolecules, double dApart) {
    std::vector<Place> places;
    for (int k = 0; k < nMolecules; ++k) {
        const double x = dApart * k, c = std::cos(0.7 * k), s = std::sin(0.7 * k);
        places.push_back({8, x, 0, 0});
        for (const double d : {0.75, -0.75})
            places.push_back({1, x + 0.1, 0.6 * c - d * s, 0.6 * s + d * c});
    }
    return places;
}

const std::vector<Place> kEthane = {
    {6, 0, 0, 0},           {6, 1.53, 0, 0},     {1, -0.38, 1.03, 0}, {1, -0.38, -0.5, 0.9},
    {1, -0.38, -0.5, -0.9}, {1, 1.91, -1.03, 0}, {1, 1.91, 0.5, 0.9}, {1, 1.91, 0.5, -0.9}};

class Patches : public FreshState {
  protected:
    /// The density of the lowest levels of the present Fock matrix as a whole.
    static TestMatrix DensityOfWhole(GuardedJob& job) {
        const int n = job.electrons.n;
        SpinRun& s = *job.electrons.pSets[0];
        TestMatrix fock(n, n), density(n, n), weights(1, n);
        std::copy_n(s.mFock.Data(), n * n, fock.Data());
        Diagonalise(n, fock.Data(), s.mVectors.Data(), s.vEnergy.Data());
        FillDensity(job.electrons.vShells[0], s.mVectors.Data(), weights.Data(), density.Data());
        return density;
    }
    static TestMatrix Patched(GuardedJob& job, const Parts& parts, double dShare, double dSmear) {
        const int n = job.electrons.n;
        const SpinRun& s = *job.electrons.pSets[0];
        TestMatrix density(n, n), electrons(1, parts.nParts);
        CountOwnElectrons(n, parts, s.mDensity.Data(), electrons.Data());
        PatchDensity(n, parts, s.mFock.Data(), job.electrons.vShells[0].nFull, dShare, dSmear,
                     electrons.Data(), density.Data());
        return density;
    }
};

/// Each orbital is one part's own, and parts that hold one another do so both ways.
TEST_F(Patches, PartsShareTheOrbitals) {
    for (const double dApart : {2.8, 30.0}) {
        const GuardedJob job(Molecule(kAm1, WatersInARow(5, dApart)));
        const Parts parts = MakeParts(1.0);
        ASSERT_EQ(parts.nParts, 5);
        std::vector<std::set<int>> own, all;
        std::set<int> seen;
        for (int i = 0; i < parts.nParts; ++i) {
            const int* v = parts.Orbitals(i);
            EXPECT_EQ(parts.vOwn[i], 6);
            own.emplace_back(v, v + parts.vOwn[i]);
            all.emplace_back(v, v + parts.Size(i));
            EXPECT_EQ(all.back().size(), static_cast<std::size_t>(parts.Size(i)));
            seen.insert(own.back().begin(), own.back().end());
            EXPECT_TRUE(dApart < 3.0 || parts.Size(i) == 6);
        }
        EXPECT_EQ(seen.size(), 30u);
        for (std::size_t i = 0; i < 5; ++i)
            for (std::size_t j = 0; j < 5; ++j)
                EXPECT_EQ(all[i].count(*own[j].begin()), all[j].count(*own[i].begin()));
    }
}

TEST_F(Patches, PartsReachAsFarAsTheResonance) {
    const GuardedJob job(Molecule(kAm1, kEthane));
    const Parts coupled = MakeParts(1.0), apart = MakeParts(1e3);
    ASSERT_EQ(coupled.nParts, 2);
    ASSERT_EQ(apart.nParts, 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(coupled.Size(i), 14);
        EXPECT_EQ(apart.Size(i), 7);
        EXPECT_EQ(apart.vOwn[i], 7);
    }
}

TEST_F(Patches, AtomsWithoutPOrbitalsStandAloneWhereNoOtherIs) {
    const GuardedJob job(
        Molecule(kAm1, {{1, 0, 0, 0}, {1, 0.75, 0, 0}, {1, 40, 0, 0}, {1, 40.75, 0, 0}}));
    const Parts parts = MakeParts(1.0);
    ASSERT_EQ(parts.nParts, 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(parts.vOwn[i], 1);
        EXPECT_EQ(parts.Size(i), 2);
    }
}

/// Where every part is the whole, so is the density, if nothing is smeared.
TEST_F(Patches, AreTheDensityOfTheWholeWherePartsAreTheWhole) {
    const std::vector<Place> methanol = {{6, 0, 0, 0},           {8, 1.42, 0, 0},
                                         {1, -0.38, 1.03, 0},    {1, -0.38, -0.5, 0.9},
                                         {1, -0.38, -0.5, -0.9}, {1, 1.7, 0.9, 0}};
    for (const std::vector<Place>& places : {kEthane, methanol}) {  // charge flows in the latter
        GuardedJob job(Molecule(kAm1, places));
        EvaluateFock(job.electrons);
        const Parts parts = MakeParts(1.0);
        EXPECT_EQ(parts.nParts, 2);
        const TestMatrix patched = Patched(job, parts, 1.0, 1e-3);
        EXPECT_LT(LargestDifference(patched, DensityOfWhole(job)), 1e-9);
    }
}

/// And where parts do not see one another, with as many electrons as they had.
TEST_F(Patches, AreTheDensityOfTheWholeWherePartsAreApart) {
    GuardedJob job(Molecule(kAm1, WatersInARow(3, 300.0)));
    EvaluateFock(job.electrons);
    const Parts parts = MakeParts(1.0);
    const TestMatrix patched = Patched(job, parts, 0.0, 1e-3);
    EXPECT_LT(LargestDifference(patched, DensityOfWhole(job)), 1e-6);
}

/// All electrons are there, however they flow; the density is symmetric.
TEST_F(Patches, HoldTheElectrons) {
    for (const double dShare : {0.0, 0.25, 1.0}) {
        GuardedJob job(Molecule(kAm1, WatersInARow(6, 2.7)));
        EvaluateFock(job.electrons);
        const TestMatrix patched = Patched(job, MakeParts(1.0), dShare, 0.5);
        const int n = job.electrons.n;
        double dTrace = 0.0;
        for (int i = 0; i < n; ++i) {
            dTrace += patched(i, i);
            for (int j = 0; j < i; ++j) ASSERT_NEAR(patched(i, j), patched(j, i), 1e-14);
        }
        EXPECT_NEAR(dTrace, 24.0, 1e-9) << dShare;
    }
}

TEST_F(Patches, DoNotDependOnTheNumberOfThreads) {
    TestMatrix alone(0, 0);
    for (const int nThreads : {1, 2, 5, 9}) {
        SetThreads(nThreads);
        GuardedJob job(Molecule(kAm1, WatersInARow(7, 2.7)));
        EvaluateFock(job.electrons);
        const TestMatrix patched = Patched(job, MakeParts(1.0), 0.25, 0.5);
        if (nThreads == 1) alone = patched;
        EXPECT_EQ(patched.v, alone.v) << nThreads;
    }
    SetThreads(0);
}

/// Cycles from patches end where those from populations end.
TEST_F(Patches, LeadToTheSameEnd) {
    const GuardLimits limits{1e-7, 1e-6, 100};
    for (const int nMethod : {int{kAm1}, int{kCndo}, int{kZindo1}}) {
        const JobScript script = Molecule(nMethod, WatersInARow(20, 2.9));
        MixHistory history;
        GuardedJob plain(script);
        const GuardEnd wanted = RunGuarded(plain.electrons, limits, history);
        GuardedJob patched(script);
        GuardEnd before;
        ASSERT_TRUE(PatchDensities(patched.electrons, 100, before));
        EXPECT_EQ(before.nCycles, 3);
        const GuardEnd end =
            RunGuarded(patched.electrons, limits, history, {.fNear = true, .before = before});
        ASSERT_TRUE(wanted.fConverged && end.fConverged);
        EXPECT_NEAR(end.dEnergy, wanted.dEnergy, 1e-7);
        EXPECT_GT(end.nCycles, before.nCycles + 2);
    }
}

TEST_F(Patches, AreForMoleculesThatAreLargeBesideTheirParts) {
    GuardEnd end;
    GuardedJob small(Molecule(kAm1, kEthane));
    EXPECT_FALSE(PatchDensities(small.electrons, 100, end));
    GuardedJob large(Molecule(kAm1, WatersInARow(20, 2.9)));
    EXPECT_FALSE(PatchDensities(large.electrons, 2, end));
    large.electrons.vShells[0].nOpen = 1;
    EXPECT_FALSE(PatchDensities(large.electrons, 100, end));
    large.electrons.vShells[0].nOpen = 0;
    GuardedJob spins(Spins(Molecule(kAm1, WatersInARow(20, 2.9)), 1, 2, true));
    EXPECT_FALSE(PatchDensities(spins.electrons, 100, end));
    EXPECT_EQ(end.nCycles, 0);
    EXPECT_TRUE(PatchDensities(large.electrons, 3, end));
}

/// The cubes of the parts' sizes are the operations for them: below a tenth of those for the whole.
TEST_F(Patches, AreMadeWhereTheyTakeATenthOfTheWhole) {
    int nWorth = 0, nNot = 0;
    for (const double dApart : {1.9, 2.2, 2.6, 3.5})
        for (const int nMolecules : {11, 12, 13, 14, 15, 16, 18, 20, 24}) {
            GuardedJob job(Molecule(kAm1, WatersInARow(nMolecules, dApart)));
            const Parts parts = MakeParts(1.0);
            double dParts = 0.0;
            for (int i = 0; i < parts.nParts; ++i) {
                const double d = parts.Size(i);
                dParts += d * d * d;
            }
            const double n = job.electrons.n;
            const bool fWorth = 10.0 * dParts < n * n * n;
            GuardEnd end;
            EXPECT_EQ(PatchDensities(job.electrons, 100, end), fWorth)
                << nMolecules << ' ' << dApart << ' ' << dParts;
            ++(fWorth ? nWorth : nNot);
        }
    EXPECT_GT(nWorth, 3);
    EXPECT_GT(nNot, 3);
}

/// From the first on, those of the patches among them.
TEST_F(Patches, AreToldAsCycles) {
    SetUpJob(Molecule(kAm1, WatersInARow(20, 2.9)));
    further.Scf.fGuarded = 1;
    RunScf();
    int nTold = 0;
    for (const std::string& line : client.Texts(kPacketStatusLine)) {
        if (line.find("Iteration = ") != 0) continue;
        const std::string sStart = "Iteration = " + std::to_string(++nTold) + " ";
        EXPECT_EQ(line.substr(0, sStart.size()), sStart);
    }
    EXPECT_EQ(nTold, scf.End.nCycles - 1);
}

}  // namespace
}  // namespace qsolve
