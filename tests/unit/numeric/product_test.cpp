#include "numeric/product.h"

#include <gtest/gtest.h>

#include <tuple>

#include "numeric/pool.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Rounding of a sum of n products of numbers up to 1.
double Rounding(int n) {
    return 4e-16 * (n + 1);
}

bool IsInside(Triangle triangle, int i, int j) {
    return triangle == Triangle::kWhole || (triangle == Triangle::kLower ? j <= i : j >= i);
}

class Products : public testing::TestWithParam<std::tuple<int, int, int>> {
  protected:
    int nRows = std::get<0>(GetParam());
    int nInner = std::get<1>(GetParam());
    int nColumns = std::get<2>(GetParam());
    TestMatrix a = RandomMatrix(nRows, nInner, 1), b = RandomMatrix(nInner, nColumns, 2);
    TestMatrix c = TestMatrix(nRows, nColumns, 7.0);
};

TEST_P(Products, OfTwoMatricesIsTheDefinition) {
    Multiply(nRows, nInner, nColumns, a.Data(), b.Data(), c.Data());
    EXPECT_LE(LargestDifference(c, NaiveProduct(a, b)), Rounding(nInner));
}

TEST_P(Products, ByATransposedMatrixIsTheDefinition) {
    const TestMatrix bt = NaiveTransposed(b);
    MultiplyByTransposed(nRows, nInner, nColumns, a.Data(), bt.Data(), c.Data());
    EXPECT_LE(LargestDifference(c, NaiveProduct(a, b)), Rounding(nInner));
}

TEST_P(Products, OfATransposedMatrixIsTheDefinition) {
    const TestMatrix at = NaiveTransposed(a);
    MultiplyTransposed(nRows, nInner, nColumns, at.Data(), b.Data(), c.Data());
    EXPECT_LE(LargestDifference(c, NaiveProduct(a, b)), Rounding(nInner));
}

TEST_P(Products, AddToATriangleAndLeaveTheRest) {
    for (const Triangle triangle : {Triangle::kLower, Triangle::kUpper}) {
        TestMatrix sum(nRows, nColumns, 7.0);
        Product product{
            nRows,      nInner,   nColumns, Plain(a.Data(), nInner), Plain(b.Data(), nColumns),
            sum.Data(), nColumns, -2.0};
        product.triangle = triangle;
        AddProduct(product);
        const TestMatrix wanted = NaiveProduct(a, b);
        for (int i = 0; i < nRows; ++i)
            for (int j = 0; j < nColumns; ++j) {
                const bool fInside = IsInside(triangle, i, j);
                const double x = fInside ? 7.0 - 2.0 * wanted(i, j) : 7.0;
                ASSERT_NEAR(sum(i, j), x, fInside ? 4 * Rounding(nInner) : 0.0) << i << " " << j;
            }
    }
}

TEST_P(Products, AreMadeInPlaceOfWhatATriangleHeld) {
    for (const Triangle triangle : {Triangle::kWhole, Triangle::kLower, Triangle::kUpper}) {
        Product product{
            nRows,    nInner,  nColumns, Plain(a.Data(), nInner), Plain(b.Data(), nColumns),
            c.Data(), nColumns};
        product.triangle = triangle;
        std::fill(c.v.begin(), c.v.end(), 7.0);
        MakeProduct(product);
        const TestMatrix wanted = NaiveProduct(a, b);
        for (int i = 0; i < nRows; ++i)
            for (int j = 0; j < nColumns; ++j) {
                const bool fInside = IsInside(triangle, i, j);
                ASSERT_NEAR(c(i, j), fInside ? wanted(i, j) : 7.0,
                            fInside ? Rounding(nInner) : 0.0);
            }
    }
}

TEST_P(Products, WeighTheTermsOfTheSum) {
    TestMatrix w = RandomMatrix(1, nInner, 3), weighted = b, sum(nRows, nColumns);
    for (int k = 0; k < nInner; ++k)
        for (int j = 0; j < nColumns; ++j) weighted(k, j) *= -1.5 * w(0, k);
    Product product{
        nRows,      nInner,   nColumns, Plain(a.Data(), nInner), Plain(b.Data(), nColumns),
        sum.Data(), nColumns, -1.5};
    product.vWeights = w.Data();
    AddProduct(product);
    EXPECT_LE(LargestDifference(sum, NaiveProduct(a, weighted)), Rounding(nInner));
}

// Sides of a tile are 6 and 8, of a block 48, 128 and 192.
INSTANTIATE_TEST_SUITE_P(Shapes, Products,
                         testing::Values(std::tuple{0, 0, 0}, std::tuple{0, 3, 2},
                                         std::tuple{2, 0, 3}, std::tuple{1, 1, 1},
                                         std::tuple{2, 2, 2}, std::tuple{3, 3, 3},
                                         std::tuple{6, 1, 8}, std::tuple{7, 5, 9},
                                         std::tuple{49, 129, 193}, std::tuple{48, 128, 192},
                                         std::tuple{101, 13, 7}, std::tuple{5, 300, 11}));

