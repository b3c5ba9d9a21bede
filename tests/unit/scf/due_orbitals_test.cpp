#include "scf/due_orbitals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "geometry/answer.h"
#include "job/state.h"
#include "scf/rotations.h"
#include "scf/scf.h"
#include "scf/starts.h"
#include "setup/state.h"
#include "symmetry/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"

namespace qsolve {
namespace {

/// Water molecules in a row, six orbitals each, in planes of their own or in one mirror plane.
std::vector<Place> Waters(int nMolecules, double dTurn) {
    std::vector<Place> places;
    for (int k = 0; k < nMolecules; ++k) {
        const double x = 3.0 * k, c = std::cos(dTurn * k), s = std::sin(dTurn * k);
        places.push_back({8, x, 0, 0});
        for (const double d : {0.76, -0.76})
            places.push_back({1, x + 0.01 * dTurn * k, 0.59 * c - d * s, 0.59 * s + d * c});
    }
    return places;
}

class DueOrbitals : public FreshState {
  protected:
    static void Run(double dTurn, int fSendOrbitals, bool fSpins = false) {
        JobScript script = Spins(Molecule(kAm1, Waters(11, dTurn)), 0, 1, fSpins);
        script.Options.fSendOrbitals = fSendOrbitals;
        script.Options.nLogLevel = 10;
        SetUpJob(script);
        further.Scf = {.fGuarded = 1};
        RunScf();
        ASSERT_TRUE(scf.End.fConverged);
        EXPECT_TRUE(scf.End.fAufbau);
    }
    /// The largest element of F c - e c over all orbitals.
    static double Residual(const Array<double>& mFock, const Array<double>& mVectors,
                           const Array<double>& vEnergy) {
        const int n = scf.nOrbitals;
        double dLargest = 0.0;
        for (int k = 0; k < n; ++k)
            for (int i = 0; i < n; ++i) {
                double d = -vEnergy[k] * mVectors[k * n + i];
                for (int j = 0; j < n; ++j) d += mFock[i * n + j] * mVectors[k * n + j];
                dLargest = std::max(dLargest, std::abs(d));
            }
        return dLargest;
    }
};

TEST_F(DueOrbitals, BelongToTheLevels) {
    for (const bool fSpins : {false, true}) {
        Run(0.7, 0, fSpins);
        EXPECT_TRUE(scf.fOrbitalsDue);
        SolveDueOrbitals();
        EXPECT_FALSE(scf.fOrbitalsDue);
        EXPECT_LT(Residual(scf.mFockA, scf.mVectorsA, scf.vEnergyA), 1e-10);
        if (fSpins) {
            EXPECT_LT(Residual(scf.mFockB, scf.mVectorsB, scf.vEnergyB), 1e-10);
        }
    }
}

TEST_F(DueOrbitals, AreThoseOfAJobThatAsksForThem) {
    Run(0.7, 1);
    EXPECT_FALSE(scf.fOrbitalsDue);
    const std::vector<double> vectors(scf.mVectorsA.begin(), scf.mVectorsA.end()),
        levels(scf.vEnergyA.begin(), scf.vEnergyA.end()),
        density(scf.mDensityT.begin(), scf.mDensityT.end());
    Run(0.7, 0);
    SolveDueOrbitals();
    EXPECT_TRUE(std::equal(vectors.begin(), vectors.end(), scf.mVectorsA.begin()));
    EXPECT_TRUE(std::equal(density.begin(), density.end(), scf.mDensityT.begin()));
    for (std::size_t k = 0; k < levels.size(); ++k) EXPECT_NEAR(scf.vEnergyA[k], levels[k], 1e-11);
}

/// The species of C1 are known without them, those of C2v are not.
TEST_F(DueOrbitals, AreSolvedForWhereLevelsHaveSpecies) {
    for (const double dTurn : {0.0, 0.7}) {
        Run(dTurn, 0);
        EXPECT_EQ(scf.fOrbitalsDue, dTurn != 0.0);
        EXPECT_EQ(symmetry.Table.nClasses, dTurn != 0.0 ? 1 : 4);
        for (int k = 0; k < setup.nOrbitals; ++k)
            EXPECT_NE(results.Orbitals.sSymmetryLabel[k][2], '?') << dTurn;
    }
}

/// What answers to the movement of atoms begins with them.
TEST_F(DueOrbitals, AreSolvedForWhereAtomsWillMove) {
    Run(0.7, 0);
    Answer answer;
    ASSERT_TRUE(PrepareAnswers(answer));
    EXPECT_FALSE(scf.fOrbitalsDue);
    EXPECT_LT(Residual(scf.mFockA, answer.mVectors[0], answer.vEnergy[0]), 1e-10);
}

TEST_F(DueOrbitals, WaitForNothingWhereLowerLevelsAreEmpty) {
    GuardedJob job(Molecule(kAm1, Waters(11, 0.7)));
    job.Converge();
    EXPECT_TRUE(TakeLevels(job.electrons, Wanted::kLevels));
    EXPECT_TRUE(scf.fOrbitalsDue);
    const std::vector<double> levels(scf.vEnergyA.begin(), scf.vEnergyA.end());
    EXPECT_TRUE(TakeLevels(job.electrons, Wanted::kOrbitals));
    EXPECT_FALSE(scf.fOrbitalsDue);
    EXPECT_LT(Residual(scf.mFockA, scf.mVectorsA, scf.vEnergyA), 1e-10);
    for (std::size_t k = 0; k < levels.size(); ++k) EXPECT_NEAR(scf.vEnergyA[k], levels[k], 1e-11);
    ASSERT_TRUE(ExchangeLevels(job.electrons, 0, 43, 44));
    EvaluateFock(job.electrons);
    for (const Wanted wanted : {Wanted::kLevels, Wanted::kOrbitals}) {
        EXPECT_FALSE(TakeLevels(job.electrons, wanted));
        EXPECT_FALSE(scf.fOrbitalsDue);
    }
}

}  // namespace
}  // namespace qsolve
