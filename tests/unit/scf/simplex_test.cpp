#include "scf/simplex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

double Value(const std::vector<double>& linear, const TestMatrix& bend,
             const std::vector<double>& c) {
    double d = 0.0;
    for (int i = 0; i < 3; ++i) {
        d += linear[static_cast<std::size_t>(i)] * c[static_cast<std::size_t>(i)];
        for (int j = 0; j < 3; ++j)
            d -= 0.5 * c[static_cast<std::size_t>(i)] * c[static_cast<std::size_t>(j)] * bend(i, j);
    }
    return d;
}

/// The lowest value on a fine grid over the simplex of three points.
double LowestOnGrid(const std::vector<double>& linear, const TestMatrix& bend) {
    constexpr int kSteps = 400;
    double dLowest = 1e300;
    for (int i = 0; i <= kSteps; ++i)
        for (int j = 0; i + j <= kSteps; ++j) {
            const double x = static_cast<double>(i) / kSteps, y = static_cast<double>(j) / kSteps;
            dLowest = std::min(dLowest, Value(linear, bend, {x, y, 1.0 - x - y}));
        }
    return dLowest;
}

TEST(Simplex, LowestMixtureIsNotAboveAnyPointOfAGrid) {
    for (int nSeed = 1; nSeed <= 20; ++nSeed) {
        const TestMatrix bend = RandomSymmetric(3, nSeed), line = RandomSymmetric(3, nSeed + 100);
        const std::vector<double> linear = {line(0, 0), line(1, 0), line(2, 1)};
        std::vector<double> c(3);
        MinimiseOnSimplex(3, linear.data(), bend.Data(), c.data());
        EXPECT_NEAR(c[0] + c[1] + c[2], 1.0, 1e-12);
        for (const double x : c) EXPECT_GE(x, 0.0);
        const double dGrid = LowestOnGrid(linear, bend);
        EXPECT_LE(Value(linear, bend, c), dGrid + 1e-12) << nSeed;
        EXPECT_GE(Value(linear, bend, c), dGrid - 1e-4) << nSeed;  // the grid's step, squared
    }
}

TEST(Simplex, WithoutBendTheLowestPointIsTaken) {
    const std::vector<double> linear = {3.0, -1.0, 2.0};
    const TestMatrix none(3, 3);
    std::vector<double> c(3);
    MinimiseOnSimplex(3, linear.data(), none.Data(), c.data());
    EXPECT_EQ(c, (std::vector<double>{0.0, 1.0, 0.0}));
}

TEST(Simplex, NotANumberEndsAtTheNewestPoint) {
    const std::vector<double> linear = {NAN, NAN};
    const TestMatrix none(2, 2);
    std::vector<double> c(2);
    MinimiseOnSimplex(2, linear.data(), none.Data(), c.data());
    EXPECT_EQ(c[1], 1.0);
}

TEST(SolveLinear, UndoesAProductAndRefusesASingularMatrix) {
    const int n = 6;
    TestMatrix a = RandomSymmetric(n, 3);
    const TestMatrix x = RandomSymmetric(n, 4);
    std::vector<double> b(n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) b[static_cast<std::size_t>(i)] += a(i, j) * x(0, j);
    ASSERT_TRUE(SolveLinear(n, n, a.Data(), b.data()));
    for (int i = 0; i < n; ++i) EXPECT_NEAR(b[static_cast<std::size_t>(i)], x(0, i), 1e-10);
    TestMatrix zero(n, n);
    EXPECT_FALSE(SolveLinear(n, n, zero.Data(), b.data()));
}

}  // namespace
}  // namespace qsolve
