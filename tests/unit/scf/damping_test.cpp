#include "scf/damping.h"

#include <gtest/gtest.h>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

TEST(DampDensity, LetsOrdinaryCyclesPassAndRemembersThem) {
    const int n = 5;
    TestMatrix p = RandomSymmetric(n, 1), prev = RandomSymmetric(n, 2), older(1, n);
    for (int i = 0; i < n; ++i) p(i, i) = 1.0 + 0.1 * i, prev(i, i) = 0.9;
    const TestMatrix before = p;
    EXPECT_NEAR(DampDensity(n, 1, p.Data(), prev.Data(), older.Data()), 0.5, 1e-15);
    EXPECT_EQ(p.v, before.v);
    EXPECT_EQ(prev.v, before.v);
    for (int i = 0; i < n; ++i) EXPECT_EQ(older(0, i), 0.9);
}

TEST(DampDensity, HoldsTheDiagonalFromTheFourthCycleOn) {
    for (const int nCounter : {2, 4, 5}) {
        double p[] = {1.5, 0.3, 0.3, 0.5}, prev[] = {1.0, 0.1, 0.1, 1.0}, older[] = {0.0, 0.0};
        EXPECT_EQ(DampDensity(2, nCounter, p, prev, older), 0.5);
        EXPECT_DOUBLE_EQ(p[0], nCounter > 3 ? 1.05 : 1.5);
        EXPECT_DOUBLE_EQ(p[3], nCounter > 3 ? 0.95 : 0.5);
        EXPECT_EQ(p[1], 0.3);
        EXPECT_EQ(prev[0], p[0]);
        EXPECT_EQ(older[0], 1.0);
    }
}

TEST(DampDensity, ExtrapolatesAGeometricSeriesEveryThirdCycle) {
    // The diagonal runs 0.9, 0.96, 0.984, ... towards 1 with ratio q = 0.4. First over second
    // differences are 1 / (1 / q - 1), by which the last change is thrown on: the limit itself.
    const double q = 0.4, x0 = 1.0 - 0.1, x1 = 1.0 - 0.1 * q, x2 = 1.0 - 0.1 * q * q;
    for (const int nCounter : {0, 3, 6, 7}) {
        double p[] = {x2, 0.5, 0.5, x2}, prev[] = {x1, 0.2, 0.2, x1}, older[] = {x0, x0};
        DampDensity(2, nCounter, p, prev, older);
        const bool fThrown = nCounter % 3 == 0;
        EXPECT_NEAR(p[0], fThrown ? 1.0 : x2, 1e-14) << nCounter;
        EXPECT_NEAR(p[1], fThrown ? 0.5 + 0.3 * q / (1.0 - q) : 0.5, 1e-14);
        EXPECT_EQ(p[1], prev[1]);
    }
}

TEST(DampDensity, DoesNotExtrapolateTenfold) {
    // Differences d and d + t: the factor is d / t, allowed while it is below ten.
    for (const double dFactor : {9.9, 10.1}) {
        const double d = 0.01, t = d / dFactor;
        double p[] = {1.0}, prev[] = {1.0 - d}, older[] = {1.0 - d - (d + t)};
        DampDensity(1, 3, p, prev, older);
        EXPECT_NEAR(p[0], dFactor < 10.0 ? 1.0 + d * dFactor : 1.0, 1e-12);
    }
}

TEST(DampDensity, KeepsTheDiagonalWithinZeroAndTwoAndNotTheRest) {
    double p[] = {1.99, 5.0, 5.0, 0.01}, prev[] = {1.95, 1.0, 1.0, 0.05}, older[] = {1.905, 0.095};
    DampDensity(2, 3, p, prev, older);
    EXPECT_EQ(p[0], 2.0);
    EXPECT_EQ(p[3], 0.0);
    EXPECT_GT(p[1], 5.0);
}

TEST(DampDensity, OfNoOrbitalsIsNoChange) {
    EXPECT_EQ(DampDensity(0, 3, nullptr, nullptr, nullptr), 0.0);
}

}  // namespace
}  // namespace qsolve