TEST(Product, GivesTheSameBitsAtAnyAddress) {
    const int n = 37;
    TestMatrix a = RandomMatrix(n, n, 4), b = RandomMatrix(n, n, 5), c(n, n), d(n + 1, n);
    Multiply(n, n, n, a.Data(), b.Data(), c.Data());
    TestMatrix shifted(n + 1, n);
    std::copy(a.v.begin(), a.v.end(), shifted.v.begin() + 1);
    Multiply(n, n, n, shifted.Data() + 1, b.Data(), d.Data() + 1);
    for (std::size_t i = 0; i < c.v.size(); ++i) ASSERT_EQ(c.v[i], d.v[i + 1]);
}

class SharedProduct : public testing::TestWithParam<std::tuple<int, int, int>> {
  protected:
    ~SharedProduct() override { SetThreads(0); }
};

/// Of an order that several threads share, by rows or by columns: all of it, and the same bits.
TEST_P(SharedProduct, DoesNotDependOnTheNumberOfThreads) {
    const auto [nRows, nInner, nColumns] = GetParam();
    const TestMatrix a = RandomMatrix(nRows, nInner, 1), b = RandomMatrix(nInner, nColumns, 2),
                     wanted = NaiveProduct(a, b);
    for (const Triangle triangle : {Triangle::kWhole, Triangle::kLower, Triangle::kUpper}) {
        TestMatrix alone(0, 0);
        for (const int nThreads : {1, 2, 3, 8}) {
            SetThreads(nThreads);
            TestMatrix sum(nRows, nColumns);
            Product product{
                nRows,      nInner,  nColumns, Plain(a.Data(), nInner), Plain(b.Data(), nColumns),
                sum.Data(), nColumns};
            product.triangle = triangle;
            AddProduct(product);
            if (nThreads == 1) alone = sum;
            ASSERT_EQ(sum.v, alone.v) << nThreads;
            TestMatrix made(nRows, nColumns, 7.0);
            product.pC = made.Data();
            MakeProduct(product);
            for (int i = 0; i < nRows; ++i)
                for (int j = 0; j < nColumns; ++j)
                    ASSERT_EQ(made(i, j), IsInside(triangle, i, j) ? alone(i, j) : 7.0);
        }
        for (int i = 0; i < nRows; ++i)
            for (int j = 0; j < nColumns; ++j)
                ASSERT_NEAR(alone(i, j), IsInside(triangle, i, j) ? wanted(i, j) : 0.0,
                            Rounding(nInner));
    }
}

INSTANTIATE_TEST_SUITE_P(Shapes, SharedProduct,
                         testing::Values(std::tuple{170, 130, 500}, std::tuple{900, 130, 60},
                                         std::tuple{301, 120, 301}, std::tuple{301, 120, 250},
                                         std::tuple{30, 250, 700}, std::tuple{250, 120, 301}));

TEST(Product, WorksOnAPartOfAMatrix) {
    TestMatrix a = RandomMatrix(9, 20, 6), b = RandomMatrix(20, 30, 7), c(40, 40);
    AddProduct({9, 20, 30, Plain(a.Data(), 20), Plain(b.Data(), 30), &c(11, 5), 40});
    const TestMatrix wanted = NaiveProduct(a, b);
    for (int i = 0; i < 40; ++i)
        for (int j = 0; j < 40; ++j) {
            const bool fInside = i >= 11 && i < 20 && j >= 5 && j < 35;
            ASSERT_NEAR(c(i, j), fInside ? wanted(i - 11, j - 5) : 0.0, fInside ? 1e-14 : 0.0);
        }
}

TEST(Product, OfSymmetricMatricesLessItsTransposeIsTheirCommutator) {
    for (const int n : {0, 1, 2, 17, 50}) {
        const TestMatrix a = RandomSymmetric(n, 8), b = RandomSymmetric(n, 9);
        TestMatrix work(n, n), c(n, n, 5.0), wanted = NaiveProduct(a, b);
        const TestMatrix other = NaiveProduct(b, a);
        for (std::size_t i = 0; i < wanted.v.size(); ++i) wanted.v[i] -= other.v[i];
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j) wanted(i, j) = 5.0;  // left as it was
        Multiply(n, n, n, a.Data(), b.Data(), work.Data());
        SubtractTransposed(n, work.Data(), c.Data());
        EXPECT_LE(LargestDifference(c, wanted), 2 * Rounding(n)) << n;
    }
}

}  // namespace
}  // namespace qsolve
