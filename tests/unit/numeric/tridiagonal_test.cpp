#include "numeric/tridiagonal.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <numbers>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

TEST(TridiagonalEigenvalues, OfAChainAreTheCosines) {
    for (const int n : {1, 2, 3, 10, 301}) {
        std::vector<double> d(static_cast<std::size_t>(n), 0.0), e(d.size(), 1.0);
        e.back() = 0.0;
        EXPECT_EQ(TridiagonalNorm(n, d.data(), e.data()), n == 1 ? 0.0 : n == 2 ? 1.0 : 2.0);
        const int nSteps = TridiagonalEigenvalues(n, 1e-16, d.data(), e.data());
        for (int k = 0; k < n; ++k)  // 2 cos(pi j / (n + 1)), ascending
            EXPECT_NEAR(d[static_cast<std::size_t>(k)],
                        2.0 * std::cos(std::numbers::pi * (n - k) / (n + 1)), 1e-15 * n + 1e-15);
        EXPECT_LE(nSteps, 4 * n);
    }
}

TEST(TridiagonalEigenvalues, OfADiagonalMatrixAreItsElementsInOrder) {
    double d[] = {3.0, -1.0, 2.0, -1.0}, e[4] = {};
    EXPECT_EQ(TridiagonalEigenvalues(4, 1e-16, d, e), 0);
    EXPECT_EQ(std::vector<double>(d, d + 4), (std::vector<double>{-1.0, -1.0, 2.0, 3.0}));
}

TEST(TridiagonalEigenvalues, NeglectsWhatIsBelowTheLimitAndNotWhatMeetsIt) {
    double d[] = {0.0, 1.0}, e[] = {1e-3, 0.0};
    EXPECT_EQ(TridiagonalEigenvalues(2, 1.1e-3, d, e), 0);
    EXPECT_EQ(d[1], 1.0);
    e[0] = 1e-3;  // it is destroyed
    EXPECT_GT(TridiagonalEigenvalues(2, 1e-3, d, e), 0);
    EXPECT_NEAR(d[1], 0.5 + std::sqrt(0.25 + 1e-6), 1e-15);
}

TEST(TridiagonalEigenvalues, EndsWithinTheStepsForAnyBits) {
    Randoms randoms(7);
    for (int nTry = 0; nTry < 20000; ++nTry) {
        const int n = 1 + nTry % 9;
        double d[9], e[9];
        for (int i = 0; i < n; ++i) {
            d[i] = std::bit_cast<double>(randoms.Bits());
            e[i] = i + 1 < n ? std::bit_cast<double>(randoms.Bits()) : 0.0;
        }
        EXPECT_LE(TridiagonalEigenvalues(n, nTry % 2 ? 0.0 : 1e-16, d, e), n * kMostSteps);
    }
}

TEST(TridiagonalEigenvalues, TakesAnEigenvalueAsItIsAfterTheMostSteps) {
    double d[] = {0.0, std::numeric_limits<double>::quiet_NaN()}, e[] = {1.0, 0.0};
    EXPECT_LE(TridiagonalEigenvalues(2, 0.0, d, e), kMostSteps);
    double f[] = {0.0, 1.0}, g[] = {1.0, 0.0};
    EXPECT_EQ(TridiagonalEigenvalues(2, -1.0, f, g), kMostSteps);  // nothing is negligible
    EXPECT_NEAR(f[1], 0.5 + std::sqrt(1.25), 1e-14);
}

TEST(SortValues, PutsNotANumbersLast) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    double v[] = {kNaN, 2.0, kNaN, -1.0};
    SortValues(4, v);
    EXPECT_EQ(v[0], -1.0);
    EXPECT_EQ(v[1], 2.0);
    EXPECT_TRUE(std::isnan(v[2]) && std::isnan(v[3]));
}

}  // namespace
}  // namespace qsolve
