#include "numeric/orthonormal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

#include "numeric/pool.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Products of the rows of two matrices, summed by the definition.
double OfRows(const TestMatrix& a, int i, const TestMatrix& b, int j) {
    double d = 0.0;
    for (int k = 0; k < a.nColumns; ++k) d += a(i, k) * b(j, k);
    return d;
}

TestMatrix GramOf(const TestMatrix& x) {
    TestMatrix g(x.nRows, x.nRows, std::nan(""));  // what is below the diagonal is not read
    for (int i = 0; i < x.nRows; ++i)
        for (int j = i; j < x.nRows; ++j) g(i, j) = OfRows(x, i, x, j);
    return g;
}

/// Rows that are nearly unit vectors of as many directions.
TestMatrix NearlyUnit(int nRows, int n) {
    TestMatrix x = RandomMatrix(nRows, n, 5);
    for (double& d : x.v) d *= 0.1 / std::sqrt(n);
    for (int i = 0; i < nRows; ++i) x(i, (i + 3) % n) += 1.0;
    return x;
}

bool Orthonormalise(TestMatrix gram, TestMatrix& x) {
    std::vector<double> work(static_cast<std::size_t>(x.nRows));
    return OrthonormaliseRows(x.nRows, x.nColumns, gram.Data(), work.data(), x.Data());
}

class OrthonormalRows : public testing::Test {
  protected:
    ~OrthonormalRows() override { SetThreads(0); }
};

/// Each is made of the rows up to its own: so no row holds anything of a later result.
TEST_F(OrthonormalRows, AreThoseOfGramAndSchmidt) {
    for (const int nRows : {1, 2, 31, 32, 33, 100})
        for (const int n : {nRows, 3 * nRows + 1, 700}) {
            const TestMatrix before = NearlyUnit(nRows, n);
            TestMatrix x = before;
            ASSERT_TRUE(Orthonormalise(GramOf(before), x));
            for (int i = 0; i < nRows; ++i) {
                for (int j = 0; j <= i; ++j)
                    EXPECT_NEAR(OfRows(x, i, x, j), i == j ? 1.0 : 0.0, 1e-14) << nRows << ' ' << n;
                EXPECT_GT(OfRows(before, i, x, i), 0.5);
                for (int j = i + 1; j < nRows; ++j)
                    EXPECT_NEAR(OfRows(before, i, x, j), 0.0, 1e-14) << nRows << ' ' << n;
            }
        }
}

TEST_F(OrthonormalRows, OfTwoRowsByHand) {
    TestMatrix x(2, 2);
    x(0, 0) = 3.0, x(0, 1) = 4.0, x(1, 0) = 5.0, x(1, 1) = 0.0;
    ASSERT_TRUE(Orthonormalise(GramOf(x), x));
    for (const auto& [i, j, d] : {std::tuple(0, 0, 0.6), {0, 1, 0.8}, {1, 0, 0.8}, {1, 1, -0.6}})
        EXPECT_NEAR(x(i, j), d, 1e-15);
}

TEST_F(OrthonormalRows, StayAsTheyAreWhereTheyDependOnOneAnother) {
    const TestMatrix before = NearlyUnit(40, 50);
    for (const double d : {0.0, -1.0, std::nan("")}) {
        TestMatrix gram = GramOf(before), x = before;
        gram(35, 35) = d;
        EXPECT_FALSE(Orthonormalise(gram, x));
        EXPECT_EQ(x.v, before.v);
    }
}

TEST_F(OrthonormalRows, DoNotDependOnTheNumberOfThreads) {
    const TestMatrix before = NearlyUnit(90, 1000), gram = GramOf(before);
    TestMatrix alone = before, together = before;
    SetThreads(1);
    ASSERT_TRUE(Orthonormalise(gram, alone));
    SetThreads(3);
    ASSERT_TRUE(Orthonormalise(gram, together));
    EXPECT_EQ(alone.v, together.v);
}

}  // namespace
}  // namespace qsolve
