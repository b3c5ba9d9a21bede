#include "numeric/rank_update.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

class OuterProducts : public testing::TestWithParam<int> {};

TEST_P(OuterProducts, AreThoseOfTheLowerTriangleOnly) {
    const int n = GetParam();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    for (const int nVectors : {0, 1, 2, 3, n / 2 + 1, 129}) {
        const TestMatrix c = RandomMatrix(nVectors, n, 1), w = RandomMatrix(1, nVectors, 2);
        TestMatrix p(n, n, kNaN);  // the upper triangle must neither be read nor written
        for (int i = 0; i < n; ++i)
            for (int j = 0; j <= i; ++j) p(i, j) = 0.5;
        AddOuterProducts(n, nVectors, c.Data(), w.Data(), p.Data());
        TestMatrix made(n, n, kNaN);
        MakeOuterProducts(n, nVectors, c.Data(), w.Data(), made.Data());
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                double x = 0.5;
                for (int k = 0; k < nVectors; ++k) x += w(0, k) * c(k, i) * c(k, j);
                if (j > i) {
                    ASSERT_TRUE(std::isnan(p(i, j)) && std::isnan(made(i, j)));
                } else {
                    ASSERT_NEAR(p(i, j), x, 4e-16 * (nVectors + 1)) << i << " " << j;
                    ASSERT_NEAR(made(i, j), x - 0.5, 4e-16 * (nVectors + 1)) << i << " " << j;
                }
            }
    }
}
INSTANTIATE_TEST_SUITE_P(Sizes, OuterProducts, testing::Values(0, 1, 2, 3, 7, 9, 49, 67));

TEST(MirrorLower, MakesTheMatrixSymmetricAndKeepsTheLowerTriangle) {
    for (const int n : {0, 1, 2, 3, 15, 16, 17, 33, 50, 255, 256, 421}) {
        TestMatrix a = RandomMatrix(n, n, 3), m = a;
        MirrorLower(n, m.Data());
        for (int i = 0; i < n; ++i)
            for (int j = 0; j <= i; ++j) {
                ASSERT_EQ(m(i, j), a(i, j));
                ASSERT_EQ(m(j, i), a(i, j));
            }
    }
}

}  // namespace
}  // namespace qsolve
