#include "numeric/definite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// v A v.
double Along(const TestMatrix& a, const std::vector<double>& v) {
    double d = 0.0;
    for (int i = 0; i < a.nRows; ++i)
        for (int j = 0; j < a.nColumns; ++j)
            d += v[static_cast<std::size_t>(i)] * a(i, j) * v[static_cast<std::size_t>(j)];
    return d;
}

/// Eigenvalues 1, 2, ... n but for one of them.
TestMatrix WithOne(int n, int k, double d) {
    std::vector<double> values;
    for (int i = 0; i < n; ++i) values.push_back(i == k ? d : 1.0 + i);
    return WithEigenvalues(values, static_cast<std::uint64_t>(n));
}

TEST(Definite, TellsOneEigenvalueBelowZeroFromOneAbove) {
    for (const int n : {1, 2, 3, 7, 8, 9, 16, 33, 90, 131})
        for (const int k : {0, n / 2, n - 1})
            for (const double d : {1e-10, -1e-10, -3.0}) {
                const TestMatrix whole = WithOne(n, k, d);
                TestMatrix a = whole;
                std::vector<double> down(static_cast<std::size_t>(n), 7.0);
                ASSERT_EQ(IsPositiveDefinite(n, a.Data(), down.data()), d > 0.0) << n << ' ' << d;
                if (d > 0.0) continue;
                double dSquare = 0.0;
                for (const double x : down) dSquare += x * x;
                EXPECT_GE(dSquare, 1.0);
                // Rounding of a sum of squares of at most n, times the largest eigenvalue.
                EXPECT_LT(Along(whole, down), n > 30 ? 1e-11 * n * dSquare : 0.0) << n << ' ' << k;
            }
}

TEST(Definite, VectorDownGivesThePivotThatFailed) {
    TestMatrix a(3, 3);
    a(0, 0) = 4.0, a(0, 1) = 2.0, a(0, 2) = 1.0, a(1, 1) = 1.0, a(1, 2) = 9.0, a(2, 2) = 5.0;
    std::vector<double> down(3, 7.0);
    TestMatrix work = a;
    // 1 - 2 * 2 / 4 = 0 is no positive pivot.
    EXPECT_FALSE(IsPositiveDefinite(3, work.Data(), down.data()));
    EXPECT_EQ(down, (std::vector<double>{-0.5, 1.0, 0.0}));
}

/// U^T D U with ones and small numbers in U, and D = 1 but for one pivot.
TestMatrix WithPivot(int n, int k, double dPivot) {
    const TestMatrix u = RandomMatrix(n, n, 5);
    const auto U = [&](int p, int i) { return p == i ? 1.0 : p < i ? u(p, i) / n : 0.0; };
    TestMatrix a(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            for (int p = 0; p <= std::min(i, j); ++p)
                a(i, j) += U(p, i) * (p == k ? dPivot : 1.0) * U(p, j);
    return a;
}

TEST(Definite, StopsAtThePivotThatIsNegative) {
    for (const int n : {8, 9, 20, 140})
        for (const int k : {0, 3, 7, n / 2, n - 2, n - 1}) {
            const TestMatrix whole = WithPivot(n, k, -0.5);
            TestMatrix a = whole;
            std::vector<double> down(static_cast<std::size_t>(n), 7.0);
            ASSERT_FALSE(IsPositiveDefinite(n, a.Data(), down.data())) << n << ' ' << k;
            EXPECT_EQ(down[static_cast<std::size_t>(k)], 1.0);
            for (int i = k + 1; i < n; ++i) EXPECT_EQ(down[static_cast<std::size_t>(i)], 0.0);
            EXPECT_NEAR(Along(whole, down), -0.5, 1e-12) << n << ' ' << k;
        }
}

TEST(Definite, ReadsTheUpperTriangleAlone) {
    for (const int n : {2, 8, 30, 140}) {
        TestMatrix a = WithOne(n, 0, 1.0);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < i; ++j) a(i, j) = std::nan("");
        std::vector<double> down(static_cast<std::size_t>(n));
        EXPECT_TRUE(IsPositiveDefinite(n, a.Data(), down.data()));
    }
}

TEST(Definite, IsNothingThatIsNoNumber) {
    TestMatrix a = WithOne(5, 0, 1.0);
    a(2, 3) = std::nan("");
    std::vector<double> down(5);
    EXPECT_FALSE(IsPositiveDefinite(5, a.Data(), down.data()));
    EXPECT_TRUE(IsPositiveDefinite(0, nullptr, nullptr));
}

}  // namespace
}  // namespace qsolve
