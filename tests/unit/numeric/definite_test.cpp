#include "numeric/definite.h"

#include <gtest/gtest.h>

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
    for (const int n : {1, 2, 3, 7, 16, 33, 90})
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

TEST(Definite, ReadsTheUpperTriangleAlone) {
    TestMatrix a(2, 2);
    a(0, 0) = 1.0, a(0, 1) = 0.5, a(1, 1) = 1.0, a(1, 0) = 1e9;
    std::vector<double> down(2);
    EXPECT_TRUE(IsPositiveDefinite(2, a.Data(), down.data()));
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
