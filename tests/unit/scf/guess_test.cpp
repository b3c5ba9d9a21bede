#include "scf/guess.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "integrals/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

class Guess : public FreshState {
  protected:
    /// Water, set up and about to run its first SCF; unrestricted where asked.
    static void SetUpWater(int nMethod, int nSpinTreatment) {
        JobScript script = Water(nMethod);
        script.Options.nSpinTreatment = nSpinTreatment;
        SetUpJob(script);
        scf.nScfRuns = 0;
    }
    static double At(const Array<double>& m, int i, int j) {
        return m[static_cast<std::size_t>(i * setup.nOrbitals + j)];
    }
    static void Fill(Array<double>& m, double d) {
        for (double& x : m) x = d;
    }
};

TEST_F(Guess, NeutralOrbitalsHaveOneElectronAndHalfOfItASpin) {
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS}) {
        SetUpWater(nMethod, 1);
        Fill(scf.mDensityT, 3.0);
        Fill(scf.mVectorsB, 3.0);
        InitScfGuess();
        for (int i = 0; i < 6; ++i)
            for (int j = 0; j < 6; ++j) {
                EXPECT_EQ(At(scf.mDensityT, i, j), i == j ? 1.0 : 0.0);
                EXPECT_EQ(At(scf.mDensityA, i, j), i == j ? 0.5 : 0.0);
                EXPECT_EQ(At(scf.mDensityB, i, j), i == j ? 0.5 : 0.0);
                EXPECT_EQ(At(scf.mVectorsA, i, j), i == j ? 1.0 : 0.0);
                EXPECT_EQ(At(scf.mVectorsB, i, j), i == j ? 1.0 : 0.0);
            }
    }
}

TEST_F(Guess, AtomicPopulationsAlternateBetweenTheSpins) {
    SetUpWater(kAm1, 1);
    InitScfGuess();
    const double vGuess[] = {1.5, 1.5, 1.5, 1.5, 1.0, 1.0};
    for (int i = 0; i < 6; ++i) {
        const double dBias = i % 2 == 0 ? 1.1 : 1 / 1.1;
        EXPECT_NEAR(At(scf.mDensityT, i, i), vGuess[i], 1e-15);
        EXPECT_NEAR(At(scf.mDensityA, i, i), 0.5 * dBias * vGuess[i], 1e-15);
        EXPECT_NEAR(At(scf.mDensityB, i, i), 0.5 / dBias * vGuess[i], 1e-15);
    }
    EXPECT_NEAR(integrals.vAtomScratch1[0], 6.0, 1e-14);
    EXPECT_NEAR(integrals.vAtomScratch1[1], 1.0, 1e-14);
    EXPECT_EQ(integrals.vAtomScratch2[0], 0.0);
}

TEST_F(Guess, RestrictedAtomicPopulationsAreHalved) {
    SetUpWater(kAm1, 0);
    InitScfGuess();
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(At(scf.mDensityA, i, i), 0.5 * At(scf.mDensityT, i, i), 1e-15);
}

TEST_F(Guess, PreviousDensityIsTheSpinDensityAndTheOlderDiagonalIsZero) {
    SetUpWater(kCndo, 1);
    Fill(scf.vDiagOlderA, 1.0);
    Fill(scf.vDiagOlderB, 1.0);
    InitScfGuess();
    EXPECT_EQ(At(scf.mDensityPrevA, 2, 2), 0.5);
    EXPECT_EQ(At(scf.mDensityPrevB, 2, 2), 0.5);
    EXPECT_EQ(scf.vDiagOlderA[3], 0.0);
    EXPECT_EQ(scf.vDiagOlderB[3], 0.0);
}

