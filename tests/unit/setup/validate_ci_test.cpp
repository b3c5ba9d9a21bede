#include "setup/validate_ci.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "job/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

class CiOptions : public JobTest {
  protected:
    CiOptions() {
        UseMethod(kZindoS);
        options.nCiSelection = 1;
    }

    /// Sets up water, of whose six levels four are occupied in a singlet.
    static int SetUpWith(int nKind, int nOccupied, int nUnoccupied) {
        NewScriptedClient();
        UseWater();
        options.nCiKind = nKind;
        options.nCiOccupied = nOccupied;
        options.nCiUnoccupied = nUnoccupied;
        return TrySetUp();
    }
};

/// Ways to place electrons on levels, counted one by one.
int CountPlacements(int nLevels, int nElectrons) {
    int nWays = 0;
    for (unsigned i = 0; i < 1U << nLevels; ++i) nWays += std::popcount(i) == nElectrons;
    return nWays;
}

TEST_F(CiOptions, OccupiedAndUnoccupiedOrbitalsKeepWithinTheirLevels) {
    EXPECT_EQ(SetUpWith(1, 0, 1), kMsgCiOccupiedTooFew);
    EXPECT_EQ(OnlyError(), "The number of occupied orbitals in CI may not be less than 1.");
    EXPECT_EQ(SetUpWith(1, 1, -1), kMsgCiUnoccupiedNegative);
    EXPECT_EQ(OnlyError(), "The number of unoccupied orbitals in CI may not be less than 0.");
    EXPECT_EQ(SetUpWith(1, 5, 1), kMsgCiOccupiedTooMany);
    EXPECT_EQ(OnlyError(), "The number of occupied orbitals in CI may not be greater than 4.");
    EXPECT_EQ(SetUpWith(1, 4, 3), kMsgCiUnoccupiedTooMany);
    EXPECT_EQ(OnlyError(), "The number of unoccupied orbitals in CI may not be greater than 2.");
    EXPECT_EQ(SetUpWith(1, 4, 2), 0);
    const std::string sWindow = "CI occupied orbitals = 4  CI unoccupied orbitals = 2";
    EXPECT_EQ(client.Log()[client.Log().size() - 3], sWindow);
}

TEST_F(CiOptions, WordsOfAnySizeAreRefused) {
    constexpr int kLeast = std::numeric_limits<int>::min(), kMost = std::numeric_limits<int>::max();
    EXPECT_EQ(SetUpWith(1, kLeast, kLeast), kMsgCiOccupiedTooFew);
    EXPECT_EQ(SetUpWith(1, 1, kLeast), kMsgCiUnoccupiedNegative);
    EXPECT_EQ(SetUpWith(2, kMost, kMost), kMsgCiOccupiedTooMany);
    EXPECT_EQ(SetUpWith(2, 1, kMost), kMsgCiUnoccupiedTooMany);
}

TEST_F(CiOptions, NextLowestSingletCountsItsUpperOpenLevelAsUnoccupied) {
    options.fNextLowestState = 1;
    EXPECT_EQ(SetUpWith(1, 5, 1), kMsgCiOccupiedTooMany);
    EXPECT_EQ(OnlyError(), "The number of occupied orbitals in CI may not be greater than 4.");
    EXPECT_EQ(SetUpWith(1, 4, 3), kMsgCiUnoccupiedTooMany);
    EXPECT_EQ(OnlyError(), "The number of unoccupied orbitals in CI may not be greater than 2.");
    EXPECT_EQ(SetUpWith(1, 4, 2), 0);
    EXPECT_EQ(setup.nCiConfigurations, 1 + 8 + 8);
}

TEST_F(CiOptions, SinglesAreCountedForEitherSpin) {
    EXPECT_EQ(SetUpWith(1, 3, 2), 0);
    EXPECT_EQ(setup.nCiConfigurations, 1 + 3 * 2 + 3 * 2);
    options.nMultiplicity = 3;  // levels 4 and 5 hold an alpha electron each
    EXPECT_EQ(SetUpWith(1, 3, 1), 0);
    EXPECT_EQ(setup.nCiConfigurations, 1 + 3 * 1 + 1 * 3);
    EXPECT_EQ(SetUpWith(1, 1, 1), 0);
    EXPECT_EQ(setup.nCiConfigurations, 1 + 1) << "no beta electron in the window";
}

