#include "symmetry/labels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "numeric/jacobi.h"
#include "numeric/matrix3.h"
#include "symmetry/characters.h"
#include "symmetry/groups.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/point_sets.h"

namespace qsolve {
namespace {

/// Labels and numbers of some levels.
struct Labels {
    std::vector<std::array<char, 4>> Names;
    std::vector<int> Numbers;
    bool fAll = false;

    Labels(const CharacterTable& table, const TestMatrix& characters)
        : Names(static_cast<std::size_t>(characters.nRows)), Numbers(Names.size()) {
        auto* sLabels = reinterpret_cast<char(*)[4]>(Names.data());
        SetDefaultLabels(characters.nRows, sLabels, Numbers.data());
        fAll = AssignSpecies(table, characters.nRows, characters.Data(), sLabels, Numbers.data());
    }
    std::string At(std::size_t k) const {
        return std::to_string(Numbers[k]) +
               std::string(Names[k].data(), strnlen(Names[k].data(), 4));
    }
    std::string All() const {
        std::string s;
        for (std::size_t k = 0; k < Names.size(); ++k) s += (k > 0 ? " " : "") + At(k);
        return s;
    }
    /// How many sets of each species there are.
    std::map<std::string, int> Counts() const {
        std::map<std::string, int> counts;
        for (std::size_t k = 0; k < Names.size(); ++k) {
            int& n = counts[std::string(Names[k].data(), strnlen(Names[k].data(), 4))];
            n = std::max(n, Numbers[k]);
        }
        return counts;
    }
};

CharacterTable TableOf(const char* sName) {
    CharacterTable table;
    for (int i = 0; i < kGroups; ++i)
        if (std::string(GroupName(i)) == sName) DecodeTable(i, table);
    return table;
}

TestMatrix Rows(std::vector<std::vector<double>> rows) {
    TestMatrix m(static_cast<int>(rows.size()), static_cast<int>(rows[0].size()));
    for (int i = 0; i < m.nRows; ++i)
        for (int j = 0; j < m.nColumns; ++j)
            m(i, j) = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
    return m;
}

// ---- the walk -----------------------------------------------------------------------------------

TEST(SpeciesWalk, NumbersTheLevelsOfAGroupWithOneClass) {
    const Labels labels(TableOf("C1"), Rows({{1}, {1}, {1}}));
    EXPECT_EQ(labels.All(), "1A 2A 3A");
    EXPECT_TRUE(labels.fAll);
}

// Rows of C3V: E, C3, sxz.
TEST(SpeciesWalk, HoldsTheFirstOfAPairForTheSecond) {
    const Labels labels(TableOf("C3V"), Rows({{1, 1, 1},
                                              {1, -0.5, 0.3},
                                              {1, -0.5, -0.3},
                                              {1, 1, 0.95},
                                              {1, 1, -1},
                                              {1, -0.4, 1},
                                              {1, -0.6, -1}}));
    EXPECT_EQ(labels.All(), "1A1 1E 1E 2A1 1A2 2E 2E");
    EXPECT_TRUE(labels.fAll);
}

TEST(SpeciesWalk, JoinsAPairWithAnotherLevelBetween) {
    const Labels labels(TableOf("C3V"), Rows({{1, -0.5, 0.3}, {1, 1, 1}, {1, -0.5, -0.3}}));
    EXPECT_EQ(labels.All(), "1E 1A1 1E");
    EXPECT_TRUE(labels.fAll);
}

TEST(SpeciesWalk, LosesOneBadLevelAndNotItsNeighbours) {
    const Labels labels(TableOf("C3V"),
                        Rows({{1, 0.5, 0.5}, {1, -0.5, 0.3}, {1, -0.5, -0.3}, {1, 1, 1}}));
    EXPECT_EQ(labels.All(), "1  ? 1E 1E 1A1");
    EXPECT_FALSE(labels.fAll);
}

TEST(SpeciesWalk, ForgetsTheOldestOfTenThatWait) {
    std::vector<std::vector<double>> rows = {{1, -0.5, 0.3}};
    for (int i = 0; i < 9; ++i) rows.push_back({1, 0.5, 0.5});
    rows.push_back({1, -0.5, -0.3});
    const Labels labels(TableOf("C3V"), Rows(rows));
    EXPECT_EQ(labels.At(0), "1  ?");
    EXPECT_EQ(labels.At(10), "11  ?");
    EXPECT_FALSE(labels.fAll);
}

TEST(SpeciesWalk, MatchesWithinATenth) {
    EXPECT_EQ(Labels(TableOf("CS"), Rows({{1, 0.91}})).All(), "1A'");
    EXPECT_EQ(Labels(TableOf("CS"), Rows({{1, -0.91}})).All(), "1A\"");
    EXPECT_EQ(Labels(TableOf("CS"), Rows({{1, 0.89}})).All(), "1  ?");
}

TEST(SpeciesWalk, LabelsNothingWhereThereIsNothing) {
    const TestMatrix none(0, 3);
    EXPECT_TRUE(Labels(TableOf("C3V"), none).fAll);
}

// ---- levels of Hamiltonians that have the symmetry of a group -----------------------------------

/// A molecule of a group with one orbit of atoms in general places, each with s, p, d and f
/// orbitals up to a shell, and the matrices by which its elements turn all of them.
struct Symmetric {
    PointSet Set;
    std::vector<Matrix3> Elements;
    std::vector<TestMatrix> Turns;
    std::vector<AtomRange> Ranges;
    int nOrder = 0;

