#include "geometry/inertia.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "numeric/matrix3.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

TEST(InertiaTest, OfADiatomicIsThatOfItsReducedMass) {
    const double vXyz[] = {1.0, 2.0, 3.0, 1.0, 2.0, 4.1};
    const double vMass[] = {12.0, 16.0};
    const Inertia inertia = ComputeInertia(2, vXyz, vMass, 1.0);
    const double I = 12.0 * 16.0 / 28.0 * 1.1 * 1.1;
    EXPECT_EQ(inertia.vMoment[0], 0.0);
    EXPECT_EQ(inertia.vConstant[0], 0.0);
    EXPECT_NEAR(inertia.vMoment[1], I, 1e-8);
    EXPECT_NEAR(inertia.vMoment[2], I, 1e-8);
    EXPECT_NEAR(inertia.vConstant[2], 16.8576522 / I, 1e-8);
    EXPECT_NEAR(inertia.vCentre[2], 3.0 + 1.1 * 16.0 / 28.0, 1e-12);
    EXPECT_EQ(CountExternalModes(inertia), 5);
}

// B = h / (8 pi^2 c I): 16.857629 amu Angstrom^2 / cm by the constants of 2018.
TEST(InertiaTest, GivesRotationalConstantsByTheirDefinition) {
    constexpr double h = 6.62607015e-34, c = 2.99792458e10, amu = 1.66053906660e-27;
    const double pi = std::acos(-1.0);
    EXPECT_NEAR(kConstantOfMoment, h / (8 * pi * pi * c * amu * 1e-20), 3e-5);
    EXPECT_NEAR(kCgsOfMoment, amu * 1e27, 1e-4);
}

// Equilibrium distances and rotational constants of carbon monoxide and hydrogen chloride (K. P.
// Huber, G. Herzberg, Constants of Diatomic Molecules, 1979), masses of the isotopes.
TEST(InertiaTest, TurnsMeasuredDistancesIntoMeasuredConstants) {
    const double vCo[] = {0, 0, 0, 1.128323, 0, 0}, vCoMass[] = {12.0, 15.994915};
    EXPECT_NEAR(ComputeInertia(2, vCo, vCoMass, 1.0).vConstant[2], 1.931281, 2e-5);
    const double vHcl[] = {0, 0, 0, 0, 1.274552, 0}, vHclMass[] = {1.007825, 34.968853};
    EXPECT_NEAR(ComputeInertia(2, vHcl, vHclMass, 1.0).vConstant[1], 10.59341, 1e-3);
}

TEST(InertiaTest, OfAPlanarMoleculeAddsUp) {
    const double vXyz[] = {0, 0, 1, 0.76, 0.59, 1, -0.76, 0.59, 1}, vMass[] = {16, 1, 1};
    const Inertia inertia = ComputeInertia(3, vXyz, vMass, 1.0);
    EXPECT_NEAR(inertia.vMoment[0] + inertia.vMoment[1], inertia.vMoment[2], 1e-8);
    EXPECT_EQ(CountExternalModes(inertia), 6);
}

class InertiaOfRandomMolecules : public testing::TestWithParam<int> {};

TEST_P(InertiaOfRandomMolecules, IsDiagonalInItsAxesWhichAreRightHanded) {
    const int n = GetParam();
    const TestMatrix xyz = RandomMatrix(n, 3, static_cast<std::uint64_t>(n));
    std::vector<double> mass;
    for (int i = 0; i < n; ++i) mass.push_back(1.0 + i % 3);
    const Inertia inertia = ComputeInertia(n, xyz.Data(), mass.data(), 0.28002856);
    double mAxes[9], mTensor[9] = {};
    for (int i = 0; i < n; ++i) {
        double r[3], q[3];
        for (int x = 0; x < 3; ++x) r[x] = xyz(i, x) - inertia.vCentre[x];
        Transform3(inertia.mAxes, r, q);
        for (int x = 0; x < 3; ++x)
            for (int y = 0; y < 3; ++y)
                mTensor[3 * x + y] += mass[static_cast<std::size_t>(i)] * 0.28002856 *
                                      ((x == y ? Dot3(q, q) : 0.0) - q[x] * q[y]);
    }
    for (int x = 0; x < 9; ++x)
        EXPECT_NEAR(mTensor[x], x % 4 == 0 ? inertia.vMoment[x / 4] : 0.0, 1e-8) << x;
    EXPECT_TRUE(std::is_sorted(inertia.vMoment, inertia.vMoment + 3));
    std::copy_n(inertia.mAxes, 9, mAxes);
    double vCross[3];
    Cross3(mAxes, mAxes + 3, vCross);
    EXPECT_NEAR(Dot3(vCross, mAxes + 6), 1.0, 1e-12);
}
INSTANTIATE_TEST_SUITE_P(Sizes, InertiaOfRandomMolecules, testing::Values(3, 4, 7, 20));

TEST(InertiaTest, LeavesOutWhatHasNoWeight) {
    const double vXyz[] = {1, 2, 3, 1, 2, 4, 9, 9, 9}, vMass[] = {1, 1, 0};
    const Inertia two = ComputeInertia(2, vXyz, vMass, 1.0);
    const Inertia three = ComputeInertia(3, vXyz, vMass, 1.0);
    EXPECT_EQ(two.vMoment[2], three.vMoment[2]);
    const double vNone[] = {0, 0, 0};
    EXPECT_EQ(ComputeInertia(3, vXyz, vNone, 1.0).vMoment[2], 0.0);
}

}  // namespace
}  // namespace qsolve
