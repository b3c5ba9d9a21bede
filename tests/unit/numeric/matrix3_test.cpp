#include "numeric/matrix3.h"

#include <gtest/gtest.h>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

TEST(Matrix3, MultipliesAsTheDefinitionSays) {
    const TestMatrix a = RandomMatrix(3, 3, 1), b = RandomMatrix(3, 3, 2);
    TestMatrix c(3, 3), t(3, 3), framed(3, 3);
    Multiply3(a.Data(), b.Data(), c.Data());
    EXPECT_LE(LargestDifference(c, NaiveProduct(a, b)), 1e-15);
    Transpose3(a.Data(), t.Data());
    EXPECT_EQ(LargestDifference(t, NaiveTransposed(a)), 0.0);
    ToFrame3(a.Data(), b.Data(), framed.Data());
    EXPECT_LE(LargestDifference(framed, NaiveProduct(NaiveProduct(a, b), NaiveTransposed(a))),
              2e-15);
}

TEST(Matrix3, TransformsAColumnByTheRowsOfTheMatrix) {
    const TestMatrix a = RandomMatrix(3, 3, 3), x = RandomMatrix(3, 1, 4);
    TestMatrix y(3, 1);
    Transform3(a.Data(), x.Data(), y.Data());
    EXPECT_LE(LargestDifference(y, NaiveProduct(a, x)), 1e-15);
}

TEST(Matrix3, CrossesByTheRightHand) {
    const double x[3] = {1, 0, 0}, y[3] = {0, 1, 0};
    double z[3], back[3];
    Cross3(x, y, z);
    EXPECT_EQ(z[2], 1.0);
    Cross3(y, z, back);
    EXPECT_EQ(back[0], 1.0);
    const TestMatrix a = RandomMatrix(2, 3, 5);
    double c[3];
    Cross3(a.Data(), a.Data() + 3, c);
    EXPECT_NEAR(Dot3(a.Data(), c), 0.0, 1e-15);
    EXPECT_NEAR(Dot3(a.Data() + 3, c), 0.0, 1e-15);
}

TEST(Matrix3, NormalisesAndLeavesTheNullVector) {
    double a[3] = {2, -3, 6}, zero[3] = {0, 0, 0};
    EXPECT_EQ(Normalise3(a), 7.0);
    EXPECT_NEAR(Dot3(a, a), 1.0, 1e-15);
    EXPECT_EQ(Normalise3(zero), 0.0);
    EXPECT_EQ(zero[0], 0.0);
}

}  // namespace
}  // namespace qsolve
