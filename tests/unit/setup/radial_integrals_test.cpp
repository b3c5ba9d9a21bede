#include "setup/radial_integrals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace qsolve {
namespace {

double Radial(const SlaterShell& shell, double r) {
    double dNorm = std::pow(2 * shell.dZeta, shell.n) * std::sqrt(2 * shell.dZeta);
    dNorm /= std::sqrt(std::tgamma(2 * shell.n + 1));
    return dNorm * std::pow(r, shell.n - 1) * std::exp(-shell.dZeta * r);
}

double Simpson(double dFrom, double dTo, int nIntervals, const std::function<double(double)>& f) {
    const double dStep = (dTo - dFrom) / nIntervals;
    double dSum = f(dFrom) + f(dTo);
    for (int i = 1; i < nIntervals; ++i) dSum += (i % 2 ? 4 : 2) * f(dFrom + i * dStep);
    return dSum * dStep / 3;
}

/// The definition as a double integral, each part of the inner one on its own grid.
double ByQuadrature(int k, const SlaterShell& a, const SlaterShell& b, const SlaterShell& c,
                    const SlaterShell& d) {
    const double dFar = 60.0 / std::min(a.dZeta + c.dZeta, b.dZeta + d.dZeta);
    const auto rho1 = [&](double r) { return Radial(a, r) * Radial(c, r) * r * r; };
    const auto rho2 = [&](double r) { return Radial(b, r) * Radial(d, r) * r * r; };
    return Simpson(1e-9, dFar, 600, [&](double r1) {
        const double dInside =
            Simpson(0, r1, 200, [&](double r2) { return rho2(r2) * std::pow(r2, k); });
        const double dOutside =
            Simpson(r1, dFar, 400, [&](double r2) { return rho2(r2) * std::pow(r2, -k - 1); });
        return rho1(r1) * (dInside * std::pow(r1, -k - 1) + dOutside * std::pow(r1, k));
    });
}

TEST(RadialIntegrals, HaveTheKnownValuesOfTheLowestShells) {
    EXPECT_NEAR(UnitRadialIntegral(0, 1), 5.0 / 8.0, 1e-15);     // (1s1s|1s1s)
    EXPECT_NEAR(UnitRadialIntegral(0, 2), 93.0 / 256.0, 1e-15);  // (2s2s|2s2s)
    EXPECT_NEAR(UnitRadialIntegral(2, 2), 45.0 / 256.0, 1e-15);  // F2 of 2p
}

TEST(RadialIntegrals, EqualTheDoubleIntegral) {
    const SlaterShell s{3, 1.74}, p{3, 1.12}, d{3, 1.05}, inner{3, 2.4}, outer{4, 1.6};
    const struct {
        int k;
        SlaterShell a, b, c, d;
    } cases[] = {
        {0, s, s, s, s},
        {0, p, d, p, d},
        {2, p, d, p, d},
        {1, p, p, d, d},
        {3, p, p, d, d},
        {1, s, p, p, d},
        {2, s, p, d, p},
        {2, s, d, d, d},
        {4, d, d, d, d},
        {0, outer, inner, outer, inner},
        {1, outer, outer, inner, inner},
        {6, {7, 3.1}, {7, 2.7}, {7, 3.1}, {7, 2.7}},
        {1, {1, 1.2}, {2, 0.9}, {2, 0.7}, {3, 2}},
    };
    for (const auto& [k, a, b, c, e] : cases) {
        const double dExact = ByQuadrature(k, a, b, c, e);
        EXPECT_NEAR(RadialIntegral(k, a, b, c, e), dExact, 2e-6 * dExact) << k << " " << a.n;
    }
}

TEST(RadialIntegrals, AreProportionalToTheExponents) {
    const SlaterShell a{3, 1.7}, b{3, 1.1};
    const SlaterShell a2{3, 3.4}, b2{3, 2.2};
    for (int k = 0; k <= 4; ++k) {
        const double dOne = RadialIntegral(k, a, b, a, b);
        EXPECT_NEAR(RadialIntegral(k, a2, b2, a2, b2), 2 * dOne, 1e-13 * dOne);
        const SlaterShell shell{3, 0.37};
        const double dUnit = UnitRadialIntegral(k, 3);
        EXPECT_NEAR(RadialIntegral(k, shell, shell, shell, shell), 0.37 * dUnit, 1e-14);
    }
}

TEST(RadialIntegrals, AreSymmetricInTheElectronsAndInTheFunctionsOfEach) {
    const SlaterShell a{2, 1.7}, b{3, 1.1}, c{4, 0.9}, d{3, 2.3};
    const double dReference = RadialIntegral(1, a, b, c, d);
    EXPECT_NEAR(RadialIntegral(1, b, a, d, c), dReference, 1e-14);
    EXPECT_NEAR(RadialIntegral(1, c, b, a, d), dReference, 1e-14);
    EXPECT_NEAR(RadialIntegral(1, a, d, c, b), dReference, 1e-14);
}

TEST(RadialIntegrals, AreZeroWhereTheyDoNotExist) {
    const SlaterShell one{1, 1.0};
    for (const double dZeta : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        const SlaterShell bad{3, dZeta};
        EXPECT_EQ(RadialIntegral(0, bad, one, one, one), 0.0);
        EXPECT_EQ(RadialIntegral(0, one, bad, one, one), 0.0);
        EXPECT_EQ(RadialIntegral(0, one, one, bad, one), 0.0);
        EXPECT_EQ(RadialIntegral(0, one, one, one, bad), 0.0);
        EXPECT_EQ(ChargeSeparation(3, 3, 1, dZeta, 1.0), 0.0);
    }
    EXPECT_EQ(UnitRadialIntegral(2, 1), 0.0);
    EXPECT_EQ(UnitRadialIntegral(0, 0), 0.0);
    EXPECT_EQ(UnitRadialIntegral(0, 8), 0.0);
    EXPECT_EQ(UnitRadialIntegral(7, 7), 0.0);
    EXPECT_EQ(UnitRadialIntegral(-1, 3), 0.0);
    EXPECT_EQ(ChargeSeparation(0, 3, 1, 1.0, 1.0), 0.0);
    EXPECT_EQ(ChargeSeparation(3, 0, 1, 1.0, 1.0), 0.0);
    EXPECT_EQ(ChargeSeparation(3, 8, 1, 1.0, 1.0), 0.0);
    EXPECT_EQ(ChargeSeparation(3, 3, 7, 1.0, 1.0), 0.0);
}

TEST(ChargeSeparations, AreRadialMoments) {
    EXPECT_NEAR(ChargeSeparation(5, 5, 0, 2.1, 2.1), 1.0, 1e-14);
    EXPECT_NEAR(ChargeSeparation(3, 3, 1, 1.3, 1.3), 7.0 / 2.6, 1e-14);  // <r> = (2n + 1)/(2 zeta)
    const SlaterShell a{4, 2.2}, b{3, 1.4};
    for (int l = 0; l <= 2; ++l) {
        const double dExact = Simpson(0, 45, 20000, [&](double r) {
            return Radial(a, r) * Radial(b, r) * std::pow(r, l + 2);
        });
        EXPECT_NEAR(ChargeSeparation(4, 3, l, 2.2, 1.4), dExact, 1e-10) << l;
    }
}

}  // namespace
}  // namespace qsolve
