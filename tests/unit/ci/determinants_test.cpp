#include "ci/determinants.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "link/link.h"
#include "setup/validate_ci.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

using DeterminantsOf = FreshState;

CiWindow WindowOf(int nLevels, int nAlpha, int nBeta, double dLimit = 1e300) {
    CiWindow window;
    window.nLevels = nLevels;
    window.nAlphaRef = nAlpha;
    window.nBetaRef = nBeta;
    window.dLimit = dLimit;
    return window;
}

/// A configuration as a person writes it: 2 for a pair, u and d for single electrons.
std::string Text(const Determinants& d, int k) {
    std::string s;
    for (int i = 0; i < d.nLevels; ++i) {
        const bool fUp = IsOccupied(d.mOccAlpha, d.vAlphaRow[k], i);
        const bool fDown = IsOccupied(d.mOccBeta, d.vBetaRow[k], i);
        s += fUp && fDown ? '2' : fUp ? 'u' : fDown ? 'd' : '0';
    }
    return s;
}

std::vector<std::string> All(const Determinants& d) {
    std::vector<std::string> all;
    for (int k = 0; k < d.nConfigs; ++k) all.push_back(Text(d, k));
    return all;
}

const std::vector<double> kLevels = {-3, -2, -1, 0, 1, 2, 3, 4};

std::vector<std::string> Singles(const CiWindow& window) {
    Determinants d;
    PlaceSingles(window, kLevels.data(), d);
    return All(d);
}

TEST_F(DeterminantsOf, SinglesStepFromTheHighestHoleAndTheLowestParticle) {
    EXPECT_EQ(Singles(WindowOf(4, 2, 2)),
              (std::vector<std::string>{"2200", "2du0", "2d0u", "d2u0", "d20u", "2ud0", "2u0d",
                                        "u2d0", "u20d"}));
}

TEST_F(DeterminantsOf, DoubletHasExcitationsIntoAndOutOfTheOpenLevelInOneSpinEach) {
    EXPECT_EQ(Singles(WindowOf(3, 2, 1)),
              (std::vector<std::string>{"2u0", "20u", "duu", "u20", "uud"}));
}

TEST_F(DeterminantsOf, WindowWithoutEmptyLevelsHasTheReferenceAndTheOpenShells) {
    EXPECT_EQ(Singles(WindowOf(2, 2, 2)), (std::vector<std::string>{"22"}));
    EXPECT_EQ(Singles(WindowOf(3, 3, 1)), (std::vector<std::string>{"2uu", "u2u", "uu2"}));
    EXPECT_EQ(Singles(WindowOf(0, 0, 0)), (std::vector<std::string>{""}));
}

/// The bottom of the window is level 1 here: -2, -1 | 0, 1.
TEST_F(DeterminantsOf, SinglesBeyondTheLimitAreLeftOutAndEqualOnesTaken) {
    CiWindow window = WindowOf(4, 2, 2, 2.0);
    window.nBelow = 1;
    EXPECT_EQ(Singles(window),
              (std::vector<std::string>{"2200", "2du0", "2d0u", "d2u0", "2ud0", "2u0d", "u2d0"}));
    window.dLimit = 0.5;
    EXPECT_EQ(Singles(window), (std::vector<std::string>{"2200"}));
}

TEST_F(DeterminantsOf, MicrostatesAreCountedByAlphaAndThenByBetaRow) {
    Determinants d;
    PlaceMicrostates(WindowOf(3, 2, 1), d);
    EXPECT_EQ(All(d), (std::vector<std::string>{"2u0", "u20", "uud", "20u", "udu", "u02", "duu",
                                                "02u", "0u2"}));
    for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b) EXPECT_EQ(ConfigOf(d, a, b), 3 * a + b);
}

TEST_F(DeterminantsOf, RowsThatNoConfigurationHasFindNone) {
    Determinants d;
    PlaceSingles(WindowOf(4, 2, 2), kLevels.data(), d);
    EXPECT_EQ(ConfigOf(d, 0, 0), 0);
    EXPECT_EQ(ConfigOf(d, 2, 0), 2);
    EXPECT_EQ(ConfigOf(d, 0, 3), 7);
    EXPECT_EQ(ConfigOf(d, 1, 1), -1);
}

/// The parity by moving each beta electron past the alpha ones of higher levels, one by one.
TEST_F(DeterminantsOf, ParityIsThatOfSortingTheElectronsByLevel) {
    Determinants d;
    PlaceMicrostates(WindowOf(5, 3, 2), d);
    int nOdd = 0;
    for (int k = 0; k < d.nConfigs; ++k) {
        std::vector<int> places;  // alpha at 2 i, beta at 2 i + 1, all alpha first
        for (const int s : {0, 1})
            for (int i = 0; i < 5; ++i)
                if (s == 0 ? IsOccupied(d.mOccAlpha, d.vAlphaRow[k], i)
                           : IsOccupied(d.mOccBeta, d.vBetaRow[k], i))
                    places.push_back(2 * i + s);
        int nSign = 1;
        for (std::size_t i = 0; i < places.size(); ++i)
            for (std::size_t j = i + 1; j < places.size(); ++j)
                if (places[i] > places[j]) nSign = -nSign;
        EXPECT_EQ(d.vParity[k], nSign) << Text(d, k);
        nOdd += nSign < 0 ? 1 : 0;
    }
    EXPECT_EQ(d.nConfigs, 100);
    EXPECT_GT(nOdd, 20);
}

TEST_F(DeterminantsOf, MicrostatesAreCountedWithoutOverflow) {
    EXPECT_EQ(CountMicrostates(WindowOf(8, 4, 4)), 4900);
    EXPECT_EQ(CountMicrostates(WindowOf(20, 10, 10)), 184756LL * 184756);
    EXPECT_EQ(CountMicrostates(WindowOf(1, 1, 1)), 1);
    EXPECT_EQ(CountMicrostates(WindowOf(1, 2, 1)), 0);
    EXPECT_EQ(CountMicrostates(WindowOf(66, 33, 33)), std::numeric_limits<long long>::max());
}

TEST_F(DeterminantsOf, MoreConfigurationsThanCanBeCountedEndInTheMessage) {
    NewScriptedClient();
    Determinants d;
    EXPECT_THROW(PlaceMicrostates(WindowOf(20, 10, 10), d), Unwinding);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(client.Errors()[0], "This application has exhausted all available memory.");
}

TEST_F(DeterminantsOf, EveryFailedAllocationEndsInTheMessage) {
    for (const bool fSingles : {true, false}) {
        int nFailures = 0;
        for (bool fFailed = true; fFailed; ++nFailures) {
            NewScriptedClient();
            memory = MemoryState{.nFailAt = nFailures, .nBytesHeld = memory.nBytesHeld};
            Determinants d;
            fFailed = false;
            try {
                if (fSingles)
                    PlaceSingles(WindowOf(4, 2, 2), kLevels.data(), d);
                else
                    PlaceMicrostates(WindowOf(4, 2, 2), d);
            } catch (const Unwinding&) {
                fFailed = true;
                ASSERT_EQ(client.Errors().size(), 1u);
            }
        }
        EXPECT_EQ(nFailures, 7);  // two sets of rows, four lists, and one that succeeded
    }
}

}  // namespace
}  // namespace qsolve