    Symmetric(int nGroup, int nPerAtom)
        : Set(OrbitsOf(nGroup, 1, 17)), Elements(GroupElements(nGroup)) {
        const int nAtoms = static_cast<int>(Set.Elements.size());
        for (int i = 0; i < nAtoms; ++i) Ranges.push_back({nPerAtom * i, nPerAtom});
        nOrder = nPerAtom * nAtoms;
        for (const Matrix3& element : Elements) Turns.push_back(TurnOf(element));
    }

    std::size_t ImageOf(std::size_t nAtom, const Matrix3& element) const {
        double v[3];
        Transform3(element.data(), &Set.Xyz[3 * nAtom], v);
        for (std::size_t i = 0; i < Set.Elements.size(); ++i)
            if (std::hypot(v[0] - Set.Xyz[3 * i], v[1] - Set.Xyz[3 * i + 1],
                           v[2] - Set.Xyz[3 * i + 2]) < 1e-6)
                return i;
        throw std::runtime_error("no image");
    }

    TestMatrix TurnOf(const Matrix3& element) const {
        TestMatrix m(nOrder, nOrder);
        ShellRotation shells;
        BuildShellRotation(3, element.data(), shells);
        const double unit[] = {1.0};
        const double* matrices[] = {unit, shells.mP, shells.mD, shells.mF};
        for (std::size_t a = 0; a < Ranges.size(); ++a)
            for (int l = 0; l * l < Ranges[a].nCount; ++l)
                for (int i = 0; i < 2 * l + 1; ++i)
                    for (int j = 0; j < 2 * l + 1; ++j)
                        m(Ranges[ImageOf(a, element)].nFirst + l * l + i,
                          Ranges[a].nFirst + l * l + j) = matrices[l][(2 * l + 1) * i + j];
        return m;
    }

    /// Eigenvectors, ascending, of a random matrix averaged over the group.
    TestMatrix Levels() const {
        const TestMatrix random = RandomSymmetric(nOrder, 5);
        TestMatrix h(nOrder, nOrder), vectors(nOrder, nOrder), values(1, nOrder);
        for (const TestMatrix& turn : Turns) {
            const TestMatrix turned =
                NaiveProduct(NaiveProduct(turn, random), NaiveTransposed(turn));
            for (std::size_t i = 0; i < h.v.size(); ++i) h.v[i] += turned.v[i];
        }
        DiagonaliseByJacobi(nOrder, h.Data(), vectors.Data(), values.Data());
        return vectors;
    }

