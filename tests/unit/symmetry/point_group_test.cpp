#include "symmetry/point_group.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <limits>
#include <numbers>

#include "link/link.h"
#include "numeric/matrix3.h"
#include "symmetry/groups.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/point_sets.h"

namespace qsolve {
namespace {

constexpr double kBohrPerAngstrom = 1.889726;

/// Orbits that have no more symmetry than their group: the points of a small group need company.
int EnoughOrbits(int nGroup) {
    return SymmetryNumber(nGroup) == 1 ? 5 : 3;
}

void ExpectGroup(const PointSet& set, const PointSet& moved) {
    const FoundGroup found(moved);
    EXPECT_EQ(found.Name(), set.sGroup) << set.sName;
    EXPECT_EQ(found.Group.nMask, set.nMask) << set.sName;
    ASSERT_GE(found.Group.nGroup, 0) << set.sName;
    EXPECT_EQ(SymmetryNumber(found.Group.nGroup), set.nSymmetryNumber) << set.sName;
    EXPECT_EQ(found.Group.nFailure, 0) << set.sName;
    EXPECT_EQ(found.Group.fLinear, set.sGroup[1] == '*') << set.sName;
}

class PointGroups : public FreshState, public testing::WithParamInterface<int> {};

TEST_P(PointGroups, AreFoundInAnyOrderPlaceAndOrientation) {
    const int nOrbits = EnoughOrbits(GetParam());
    for (std::uint64_t nSeed = 1; nSeed <= 8; ++nSeed) {
        const PointSet set = OrbitsOf(GetParam(), nOrbits, 100 * nSeed + 7);
        ExpectGroup(set, Moved(set, nSeed));
        ExpectGroup(set, Moved(set, nSeed, kBohrPerAngstrom));
    }
}

// A figure so distorted has lost some operations, and gains none.
TEST_P(PointGroups, FallToASubgroupWhenAtomsAreMovedBeyondIt) {
    const std::vector<Matrix3> whole = GroupElements(GetParam());
    for (const double dNoise : {0.005, 0.02})
        for (std::uint64_t nSeed = 1; nSeed <= 4; ++nSeed) {
            const PointSet set = OrbitsOf(GetParam(), EnoughOrbits(GetParam()), 100 * nSeed + 7);
            const FoundGroup found(Moved(set, nSeed, 1.0, dNoise));
            if (found.Group.nGroup < 0) {
                EXPECT_EQ(found.Group.nFailure, 2);
                continue;
            }
            if (set.sGroup[1] == '*') continue;  // of infinite order
            EXPECT_EQ(whole.size() % GroupElements(found.Group.nGroup).size(), 0u)
                << set.sGroup << " became " << found.Name();
        }
}

TEST_P(PointGroups, GiveEachAtomTheImageThatTheOperationGives) {
    const FoundGroup found(Moved(OrbitsOf(GetParam(), EnoughOrbits(GetParam()), 11), 3));
    for (int k = 1; k <= kOperations; ++k) {
        if (!found.Group.Atoms.fOperationPresent[k]) continue;
        double m[9], vImage[3];
        BuildMoleculeOperation(k, found.Group.Atoms.Axes, m);
        for (std::size_t i = 0; i < found.Atoms.size(); ++i) {
            Transform3(m, &found.Centred[3 * i], vImage);
            const auto nImage = static_cast<std::size_t>(found.Atoms[i].nImage[k] - 1);
            ASSERT_LT(nImage, found.Atoms.size());
            for (std::size_t x = 0; x < 3; ++x)
                EXPECT_NEAR(vImage[x], found.Centred[3 * nImage + x], 1e-6);
        }
    }
}
INSTANTIATE_TEST_SUITE_P(All, PointGroups, testing::Range(0, kGroups),
                         [](const auto& row) { return "Group" + std::to_string(row.param); });

class PointGroupSearch : public FreshState {};

TEST_F(PointGroupSearch, OfMoleculesAndOfAccidentalTopsAreThoseOfAnIndependentProgram) {
    const std::vector<PointSet> sets = ReadPointSets("point_groups.txt");
    EXPECT_EQ(sets.size(), 55u);
    for (const PointSet& set : sets)
        for (std::uint64_t nSeed = 1; nSeed <= 4; ++nSeed) {
            ExpectGroup(set, set);
            ExpectGroup(set, Moved(set, nSeed));
            if (set.dDisplacement == 0.0) ExpectGroup(set, Moved(set, nSeed, kBohrPerAngstrom));
        }
}

// The axes of a figure whose moments nearly agree turn by more than the atoms have moved, so that
// some of these figures, all nearly round, lose their group.
TEST_F(PointGroupSearch, KeepsTheGroupOfNearlyAllFiguresThatAreShakenWithinTheTolerance) {
    int nFigures = 0, nKept = 0;
    for (int nGroup = 0; nGroup < kGroups; ++nGroup)
        for (std::uint64_t nSeed = 1; nSeed <= 10; ++nSeed, ++nFigures) {
            const PointSet set = OrbitsOf(nGroup, EnoughOrbits(nGroup), 100 * nSeed + 7);
            nKept += FoundGroup(Moved(set, nSeed, 1.0, 0.0005)).Name() == set.sGroup;
        }
    std::cout << nKept << " of " << nFigures << " shaken by 0.0005 keep their group\n";
    EXPECT_GE(nKept, 0.95 * nFigures);
}

// By chance the principal axes of this crown lie between its mirrors.
TEST_F(PointGroupSearch, FindsADihedralGroupWhereverItsPrincipalAxesLie) {
    constexpr double kRadius = 2.3635543, kHeight = 0.4570935, kNoise = 1e-7;
    PointSet crown;
    for (int i = 0; i < 8; ++i) {
        const double dAngle = std::numbers::pi / 4.0 * i;
        crown.Elements.push_back(16);
        for (const double d : {kRadius * std::cos(dAngle), kRadius * std::sin(dAngle),
                               i % 2 == 0 ? kHeight : -kHeight})
            crown.Xyz.push_back(std::round(d / kNoise) * kNoise);
    }
    for (int nDegrees = 0; nDegrees < 90; ++nDegrees) {
        PointSet turned = crown;
        const double c = std::cos(nDegrees / 57.3), s = std::sin(nDegrees / 57.3);
        for (std::size_t i = 0; i < turned.Xyz.size(); i += 3) {
            turned.Xyz[i] = c * crown.Xyz[i] - s * crown.Xyz[i + 1];
            turned.Xyz[i + 1] = s * crown.Xyz[i] + c * crown.Xyz[i + 1];
        }
        EXPECT_EQ(FoundGroup(turned).Name(), "D4D") << nDegrees;
    }
}

TEST_F(PointGroupSearch, HasARightHandedFrame) {
    for (int nGroup = 0; nGroup < kGroups; ++nGroup) {
        const FoundGroup found(Moved(OrbitsOf(nGroup, EnoughOrbits(nGroup), 21), 5));
        const double* m = found.Group.Atoms.Axes.mAxes;
        double vCross[3];
        Cross3(m, m + 3, vCross);
        for (int x = 0; x < 3; ++x) EXPECT_NEAR(vCross[x], m[6 + x], 1e-12);
        EXPECT_NEAR(Dot3(m, m), 1.0, 1e-12);
    }
}

TEST_F(PointGroupSearch, PutsTheLongestAxisOfABrickOnZAndTheShortestOnX) {
    PointSet brick;
    for (const double x : {-1.0, 1.0})
        for (const double y : {-1.3, 1.3})
            for (const double z : {-1.7, 1.7}) {
                brick.Elements.push_back(6);
                brick.Xyz.insert(brick.Xyz.end(), {z, x, y});
            }
    const FoundGroup found(brick);
    EXPECT_EQ(found.Name(), "D2H");
    for (const SymmetryAtom& atom : found.Atoms) {
        EXPECT_NEAR(std::abs(atom.dX), 1.0, 1e-9);
        EXPECT_NEAR(std::abs(atom.dY), 1.3, 1e-9);
        EXPECT_NEAR(std::abs(atom.dZ), 1.7, 1e-9);
    }
}

TEST_F(PointGroupSearch, IsUnknownForOneAtomAndForWhatIsNoNumber) {
    PointSet set;
    EXPECT_EQ(FoundGroup(set).Group.nGroup, -1);
    set.Elements = {6};
    set.Xyz = {1, 2, 3};
    EXPECT_EQ(FoundGroup(set).Group.nGroup, -1);
    EXPECT_EQ(FoundGroup(set).Group.nFailure, 0);
    for (const double d : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL}) {
        set.Elements = {6, 6};
        set.Xyz = {1, 2, 3, 0, d, 0};
        EXPECT_EQ(FoundGroup(set).Group.nGroup, -1);
        EXPECT_EQ(FoundGroup(set).Group.nFailure, 2);
    }
}

TEST_F(PointGroupSearch, OfAtomsInOnePlaceIsThatOfALine) {
    PointSet set;
    set.Elements = {6, 8};
    set.Xyz = {1, 2, 3, 1, 2, 3};
    EXPECT_EQ(FoundGroup(set).Name(), "D*H");
}

TEST_F(PointGroupSearch, OfAGroupBeyondTheTableIsUnknownOrALowerOne) {
    for (const int n : {9, 10, 11}) {  // a disc with two rings of n
        PointSet set;
        for (int i = 0; i < 2 * n; ++i) {
            const double dAngle = (i / 2 + 0.13 * (i % 2)) * 2.0 * std::acos(-1.0) / n;
            const double r = i % 2 == 0 ? 2.5 : 4.0;
            set.Elements.push_back(i % 2 == 0 ? 6 : 8);
            set.Xyz.insert(set.Xyz.end(),
                           {r * std::cos(dAngle), r * std::sin(dAngle), 0.3 * (i % 2)});
        }
        const FoundGroup found(Moved(set, 3));
        EXPECT_EQ(found.Name(), n == 9 ? "C3" : n == 10 ? "?" : "C1");
    }
}

TEST_F(PointGroupSearch, FindsTheGroupOfALatticeOfAThousandAtoms) {
    PointSet lattice;
    for (int i = 0; i < 1000; ++i) {
        lattice.Elements.push_back(6);
        lattice.Xyz.insert(lattice.Xyz.end(),
                           {1.5 * (i % 10), 1.5 * (i / 10 % 10), 1.5 * (i / 100)});
    }
    EXPECT_EQ(FoundGroup(Moved(lattice, 2)).Name(), "OH");
}

TEST_F(PointGroupSearch, FailsForWantOfMemoryAndDoesNotLeak) {
    const PointSet set = OrbitsOf(40, 1, 3);  // icosahedral: it needs the shells
    const std::size_t nHeld = memory.nBytesHeld;
    memory.nFailAt = memory.nTaken;
    EXPECT_THROW(FoundGroup{set}, Unwinding);
    EXPECT_EQ(memory.nBytesHeld, nHeld);
    memory.nFailAt = -1;
    EXPECT_EQ(FoundGroup(set).Name(), "IH");
}

}  // namespace
}  // namespace qsolve
