#include "symmetry/groups.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

#include "numeric/matrix3.h"
#include "tests/support/point_sets.h"

namespace qsolve {
namespace {

class Groups : public testing::TestWithParam<int> {
  protected:
    Groups() { DecodeTable(GetParam(), table); }
    bool IsLinear() const { return GroupName(GetParam())[1] == '*'; }
    CharacterTable table;
};

bool Holds(const std::vector<Matrix3>& elements, const Matrix3& m) {
    return std::any_of(elements.begin(), elements.end(), [&](const Matrix3& e) {
        double d = 0.0;
        for (std::size_t i = 0; i < 9; ++i) d = std::max(d, std::abs(e[i] - m[i]));
        return d < 1e-6;
    });
}

double Determinant(const Matrix3& m) {
    double vCross[3];
    Cross3(&m[0], &m[3], vCross);
    return Dot3(vCross, &m[6]);
}

TEST_P(Groups, HaveAMaskOfTheOperationsThatTheyContain) {
    if (IsLinear()) return;  // of infinite order
    const std::vector<Matrix3> elements = GroupElements(GetParam());
    unsigned nMask = 0;
    for (int k = 1; k <= kOperations; ++k) {
        Matrix3 m;
        BuildOperation(k, TiltOf(GetParam()).data(), m.data());
        if (Holds(elements, m)) nMask |= 1u << (k - 1);
    }
    EXPECT_EQ(nMask, GroupMask(GetParam()));
}

TEST_P(Groups, HaveAsManyProperRotationsAsTheirSymmetryNumberSays) {
    if (IsLinear()) return;
    const std::vector<Matrix3> elements = GroupElements(GetParam());
    const auto nProper = std::count_if(elements.begin(), elements.end(),
                                       [](const Matrix3& m) { return Determinant(m) > 0.0; });
    EXPECT_EQ(nProper, SymmetryNumber(GetParam()));
}

TEST_P(Groups, AreFoundByTheirMask) {
    EXPECT_EQ(FindGroup(GroupMask(GetParam())), GetParam());
}

TEST_P(Groups, HaveClassesThatTheFrameTests) {
    ASSERT_GE(table.nClasses, 1);
    EXPECT_EQ(table.nOperation[0], 0);
    for (int c = 1; c < table.nClasses; ++c)
        EXPECT_TRUE(GroupMask(GetParam()) >> (table.nOperation[c] - 1) & 1u) << c;
}

TEST_P(Groups, BeginWithTheTotallySymmetricSpecies) {
    for (int c = 0; c < table.nClasses; ++c) EXPECT_EQ(table.Rows[0].dCharacter[c], 1.0);
    EXPECT_EQ(table.Rows[0].nDegeneracy, 1);
}

TEST_P(Groups, HaveSpeciesThatDifferInACharacter) {
    for (int s = 0; s < table.nSpecies; ++s)
        for (int t = 0; t < s; ++t) {
            double d = 0.0;
            for (int c = 0; c < table.nClasses; ++c)
                d = std::max(d,
                             std::abs(table.Rows[s].dCharacter[c] - table.Rows[t].dCharacter[c]));
            EXPECT_GT(d, 0.3) << s << " " << t;
        }
}

TEST_P(Groups, HaveSpeciesOfDifferentNames) {
    std::set<std::string> names;
    for (int s = 0; s < table.nSpecies; ++s) {
        const std::string sLabel(table.Rows[s].sLabel, 4);
        EXPECT_TRUE(std::isalpha(static_cast<unsigned char>(sLabel[0]))) << sLabel;
        names.insert(sLabel);
    }
    EXPECT_EQ(names.size(), static_cast<std::size_t>(table.nSpecies));
}
INSTANTIATE_TEST_SUITE_P(All, Groups, testing::Range(0, kGroups));

TEST(GroupTable, HasACodeForMultiplesOfTheCosine) {
    CharacterTable table;
    DecodeTable(FindGroup(1u << (10 - 1)), table);  // C5
    EXPECT_NEAR(table.Rows[1].dCharacter[1], 0.5 * (std::sqrt(5.0) - 1.0), 1e-15);
    EXPECT_NEAR(table.Rows[2].dCharacter[1], -0.5 * (std::sqrt(5.0) + 1.0), 1e-15);
    EXPECT_EQ(table.Rows[1].nDegeneracy, 2);
    EXPECT_EQ(std::string(table.Rows[2].sLabel, 4), std::string("E2\0\0", 4));
}

TEST(GroupTable, KnowsNoGroupOfAnUnknownMask) {
    EXPECT_EQ(FindGroup(1u << 12 | 1u << 10), -1);
    EXPECT_EQ(FindGroup(0xffffffffu), -1);
    EXPECT_EQ(FindGroup(0), 0);
}

}  // namespace
}  // namespace qsolve
