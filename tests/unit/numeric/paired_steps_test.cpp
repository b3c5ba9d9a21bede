#include "numeric/paired_steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "numeric/tridiagonal.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Eigenvalues of a matrix with this diagonal and these elements beside it.
std::vector<double> Paired(std::vector<double> d, std::vector<double> e) {
    e.resize(d.size(), 0.0);
    const int n = static_cast<int>(d.size());
    PairedEigenvalues(n, 1e-16 * TridiagonalNorm(n, d.data(), e.data()), d.data(), e.data());
    return d;
}

class PairedSteps : public testing::TestWithParam<int> {
  protected:
    int n = GetParam();
    std::size_t nSize = static_cast<std::size_t>(n);
};

TEST_P(PairedSteps, FindTheCosinesOfAChain) {
    const std::vector<double> d = Paired(std::vector<double>(nSize, 0.5),
                                         [&] { return std::vector<double>(nSize - 1, 1.0); }());
    for (int k = 0; k < n; ++k)
        EXPECT_NEAR(d[static_cast<std::size_t>(k)],
                    0.5 + 2.0 * std::cos(std::numbers::pi * (n - k) / (n + 1)), 1e-15 * (n + 1));
}

TEST_P(PairedSteps, FindTheNumbersOfAWalkBetweenTwoUrns) {
    std::vector<double> e;
    for (int i = 1; i < n; ++i) e.push_back(std::sqrt(i * static_cast<double>(n - i)));
    const std::vector<double> d = Paired(std::vector<double>(nSize, 0.0), e);
    for (int k = 0; k < n; ++k)  // 1 - n, 3 - n, ..., n - 1
        EXPECT_NEAR(d[static_cast<std::size_t>(k)], 2 * k + 1 - n, 2e-15 * n * n);
}

TEST_P(PairedSteps, FindWhatSingleStepsFind) {
    Randoms randoms(3);
    for (int nTry = 0; nTry < 50; ++nTry) {
        std::vector<double> d(nSize), e(nSize, 0.0);
        for (std::size_t i = 0; i < nSize; ++i) {
            d[i] = randoms.Number();
            // Some are as good as nothing, some next to it.
            if (i + 1 < nSize)
                e[i] = randoms.Number() * std::pow(10.0, -(nTry % 9) * static_cast<double>(i % 3));
        }
        std::vector<double> wanted = d, f = e;
        TridiagonalEigenvalues(n, 1e-16, wanted.data(), f.data());
        const std::vector<double> found = Paired(d, e);
        for (std::size_t i = 0; i < nSize; ++i) EXPECT_NEAR(found[i], wanted[i], 2e-15 * n);
    }
}

TEST_P(PairedSteps, KeepTheirDigitsAtTheLimits) {
    for (const double dScale : {2.0 * kSmallestPaired, 0.1 * kLargestPaired}) {
        std::vector<double> e;
        for (int i = 1; i < n; ++i) e.push_back(dScale * (i % 4 == 3 ? 1e-14 : 1.0));
        std::vector<double> plain = e;
        for (double& x : plain) x /= dScale;
        const std::vector<double> d = Paired(std::vector<double>(nSize, dScale), e);
        const std::vector<double> wanted = Paired(std::vector<double>(nSize, 1.0), plain);
        for (std::size_t i = 0; i < nSize; ++i)
            EXPECT_NEAR(d[i] / dScale, wanted[i], 1e-15 * (n + 1));
    }
}

TEST_P(PairedSteps, EndWithNumbersThatAreNone) {
    for (std::size_t i = 0; i < nSize; ++i) {
        std::vector<double> d(nSize, 1.0), e(nSize, 2.0);
        d[i] = std::numeric_limits<double>::quiet_NaN();
        PairedEigenvalues(n, 1e-16, d.data(), e.data());
        EXPECT_TRUE(std::isnan(d.back()));
    }
}
INSTANTIATE_TEST_SUITE_P(Orders, PairedSteps, testing::Values(1, 2, 3, 4, 5, 8, 17, 32));

TEST(PairedSteps, OfADiagonalMatrixAreItsElementsInOrder) {
    EXPECT_EQ(Paired({3.0, -1.0, 2.0, -1.0}, {}), (std::vector<double>{-1.0, -1.0, 2.0, 3.0}));
}

}  // namespace
}  // namespace qsolve