    /// How often a species comes, by reduction with the characters of all elements: those of the
    /// table's classes, found by conjugation. Empty if an element is of no class of the table.
    std::map<std::string, int> Reduction(int nGroup, const CharacterTable& table) const;
};

bool AreEqual(const Matrix3& a, const Matrix3& b) {
    return std::equal(a.begin(), a.end(), b.begin(),
                      [](double x, double y) { return std::abs(x - y) < 1e-6; });
}

/// The class of the table that holds an element or its inverse; -1 for none.
int ClassOf(const Matrix3& element, const std::vector<Matrix3>& elements, int nGroup,
            const CharacterTable& table) {
    for (int c = 0; c < table.nClasses; ++c) {
        Matrix3 representative, conjugate, inverse;
        BuildOperation(table.nOperation[c], TiltOf(nGroup).data(), representative.data());
        for (const Matrix3& g : elements) {
            ToFrame3(g.data(), representative.data(), conjugate.data());
            Transpose3(conjugate.data(), inverse.data());
            if (AreEqual(conjugate, element) || AreEqual(inverse, element)) return c;
        }
    }
    return -1;
}

std::map<std::string, int> Symmetric::Reduction(int nGroup, const CharacterTable& table) const {
    std::map<std::string, int> counts;
    for (int s = 0; s < table.nSpecies; ++s) {
        const Species& species = table.Rows[s];
        double dOwn = 0.0, dSum = 0.0;
        for (std::size_t g = 0; g < Elements.size(); ++g) {
            const int c = ClassOf(Elements[g], Elements, nGroup, table);
            if (c < 0) return {};
            double dTrace = 0.0;
            for (int i = 0; i < nOrder; ++i) dTrace += Turns[g](i, i);
            dSum += species.dCharacter[c] * dTrace;
            dOwn += species.dCharacter[c] * species.dCharacter[c];
        }
        const int n = static_cast<int>(std::lround(dSum / dOwn));
        EXPECT_NEAR(dSum / dOwn, n, 1e-6);
        if (n > 0) counts[std::string(species.sLabel, strnlen(species.sLabel, 4))] = n;
    }
    return counts;
}

class SymmetricLevels : public FreshState, public testing::WithParamInterface<int> {};

TEST_P(SymmetricLevels, HaveTheSpeciesThatTheReductionSays) {
    CharacterTable table;
    DecodeTable(GetParam(), table);
    const std::size_t nElements = GroupElements(GetParam()).size();
    const int nPerAtom = nElements > 24 ? 1 : nElements > 12 ? 4 : nElements > 6 ? 9 : 16;
    const Symmetric symmetric(GetParam(), nPerAtom);
    const TestMatrix levels = symmetric.Levels();
    // The frame of the molecule as it was made is that of its group.
    std::vector<SymmetryAtom> atoms(symmetric.Set.Elements.size());
    for (int c = 1; c < table.nClasses; ++c) {
        Matrix3 m;
        BuildOperation(table.nOperation[c], TiltOf(GetParam()).data(), m.data());
        for (std::size_t i = 0; i < atoms.size(); ++i)
            atoms[i].nImage[table.nOperation[c]] = static_cast<int>(symmetric.ImageOf(i, m)) + 1;
    }
    TestMatrix characters(symmetric.nOrder, table.nClasses);
    for (int c = 0; c < table.nClasses; ++c) {
        Matrix3 m;
        ShellRotation rotation;
        BuildOperation(table.nOperation[c], TiltOf(GetParam()).data(), m.data());
        BuildShellRotation(3, m.data(), rotation);
        for (int k = 0; k < symmetric.nOrder; ++k)
            characters(k, c) =
                OrbitalCharacter(static_cast<int>(atoms.size()), atoms.data(),
                                 symmetric.Ranges.data(), table.nOperation[c], rotation,
                                 &levels.v[static_cast<std::size_t>(k * symmetric.nOrder)]);
    }
    const Labels labels(table, characters);
    EXPECT_TRUE(labels.fAll) << GroupName(GetParam());
    const auto expected = symmetric.Reduction(GetParam(), table);
    if (!expected.empty()) {
        EXPECT_EQ(labels.Counts(), expected) << GroupName(GetParam());
    }
}
INSTANTIATE_TEST_SUITE_P(Finite, SymmetricLevels, testing::Range(0, 41));

}  // namespace
}  // namespace qsolve