TEST_F(Guess, LaterRunsKeepDensityAndOrbitals) {
    SetUpWater(kCndo, 1);
    InitScfGuess();
    scf.nScfRuns = 1;
    Fill(scf.mDensityT, 0.7);
    Fill(scf.mDensityA, 0.3);
    Fill(scf.mDensityB, 0.4);
    Fill(scf.mVectorsA, 0.2);
    InitScfGuess();
    EXPECT_EQ(At(scf.mDensityT, 1, 2), 0.7);
    EXPECT_EQ(At(scf.mVectorsA, 4, 4), 0.2);
    EXPECT_EQ(At(scf.mDensityPrevA, 1, 2), 0.3);
    EXPECT_EQ(At(scf.mDensityPrevB, 1, 2), 0.4);
}

TEST_F(Guess, CoreIsDisturbedInTheFirstTwoCyclesOfTheFirstRun) {
    const struct {
        int nMethod;
        double dEps;
    } cases[] = {{kCndo, 1e-6}, {kIndo, 1e-6}, {kZindo1, 1e-7}, {kZindoS, 1e-7}, {kAm1, 0.0}};
    for (const auto& [nMethod, dEps] : cases) {
        SetUpWater(nMethod, 0);
        for (const auto& [nRuns, nCycle] : {std::pair{0, 1}, {0, 2}, {0, 3}, {1, 1}}) {
            scf.nScfRuns = nRuns;
            Fill(scf.mCore, 0.0);
            Fill(scf.mFockA, 9.0);
            CopyCoreToFock(nCycle, scf.mFockA.Data());
            const double d = nRuns == 0 && nCycle <= 2 ? dEps : 0.0;
            for (int i = 0; i < 6; ++i)
                for (int j = 0; j <= i; ++j) {
                    const double dWanted = (i * (i + 1) / 2 + j) % 2 == 0 ? d : -d;
                    EXPECT_EQ(At(scf.mFockA, i, j), dWanted) << nMethod << nRuns << nCycle;
                    EXPECT_EQ(At(scf.mFockA, j, i), dWanted);
                }
        }
    }
}

TEST_F(Guess, SeedsHavePairsOfSignsAndKeepWhatIsOffTheDiagonal) {
    constexpr int n = 9;
    std::vector<double> vU, mCndo(n * n, 0.25), mZindo(n * n, 0.25);
    for (int i = 0; i < n; ++i) vU.push_back(-1.0 - i);
    SeedFockCndo(n, vU.data(), mCndo.data());
    SeedFockZindo(n, vU.data(), mZindo.data());
    constexpr double vSign[] = {1, 1, -1, -1, 1, 1, -1, -1, 1};
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            EXPECT_EQ(mCndo[i * n + j], i == j ? vU[i] + 1e-7 * vSign[i] : 0.25);
            EXPECT_EQ(mZindo[i * n + j], i == j ? 0.5 * vU[i] + 1e-7 * vSign[i] : 0.25);
        }
}

TEST_F(Guess, EqualSpinsAreSetApartInTheFirstCycleOnly) {
    const auto IsDisturbed = [](int nRuns, int nCycle) {
        scf.nScfRuns = nRuns;
        Fill(scf.mFockA, 0.0);
        Fill(scf.mFockB, 0.0);
        PerturbSpinFock(nCycle, scf.mFockA.Data(), scf.mFockB.Data());
        const bool f = At(scf.mFockA, 0, 0) != 0.0;
        for (int i = 0; i < setup.nOrbitals; ++i) {
            const double d = f ? (i % 2 == 0 ? 1e-5 : -1e-5) : 0.0;
            EXPECT_EQ(At(scf.mFockA, i, i), d);
            EXPECT_EQ(At(scf.mFockB, i, i), -d);
            EXPECT_EQ(At(scf.mFockA, i, (i + 1) % setup.nOrbitals), 0.0);
        }
        return f;
    };
    SetUpWater(kCndo, 1);
    EXPECT_TRUE(IsDisturbed(0, 1));
    EXPECT_FALSE(IsDisturbed(0, 2));
    EXPECT_FALSE(IsDisturbed(1, 1));
    setup.Map.nOccB = 3;
    EXPECT_FALSE(IsDisturbed(0, 1));
}

}  // namespace
}  // namespace qsolve
