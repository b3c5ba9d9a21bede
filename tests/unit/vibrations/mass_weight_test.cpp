#include "vibrations/mass_weight.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

TEST(MassWeight, DividesByTheRootsOfTheMasses) {
    TestMatrix m = RandomSymmetric(6, 1), d = RandomMatrix(6, 3, 2);
    const TestMatrix m0 = m, d0 = d;
    const double vMass[] = {4.0, 9.0};
    MassWeightForceMatrix(2, vMass, m.Data(), d.Data());
    for (int i = 0; i < 6; ++i) {
        for (int j = 0; j < 6; ++j)
            EXPECT_NEAR(m(i, j), m0(i, j) / ((i < 3 ? 2.0 : 3.0) * (j < 3 ? 2.0 : 3.0)), 1e-15);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(d(i, c), d0(i, c) / (i < 3 ? 2.0 : 3.0), 1e-15);
    }
}

TEST(MassWeight, LeavesOutADummy) {
    TestMatrix m = RandomSymmetric(6, 1), d = RandomMatrix(6, 3, 2);
    const TestMatrix m0 = m;
    const double vMass[] = {0.0, 4.0};
    MassWeightForceMatrix(2, vMass, m.Data(), d.Data());
    EXPECT_EQ(m(0, 0), m0(0, 0));
    EXPECT_NEAR(m(0, 4), m0(0, 4) / 2.0, 1e-15);
}

TEST(MassWeight, TheForceBetweenTwoAtomsIsHalfTheSizeOfTheirBlock) {
    TestMatrix m(6, 6), table(2, 2);
    m(0, 3) = m(3, 0) = 3.0;
    m(1, 5) = m(5, 1) = -4.0;
    m(2, 2) = 7.0;
    FillForceConstants(2, m.Data(), table.Data());
    EXPECT_NEAR(table(0, 1), 2.5, 1e-15);
    EXPECT_NEAR(table(1, 0), 2.5, 1e-15);
    EXPECT_NEAR(table(0, 0), 3.5, 1e-15);
    EXPECT_EQ(table(1, 1), 0.0);
}

}  // namespace
}  // namespace qsolve
