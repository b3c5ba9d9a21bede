#include "symmetry/operations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "numeric/matrix3.h"
#include "tests/support/matrices.h"
#include "tests/support/point_sets.h"

namespace qsolve {
namespace {

double Determinant(const Matrix3& m) {
    double vCross[3];
    Cross3(&m[0], &m[3], vCross);
    return Dot3(vCross, &m[6]);
}

double FromIdentity(const Matrix3& m) {
    double d = 0.0;
    for (std::size_t i = 0; i < 9; ++i) d = std::max(d, std::abs(m[i] - (i % 4 == 0 ? 1.0 : 0.0)));
    return d;
}

/// Order of an operation: how often it has to be repeated for the identity.
int OrderOf(const Matrix3& m) {
    Matrix3 power = m, next;
    int nOrder = 1;
    for (; FromIdentity(power) > 1e-12 && nOrder < 100; ++nOrder) {
        Multiply3(m.data(), power.data(), next.data());
        power = next;
    }
    return nOrder;
}

/// What the name of an operation says: its order and whether it is a proper rotation.
struct Meaning {
    int nOrder;
    bool fProper;
};
Meaning MeaningOf(const std::string& s) {
    if (s == "E") return {1, true};
    if (s == "i" || s[0] == 's') return {2, false};
    const int n = std::atoi(s.c_str() + 1);
    if (s[0] == 'C') return {n, true};
    return {n % 2 == 0 ? n : 2 * n, false};
}

class Operations : public testing::TestWithParam<int> {};

TEST_P(Operations, AreWhatTheirNamesSay) {
    const Meaning meaning = MeaningOf(OperationName(GetParam()));
    for (const int nGroup : {0, 38, 40}) {  // without a tilt, and with both
        Matrix3 m;
        BuildOperation(GetParam(), TiltOf(nGroup).data(), m.data());
        EXPECT_EQ(OrderOf(m), meaning.nOrder);
        EXPECT_NEAR(Determinant(m), meaning.fProper ? 1.0 : -1.0, 1e-14);
    }
}

TEST_P(Operations, TellTheImagesOfAtoms) {
    const PointSet set = Moved(OrbitsOf(42, 1, 5), 9);  // a linear molecule has them all
    FoundGroup found(set);
    Matrix3 m;
    BuildMoleculeOperation(GetParam(), found.Group.Atoms.Axes, m.data());
    if (GetParam() == kIdentity) {
        TestOperation(kIdentity, found.Group.Atoms);
    }
    for (std::size_t i = 0; i < found.Atoms.size(); ++i) {
        double vImage[3];
        Transform3(m.data(), &found.Centred[3 * i], vImage);
        const int nImage = found.Atoms[i].nImage[GetParam()] - 1;
        ASSERT_GE(nImage, 0);
        for (int x = 0; x < 3; ++x)
            EXPECT_NEAR(vImage[x], found.Centred[static_cast<std::size_t>(3 * nImage + x)], 1e-7);
        EXPECT_EQ(found.Atoms[i].nAtomicNumber,
                  found.Atoms[static_cast<std::size_t>(nImage)].nAtomicNumber);
    }
}
INSTANTIATE_TEST_SUITE_P(All, Operations, testing::Range(0, kOperations + 1));

TEST(OperationTest, PointsTheAxesAsTheirNamesSay) {
    const Frame frame;
    struct Row {
        int nOperation;
        double vFixed[3];
    };
    const Row rows[] = {{kC2x, {1, 0, 0}},      {kC2y, {0, 1, 0}},      {kC2z, {0, 0, 1}},
                        {kC3, {0, 0, 1}},       {kC8, {0, 0, 1}},       {kC2Diagonal, {1, 1, 0}},
                        {kMirrorXy, {1, 1, 0}}, {kMirrorXz, {1, 0, 1}}, {kMirrorYz, {0, 1, 1}}};
    for (const auto& row : rows) {
        double m[9], v[3];
        BuildOperation(row.nOperation, frame.mTilt, m);
        Transform3(m, row.vFixed, v);
        for (int x = 0; x < 3; ++x) EXPECT_NEAR(v[x], row.vFixed[x], 1e-15) << row.nOperation;
    }
}

TEST(OperationTest, IsPresentWithinTheToleranceAndNotBeyond) {
    SymmetryAtom pAtoms[2] = {{.nAtomicNumber = 6}, {.nAtomicNumber = 6}};
    for (const double dError : {0.0099, 0.0101, -0.0099, -0.0101}) {
        const double vCentred[6] = {1, 2, 3 + dError, 1, 2, -3};
        OrientedAtoms atoms;
        atoms.nAtoms = 2;
        atoms.vCentred = vCentred;
        atoms.pAtoms = pAtoms;
        SetFrame(Frame{}, atoms);
        EXPECT_EQ(TestOperation(kMirrorXy, atoms), std::abs(dError) < 0.01);
        EXPECT_EQ(atoms.fOperationPresent[kMirrorXy], std::abs(dError) < 0.01);
    }
}

TEST(OperationTest, DoesNotTakeOneElementForAnother) {
    SymmetryAtom pAtoms[2] = {{.nAtomicNumber = 6}, {.nAtomicNumber = 6 + 105}};
    const double vCentred[6] = {1, 2, 3, 1, 2, -3};
    OrientedAtoms atoms;
    atoms.nAtoms = 2;
    atoms.vCentred = vCentred;
    atoms.pAtoms = pAtoms;
    SetFrame(Frame{}, atoms);
    EXPECT_FALSE(TestOperation(kMirrorXy, atoms));
    pAtoms[1].nAtomicNumber = 6;
    EXPECT_TRUE(TestOperation(kMirrorXy, atoms));
    EXPECT_EQ(pAtoms[0].nImage[kMirrorXy], 2);
    EXPECT_EQ(pAtoms[1].nImage[kMirrorXy], 1);
}

}  // namespace
}  // namespace qsolve
