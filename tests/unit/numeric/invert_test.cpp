#include "numeric/invert.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

double Invert(TestMatrix& a) {
    std::vector<int> rows(a.v.size() + 1), columns(a.v.size() + 1);
    return InvertMatrix(a.nRows, a.Data(), rows.data(), columns.data());
}

/// Determinant by expansion along the first row.
double NaiveDeterminant(const TestMatrix& a) {
    const int n = a.nRows;
    if (n == 0) return 1.0;
    double dSum = 0.0;
    for (int k = 0; k < n; ++k) {
        TestMatrix minor(n - 1, n - 1);
        for (int i = 1; i < n; ++i)
            for (int j = 0, q = 0; j < n; ++j)
                if (j != k) minor(i - 1, q++) = a(i, j);
        dSum += (k % 2 == 0 ? 1.0 : -1.0) * a(0, k) * NaiveDeterminant(minor);
    }
    return dSum;
}

TEST(InvertMatrix, TimesTheMatrixIsTheUnitMatrix) {
    for (const int n : {1, 2, 3, 5, 6, 20}) {
        const TestMatrix a = RandomMatrix(n, n, 1);
        TestMatrix inverse = a, unit(n, n);
        for (int i = 0; i < n; ++i) unit(i, i) = 1.0;
        EXPECT_NE(Invert(inverse), 0.0);
        EXPECT_LE(LargestDifference(NaiveProduct(a, inverse), unit), 1e-12) << n;
    }
}

TEST(InvertMatrix, ReturnsTheDeterminantBetweenExchanges) {
    TestMatrix exchange(2, 2);
    exchange(0, 1) = exchange(1, 0) = 2.0;
    EXPECT_NEAR(std::abs(Invert(exchange)), 4.0, 1e-14);
    EXPECT_NEAR(exchange(0, 1), 0.5, 1e-15);
    for (const int n : {0, 1, 2, 3, 5, 6}) {
        const TestMatrix a = RandomMatrix(n, n, 2);
        TestMatrix inverse = a;
        // An exchange negates one of its rows, which keeps the determinant's sign.
        EXPECT_NEAR(Invert(inverse), NaiveDeterminant(a), 1e-14) << n;
    }
}

TEST(InvertMatrix, OfASingularMatrixReturnsZero) {
    TestMatrix a(3, 3, 1.0);
    EXPECT_EQ(Invert(a), 0.0);
    TestMatrix zero(2, 2);
    EXPECT_EQ(Invert(zero), 0.0);
    TestMatrix small(1, 1, 0.99e-8);
    EXPECT_EQ(Invert(small), 0.0);
    small(0, 0) = 1.01e-8;
    EXPECT_EQ(Invert(small), 1.01e-8);
}

TEST(InvertMatrix, ReturnsWithNotANumber) {
    TestMatrix a(3, 3, std::numeric_limits<double>::quiet_NaN());
    Invert(a);
    SUCCEED();
}

}  // namespace
}  // namespace qsolve
