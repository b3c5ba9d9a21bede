#include "scf/starts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "scf/rotations.h"
#include "scf/stability.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"

namespace qsolve {
namespace {

const std::vector<Place> kAmmonium = {{7, 0, 0, 0},
                                      {1, 0.6, 0.6, 0.6},
                                      {1, -0.6, -0.6, 0.6},
                                      {1, -0.6, 0.6, -0.6},
                                      {1, 0.6, -0.6, -0.6}};

class Starts : public FreshState {
  protected:
    static double ElementOf(const SpinRun& set, int n, int i, int j) {
        return set.mDensity[static_cast<std::size_t>(i * n + j)];
    }
    static std::vector<double> DensityOf(const SpinRun& set) {
        return {set.mDensity.begin(), set.mDensity.end()};
    }
};

/// Five valence electrons of nitrogen over four orbitals, one of each hydrogen, and one too few.
TEST_F(Starts, SpreadTheElectronsOfEachAtomOverItsOrbitals) {
    for (const int nMethod : {1, 5, 8}) {
        GuardedJob job(Spins(Molecule(nMethod, kAmmonium), 1, 1, false));
        for (int i = 0; i < 8; ++i)
            for (int j = 0; j < 8; ++j) {
                const double dOfAtom = i < 4 ? 5.0 / 4 : 1.0;
                EXPECT_NEAR(2 * ElementOf(job.a, 8, i, j), i == j ? dOfAtom * 8.0 / 9 : 0.0, 1e-14);
            }
    }
}

TEST_F(Starts, HoldTheElectronsOfEachSpin) {
    GuardedJob job(Spins(Molecule(5, kAmmonium), 0, 2, true));
    double dAlpha = 0.0, dBeta = 0.0;
    for (int i = 0; i < 8; ++i) {
        dAlpha += ElementOf(job.a, 8, i, i);
        dBeta += ElementOf(job.b, 8, i, i);
        // Unequal numbers break the symmetry already.
        EXPECT_NEAR(ElementOf(job.a, 8, i, i) / ElementOf(job.b, 8, i, i), 5.0 / 4, 1e-13);
    }
    EXPECT_NEAR(dAlpha, 5.0, 1e-14);
    EXPECT_NEAR(dBeta, 4.0, 1e-14);
}

TEST_F(Starts, SetEqualSpinsApartAlternately) {
    GuardedJob job(Spins(Molecule(5, kAmmonium), 1, 1, true));
    double dAlpha = 0.0;
    for (int i = 0; i < 8; ++i) {
        dAlpha += ElementOf(job.a, 8, i, i);
        const double dRatio = ElementOf(job.a, 8, i, i) / ElementOf(job.b, 8, i, i);
        EXPECT_EQ(dRatio > 1.0, i % 2 == 0) << i;
        EXPECT_GT(std::abs(std::log(dRatio)), 0.1);
    }
    EXPECT_NEAR(dAlpha, 4.0, 1e-14);
}

/// The orbitals of the core diagonalise it, and the lowest are filled.
TEST_F(Starts, FromTheCoreHaveTheLowestEnergyWithoutRepulsion) {
    for (const JobScript& script : {Water(5), Spins(Water(1), 1, 2, true)}) {
        GuardedJob job(script);
        const auto CoreEnergy = [&]() {
            double d = 0.0;
            const int n = job.electrons.n;
            for (int k = 0; k < job.electrons.nSets; ++k)
                for (int i = 0; i < n; ++i)
                    for (int j = 0; j < n; ++j)
                        d += ElementOf(*job.electrons.pSets[k], n, i, j) *
                             scf.mCore[static_cast<std::size_t>(std::max(i, j) * n +
                                                                std::min(i, j))];
            return d;
        };
        GuessFromCore(job.electrons);
        const double dLowest = CoreEnergy();
        double dSum = 0.0;
        for (int k = 0; k < job.electrons.nSets; ++k)
            for (int i = 0; i < job.electrons.vShells[k].nFull; ++i)
                dSum += job.electrons.pSets[k]->vEnergy[static_cast<std::size_t>(i)];
        EXPECT_NEAR(dLowest, dSum, 1e-11 * std::abs(dSum));
        for (int nSeed = 0; nSeed < 20; ++nSeed) {
            GuessFromCore(job.electrons);
            ScatterOrbitals(job.electrons, nSeed, 0.05);
            EXPECT_GT(CoreEnergy(), dLowest + 1e-6);
            EXPECT_TRUE(HoldsItsElectrons(job.electrons));
        }
    }
}

/// The density loses the one orbital and gains the other.
TEST_F(Starts, ExchangeTwoLevelsOfOneSet) {
    GuardedJob job(Spins(Water(5), 1, 2, true));
    job.Converge();
    const int n = job.electrons.n;
    const std::vector<double> before = DensityOf(job.a), beta = DensityOf(job.b);
    const std::vector<double> c(job.a.mVectors.begin(), job.a.mVectors.end());
    ASSERT_TRUE(ExchangeLevels(job.electrons, 0, 2, 4));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            const auto At = [&](int k, int m) { return c[static_cast<std::size_t>(k * n + m)]; };
            EXPECT_NEAR(ElementOf(job.a, n, i, j) - before[static_cast<std::size_t>(i * n + j)],
                        At(4, i) * At(4, j) - At(2, i) * At(2, j), 1e-12);
        }
    for (std::size_t i = 0; i < beta.size(); ++i) EXPECT_NEAR(job.b.mDensity[i], beta[i], 1e-13);
    EXPECT_FALSE(ExchangeLevels(job.electrons, 0, 0, 1)) << "both are filled";
    EXPECT_FALSE(ExchangeLevels(job.electrons, 0, -1, 5));
    EXPECT_FALSE(ExchangeLevels(job.electrons, 0, 1, n));
    EXPECT_TRUE(ExchangeLevels(job.electrons, 0, 0, n - 1));
}

/// A closed shell as one set of weight two: its turns are those of both sets of an unrestricted
/// one, alike or against each other, so that the lower of its two curvatures is, halved for the
/// length of the turns, the one of the unrestricted state.
TEST_F(Starts, CurvaturesOfAClosedShellAreThoseOfBothSpins) {
    for (const int nMethod : {1, 5, 8})
        for (const double dApart : {0.7, 1.1, 1.6}) {
            const std::vector<Place> places = {{7, 0, 0, 0}, {7, 0, dApart + 0.4, 0}};
            double vLowest[2] = {}, vShown[2] = {};  // by a search, and shown to be the lowest
            for (const bool fUnrestricted : {false, true}) {
                GuardedJob job(Spins(Molecule(nMethod, places), 0, 1, fUnrestricted));
                if (fUnrestricted)
                    std::copy(job.a.mDensity.begin(), job.a.mDensity.end(), job.b.mDensity.begin());
                ASSERT_TRUE(job.Converge().fConverged);
                std::vector<double> direction(CountRotations(job.electrons));
                StateTest test(job.electrons);
                const Curvature shown = test.Lowest(Turn::kSame, direction.data());
                ASSERT_TRUE(shown.fLowest);
                vShown[fUnrestricted] = shown.dLowest;
                if (!fUnrestricted) {
                    const Curvature apart = test.Lowest(Turn::kSpinsApart, direction.data());
                    ASSERT_TRUE(apart.fLowest);
                    vShown[0] = std::min(shown.dLowest, apart.dLowest);
                }
                FillDensities(job.electrons);
                EvaluateFock(job.electrons);
                TakeOrbitals(job.electrons);
                const Curvature same =
                    LowestCurvature(job.electrons, Turn::kSame, 200, direction.data());
                vLowest[fUnrestricted] = same.dLowest;
                if (fUnrestricted) continue;
                FillDensities(job.electrons);
                EvaluateFock(job.electrons);
                TakeOrbitals(job.electrons);
                vLowest[0] = std::min(
                    same.dLowest,
                    LowestCurvature(job.electrons, Turn::kSpinsApart, 200, direction.data())
                        .dLowest);
            }
            EXPECT_NEAR(vShown[0], 2 * vShown[1], 1e-3) << nMethod << ' ' << dApart;
            for (const int i : {0, 1}) EXPECT_GT(vLowest[i], vShown[i] - kCurvatureError);
            if (vLowest[0] > kClearCurvature) {  // where a search may end above the lowest
                EXPECT_GT(2 * vLowest[1], kClearCurvature) << nMethod << ' ' << dApart;
                continue;
            }
            EXPECT_NEAR(vLowest[0], 2 * vLowest[1],
                        std::max(3 * kCurvatureError, kCurvaturePart * std::abs(vLowest[0])))
                << nMethod << ' ' << dApart;
        }
}

}  // namespace
}  // namespace qsolve