TEST_F(CiOptions, MicrostatesAreAllPlacementsOfEitherSpin) {
    EXPECT_EQ(SetUpWith(2, 3, 2), 0);
    EXPECT_EQ(setup.nCiConfigurations, CountPlacements(5, 3) * CountPlacements(5, 3));
    options.nMultiplicity = 3;
    EXPECT_EQ(SetUpWith(2, 3, 1), 0);
    EXPECT_EQ(setup.nCiConfigurations, CountPlacements(4, 3) * CountPlacements(4, 1));
    options.nMultiplicity = 1;
    options.fNextLowestState = 1;
    EXPECT_EQ(SetUpWith(2, 2, 2), 0);
    EXPECT_EQ(setup.nCiConfigurations, CountPlacements(4, 2) * CountPlacements(4, 2));
}

TEST_F(CiOptions, MoreThanTwoHundredConfigurationsTakeTime) {
    EXPECT_EQ(SetUpWith(2, 2, 2), 0);
    EXPECT_EQ(client.Warnings(), Lines());
    EXPECT_EQ(SetUpWith(2, 4, 2), 0);
    EXPECT_EQ(setup.nCiConfigurations, 225);
    EXPECT_EQ(client.Warnings(), Lines{"A large CI matrix must be calculated.  Please wait..."});
}

TEST_F(CiOptions, EnergyLimitIsLoggedInElectronVoltAndKeptInKcal) {
    options.nCiSelection = 0;
    options.flCiMaxExcitation = 8.5F;
    EXPECT_EQ(SetUpWith(1, -7, -7), 0);
    EXPECT_EQ(client.Log()[client.Log().size() - 3], "CI maximum excitation energy = 8.5000 eV");
    EXPECT_FLOAT_EQ(options.flCiMaxExcitation, 8.5F * 23.061F);
    EXPECT_EQ(setup.nCiConfigurations, 0);
}

TEST_F(CiOptions, AnySelectionButOneIsTheEnergyLimit) {
    for (const int nSelection : {0, 2, -1}) {
        options.nCiSelection = nSelection;
        options.flCiMaxExcitation = -0.1F;
        EXPECT_EQ(SetUpWith(1, 1, 1), kMsgCiExcitationNegative);
        EXPECT_EQ(OnlyError(), "The maximum excitation energy in CI may not be less than 0.");
        EXPECT_EQ(SetUpWith(2, 1, 1), kMsgMicrostateCriterion);
        EXPECT_EQ(OnlyError(),
                  "The energy criterion for choosing the molecular orbitals in CI may not be used "
                  "in Microstates CI calculation.");
    }
}

TEST_F(CiOptions, AnEnergyLimitThatIsNoNumberIsRefused) {
    options.nCiSelection = 0;
    for (const float fl : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
        options.flCiMaxExcitation = fl;
        EXPECT_EQ(SetUpWith(1, 1, 1), kMsgCiExcitationNegative);
    }
}

TEST_F(CiOptions, AreNotLookedAtWithoutConfigurationInteraction) {
    EXPECT_EQ(SetUpWith(0, -5, -5), 0);
    EXPECT_FALSE(setup.fCiActive);
}

TEST(BinomialCoefficients, AreTheCountsOfPlacements) {
    for (int n = 0; n <= 12; ++n)
        for (int k = 0; k <= n; ++k) EXPECT_EQ(Combinations(n, k), CountPlacements(n, k));
    EXPECT_EQ(Combinations(3, 4), 0);
    EXPECT_EQ(Combinations(3, -1), 0);
}

TEST(BinomialCoefficients, StopAtTheLargestInteger) {
    EXPECT_EQ(Combinations(60, 30), 118264581564861424LL);
    EXPECT_EQ(Combinations(100, 50), std::numeric_limits<long long>::max());
    EXPECT_EQ(Combinations(2000000000, 1000000000), std::numeric_limits<long long>::max());
}

}  // namespace
}  // namespace qsolve
