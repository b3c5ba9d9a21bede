#include "ci/sectors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "numeric/row.h"
#include "tests/support/fresh_state.h"
#include "tests/support/second_quantised.h"

namespace qsolve {
namespace {

class Sectors : public FreshState {
  protected:
    void Fill(int nLevels, int nAlpha, int nBeta, bool fMicrostates) {
        NewScriptedClient();
        CiWindow window;
        window.nLevels = nLevels;
        window.nAlphaRef = nAlpha;
        window.nBetaRef = nBeta;
        window.dLimit = 1.0;
        const std::vector<double> levels(static_cast<std::size_t>(nLevels));
        d = Determinants{};
        if (fMicrostates)
            PlaceMicrostates(window, d);
        else
            PlaceSingles(window, levels.data(), d);
        sectors = SpinSectors{};
        FillSectors(d, sectors);
    }
    /// A combination of a sector as determinants.
    Vector Combination(int nSector, int i) const {
        std::vector<double> unit(static_cast<std::size_t>(sectors.nSize[nSector]));
        unit[static_cast<std::size_t>(i)] = 1.0;
        std::vector<double> v(static_cast<std::size_t>(d.nConfigs));
        ExpandState(sectors, nSector, unit.data(), v.data());
        Vector result;
        for (int k = 0; k < d.nConfigs; ++k) result[BitsOf(d, k)] = v[static_cast<std::size_t>(k)];
        return result;
    }
    Determinants d;
    SpinSectors sectors;
};

TEST_F(Sectors, AreAnOrthonormalBasisOfAllConfigurations) {
    for (const bool fMicrostates : {false, true}) {
        Fill(4, 2, 2, fMicrostates);
        ASSERT_EQ(sectors.nSectors, 2);
        EXPECT_EQ(sectors.nSize[0] + sectors.nSize[1], d.nConfigs);
        std::vector<Vector> all;
        for (const int t : {0, 1})
            for (int i = 0; i < sectors.nSize[t]; ++i) all.push_back(Combination(t, i));
        for (const Vector& a : all)
            for (const Vector& b : all) EXPECT_NEAR(Overlap(a, b), &a == &b ? 1.0 : 0.0, 1e-12);
    }
}

/// S^2 does not mix them. In two pairs of electrons its values 0 and 6 belong to one, 2 to the
/// other, so that S^2 - 2 is zero on the odd one.
TEST_F(Sectors, FirstHasTheStatesOfEvenSpinAndTheSecondThoseOfOddSpin) {
    Fill(4, 2, 2, true);
    EXPECT_EQ(sectors.nSize[0], 20 + 1);  // singlets and a quintet
    EXPECT_EQ(sectors.nSize[1], 15);      // triplets
    for (int i = 0; i < sectors.nSize[1]; ++i) {
        Vector rest = SpinSquareOf(4, Combination(1, i));
        for (const auto& [bits, c] : Combination(1, i)) rest[bits] -= 2.0 * c;
        EXPECT_NEAR(Overlap(rest, rest), 0.0, 1e-12);
    }
    for (int i = 0; i < sectors.nSize[0]; ++i)
        for (int j = 0; j < sectors.nSize[1]; ++j)
            EXPECT_NEAR(Overlap(SpinSquareOf(4, Combination(0, i)), Combination(1, j)), 0.0, 1e-12);
}

TEST_F(Sectors, OfSinglesAreTheSingletsAndTheTriplets) {
    Fill(5, 3, 3, false);
    EXPECT_EQ(sectors.nSize[0], 7);
    EXPECT_EQ(sectors.nSize[1], 6);
    for (int i = 0; i < 7; ++i) {
        const Vector v = SpinSquareOf(5, Combination(0, i));
        EXPECT_NEAR(Overlap(v, v), 0.0, 1e-12);
    }
}

TEST_F(Sectors, WithUnequalSpinsThereIsOneOfTheConfigurationsThemselves) {
    Fill(4, 2, 1, false);
    EXPECT_EQ(sectors.nSectors, 1);
    EXPECT_EQ(sectors.nSize[0], d.nConfigs);
    for (int i = 0; i < d.nConfigs; ++i) EXPECT_EQ(Combination(0, i)[BitsOf(d, i)], 1.0);
}

TEST_F(Sectors, OneConfigurationMakesOne) {
    Fill(2, 2, 2, true);
    EXPECT_EQ(sectors.nSectors, 1);
    EXPECT_EQ(sectors.nSize[0], 1);
    EXPECT_EQ(sectors.nSize[1], 0);
    Fill(0, 0, 0, false);
    EXPECT_EQ(sectors.nSize[0], 1);
}

}  // namespace
}  // namespace qsolve
