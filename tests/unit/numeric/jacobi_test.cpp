#include "numeric/jacobi.h"

#include <gtest/gtest.h>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

struct Solved {
    TestMatrix vectors, values;
    explicit Solved(TestMatrix a) : vectors(a.nRows, a.nRows), values(1, a.nRows) {
        for (int i = 0; i < a.nRows; ++i)
            for (int j = i + 1; j < a.nRows; ++j) a(i, j) = 1e30;  // never read
        DiagonaliseByJacobi(a.nRows, a.Data(), vectors.Data(), values.Data());
    }
};

class Jacobi : public testing::TestWithParam<int> {};

TEST_P(Jacobi, FindsOrthonormalVectorsThatAnswerTheEquation) {
    const int n = GetParam();
    const TestMatrix a = RandomSymmetric(n, 7);
    const Solved solved(a);
    const TestMatrix& v = solved.vectors;
    TestMatrix unit(n, n), scaled(n, n);
    for (int i = 0; i < n; ++i) {
        unit(i, i) = 1.0;
        for (int j = 0; j < n; ++j) scaled(i, j) = solved.values(0, i) * v(i, j);
        if (i > 0) {
            EXPECT_LE(solved.values(0, i - 1), solved.values(0, i));
        }
    }
    EXPECT_LE(LargestDifference(NaiveProduct(v, NaiveTransposed(v)), unit), 1e-14);
    EXPECT_LE(LargestDifference(NaiveProduct(v, a), scaled), 1e-14 * n);
}
INSTANTIATE_TEST_SUITE_P(Orders, Jacobi, testing::Values(1, 2, 3, 5, 12));

TEST(JacobiMethod, FindsGivenValuesEqualOnesToo) {
    const std::vector<double> values = {-2.0, 1.0, 1.0, 1.0 + 1e-12, 40.0};
    const Solved solved(WithEigenvalues(values, 3));
    for (int i = 0; i < 5; ++i)
        EXPECT_NEAR(solved.values(0, i), values[static_cast<std::size_t>(i)], 1e-13);
}

TEST(JacobiMethod, EndsOnWhatIsNoNumber) {
    TestMatrix a(3, 3, 1.0);
    a(2, 0) = std::numeric_limits<double>::quiet_NaN();
    const Solved solved(a);
    EXPECT_TRUE(std::isnan(solved.values(0, 0) + solved.values(0, 2)));
}

}  // namespace
}  // namespace qsolve
