#include "numeric/trace.h"

#include <gtest/gtest.h>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

class Traces : public testing::TestWithParam<int> {};

TEST_P(Traces, AreTheSumsOverAllElements) {
    const int n = GetParam();
    const TestMatrix a = RandomSymmetric(n, 1), b = RandomSymmetric(n, 2);
    double dAll = 0.0, dDiagonal = 0.0;
    for (int i = 0; i < n; ++i) {
        dDiagonal += a(i, i) * b(i, i);
        for (int j = 0; j < n; ++j) dAll += a(i, j) * b(i, j);
    }
    const double dRounding = 2e-16 * (n * n + 1);
    EXPECT_NEAR(TraceProduct(n, a.Data(), b.Data()), dAll, dRounding);
    for (const auto Half : {TraceProductHalf, TraceProductHalfQuickly})
        EXPECT_NEAR(Half(n, a.Data(), b.Data()), 0.5 * (dAll + dDiagonal), dRounding);
}

TEST_P(Traces, OfOneRowAreItsDotProduct) {
    const int n = GetParam();
    const TestMatrix x = RandomMatrix(1, n, 3), y = RandomMatrix(1, n, 4);
    double dSum = 0.0;
    for (int i = 0; i < n; ++i) dSum += x(0, i) * y(0, i);
    EXPECT_NEAR(Dot(n, x.Data(), y.Data()), dSum, 2e-16 * (n + 1));
}
INSTANTIATE_TEST_SUITE_P(Sizes, Traces,
                         testing::Values(0, 1, 2, 3, 4, 5, 15, 16, 17, 33, 100, 255, 256, 421));

TEST(TraceProductHalf, ReadsTheLowerTrianglesAlone) {
    TestMatrix a = RandomSymmetric(9, 5);
    const double dWanted = TraceProductHalf(9, a.Data(), a.Data());
    for (int i = 0; i < 9; ++i)
        for (int j = i + 1; j < 9; ++j) a(i, j) = 1e300;
    EXPECT_EQ(TraceProductHalf(9, a.Data(), a.Data()), dWanted);
}

}  // namespace
}  // namespace qsolve
