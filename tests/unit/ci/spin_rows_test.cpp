#include "ci/spin_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

using SpinRowsOf = FreshState;

std::string Text(const SpinRows& rows, int nRow, int nLevels) {
    std::string s;
    for (int i = 0; i < nLevels; ++i) s += IsOccupied(rows, nRow, i) ? '1' : '0';
    return s;
}

std::vector<std::string> Microstates(int nElectrons, int nLevels, int nRoom) {
    SpinRows rows;
    TakeRows(nRoom, nLevels, rows);
    int nCount = -1;
    GenerateMicrostates(rows, nElectrons, nLevels, nCount);
    std::vector<std::string> all;
    for (int r = 0; r < nCount; ++r) all.push_back(Text(rows, r, nLevels));
    return all;
}

TEST_F(SpinRowsOf, MicrostatesMoveTheLastElectronFastest) {
    EXPECT_EQ(Microstates(2, 4, 6),
              (std::vector<std::string>{"1100", "1010", "1001", "0110", "0101", "0011"}));
    EXPECT_EQ(Microstates(1, 3, 3), (std::vector<std::string>{"100", "010", "001"}));
}

TEST_F(SpinRowsOf, NoElectronAndAFullWindowHaveOneMicrostate) {
    EXPECT_EQ(Microstates(0, 3, 1), (std::vector<std::string>{"000"}));
    EXPECT_EQ(Microstates(3, 3, 1), (std::vector<std::string>{"111"}));
    EXPECT_EQ(Microstates(0, 0, 1), (std::vector<std::string>{""}));
    EXPECT_TRUE(Microstates(4, 3, 1).empty());
}

TEST_F(SpinRowsOf, MicrostatesAreAsManyAsThereAreCombinations) {
    EXPECT_EQ(Microstates(10, 20, 184756).size(), 184756u);
    EXPECT_EQ(Microstates(19, 20, 20).size(), 20u);
}

TEST_F(SpinRowsOf, MicrostatesStopWhereThereIsNoRoom) {
    EXPECT_EQ(Microstates(2, 4, 3), (std::vector<std::string>{"1100", "1010", "1001"}));
}

/// Levels of a row of a hundred, ascending.
std::vector<int> LevelsOf(const SpinRows& rows, int nRow, int nLevels) {
    std::vector<int> levels;
    for (int i = 0; i < nLevels; ++i)
        if (IsOccupied(rows, nRow, i)) levels.push_back(i);
    return levels;
}

/// The sign that puts electrons, after the holes have been replaced by the particles in their
/// places, back into the order of their levels: one for each exchange of two.
int SignByExchanges(std::vector<int> levels, const Difference& x) {
    for (int& i : levels)
        for (int t = 0; t < x.nOrder; ++t)
            if (i == x.nHole[t]) {
                i = x.nParticle[t];
                break;
            }
    int nSign = 1;
    for (std::size_t i = 0; i < levels.size(); ++i)
        for (std::size_t j = i + 1; j < levels.size(); ++j)
            if (levels[i] > levels[j]) nSign = -nSign;
    return nSign;
}

/// Rows of five electrons on levels that lie in two words.
void FillSome(int nRows, int nLevels, SpinRows& rows) {
    TakeRows(nRows, nLevels, rows);
    Randoms randoms(5);
    for (int r = 0; r < nRows; ++r)
        for (int n = 0; n < 5;) {
            const int i = 60 + static_cast<int>(randoms.Bits() % 8);
            if (IsOccupied(rows, r, i)) continue;
            Occupy(rows, r, i);
            ++n;
        }
}

TEST_F(SpinRowsOf, DifferenceNamesTheMovedElectronsAndTheirSign) {
    constexpr int kRows = 60, kLevels = 100;
    SpinRows rows;
    FillSome(kRows, kLevels, rows);
    int nOfOrder[4] = {};
    for (int r = 0; r < kRows; ++r)
        for (int s = 0; s < kRows; ++s) {
            const Difference x = Compare(rows, r, s);
            ++nOfOrder[x.nOrder];
            if (x.nOrder == 3) continue;
            std::vector<int> moved = LevelsOf(rows, r, kLevels);
            EXPECT_EQ(x.nSign, SignByExchanges(moved, x));
            for (int t = 0; t < x.nOrder; ++t) {
                EXPECT_TRUE(IsOccupied(rows, r, x.nHole[t]));
                EXPECT_FALSE(IsOccupied(rows, s, x.nHole[t]));
                EXPECT_TRUE(IsOccupied(rows, s, x.nParticle[t]));
                EXPECT_FALSE(IsOccupied(rows, r, x.nParticle[t]));
            }
            if (x.nOrder == 2) {
                EXPECT_LT(x.nHole[0], x.nHole[1]);
                EXPECT_LT(x.nParticle[0], x.nParticle[1]);
            }
        }
    for (const int n : nOfOrder) EXPECT_GT(n, 30);
}

TEST_F(SpinRowsOf, LevelsAreSetAndClearedInAnyWord) {
    SpinRows rows;
    TakeRows(2, 130, rows);
    for (const int i : {0, 63, 64, 127, 128, 129}) {
        Occupy(rows, 1, i);
        EXPECT_TRUE(IsOccupied(rows, 1, i)) << i;
        EXPECT_FALSE(IsOccupied(rows, 0, i)) << i;
        Vacate(rows, 1, i);
        EXPECT_FALSE(IsOccupied(rows, 1, i)) << i;
    }
}

}  // namespace
}  // namespace qsolve
