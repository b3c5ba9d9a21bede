#include "numeric/secular.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Poles and squares of z; the squares fall over so many powers of ten.
struct Poles {
    TestMatrix d, z2;
    Poles(int n, double dPowers) : d(1, n), z2(1, n) {
        Randoms randoms(3);
        for (int i = 0; i < n; ++i) {
            d(0, i) = i + 0.4 * randoms.Number();
            z2(0, i) = std::pow(10.0, -dPowers * (randoms.Number() + 1.0) / 2.0) / n;
        }
    }
    Secular Of(double dRho) const { return {d.nColumns, dRho, d.Data(), z2.Data()}; }
};

/// 1/rho + sum z^2 / (d - x) over the sum of the magnitudes, with the digits of quadruple
/// precision.
double Remainder(const Secular& s, const Root& root) {
    long double dSum = 1.0L / s.dRho, dSize = dSum;
    for (int i = 0; i < s.n; ++i) {
        const long double dAway = static_cast<long double>(s.vPoles[i]) - s.vPoles[root.nOrigin];
        const long double t = s.vSquares[i] / (dAway - root.dShift);
        dSum += t;
        dSize += std::abs(t);
    }
    return static_cast<double>(dSum / dSize);
}

class Secularly : public testing::TestWithParam<std::tuple<int, double, double>> {};

TEST_P(Secularly, RootsLieBetweenThePolesAndSolveTheEquation) {
    const auto [n, dPowers, dRho] = GetParam();
    const Poles poles(n, dPowers);
    const Secular secular = poles.Of(dRho);
    double dSum = 0.0, dShifts = 0.0;
    for (int j = 0; j < n; ++j) {
        const Root root = FindRoot(secular, j);
        ASSERT_TRUE(root.nOrigin == j || root.nOrigin == j + 1);
        const double x = poles.d(0, root.nOrigin) + root.dShift;
        EXPECT_GE(x, poles.d(0, j));
        if (j + 1 < n) {
            EXPECT_LE(x, poles.d(0, j + 1));
        }
        EXPECT_TRUE(root.nOrigin == j ? root.dShift > 0.0 : root.dShift < 0.0);
        EXPECT_LE(std::abs(Remainder(secular, root)), 1e-14);
        dSum += dRho * poles.z2(0, j);
        dShifts += x - poles.d(0, j);
    }
    EXPECT_NEAR(dShifts, dSum, 1e-14 * n * (n + dSum)) << "the trace";
}
INSTANTIATE_TEST_SUITE_P(Equations, Secularly,
                         testing::Combine(testing::Values(1, 2, 3, 8, 9, 40, 131),
                                          testing::Values(0.0, 3.0, 20.0),
                                          testing::Values(1e-3, 1.0, 1e3)));

TEST(SecularEquation, OfTwoPolesHasTheEigenvaluesOfATwoByTwoMatrix) {
    const double d[] = {1.0, 2.0}, z2[] = {0.36, 0.64};
    const Secular secular{2, 3.0, d, z2};
    // [1 + 1.08, 1.44; 1.44, 2 + 1.92]
    const double dMiddle = (2.08 + 3.92) / 2, dRoot = std::sqrt(0.92 * 0.92 + 1.44 * 1.44);
    const Root low = FindRoot(secular, 0), high = FindRoot(secular, 1);
    EXPECT_NEAR(d[low.nOrigin] + low.dShift, dMiddle - dRoot, 1e-15);
    EXPECT_NEAR(d[high.nOrigin] + high.dShift, dMiddle + dRoot, 2e-15);
}

TEST(SecularEquation, EndsWhateverTheNumbersAre) {
    const double kInfinity = std::numeric_limits<double>::infinity();
    for (const double x : {std::nan(""), kInfinity, 0.0, -1.0, 5e-324, 1e308}) {
        const double d[] = {0.0, x, 3.0}, z2[] = {x, 0.5, 0.5};
        for (int j = 0; j < 3; ++j) FindRoot({3, 1.0, d, z2}, j);
        for (int j = 0; j < 3; ++j) FindRoot({3, x, d, d}, j);
    }
    SUCCEED();
}

}  // namespace
}  // namespace qsolve
