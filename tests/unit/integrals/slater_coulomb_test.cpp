#include "integrals/slater_coulomb.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <tuple>

#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

double Density(const SlaterCloud& c, double r) {
    const double dOrbital = SlaterOrbital(c.nPrincipal, c.dZeta, 0, 0.0, 0.0, r);
    return dOrbital * dOrbital;
}

/// The potential of a spherical cloud, shell by shell.
double PotentialByShells(const SlaterCloud& c, double r) {
    static const Rule unit = GaussLegendre(30, 0.0, 1.0), decay = DecayingRule(0.0, 1.0);
    const double dSphere = 4.0 * 3.141592653589793;
    double dSum = 0.0;
    for (std::size_t i = 0; i < unit.Node.size(); ++i) {
        const double s = r * unit.Node[i];
        dSum += unit.Weight[i] * dSphere * s * s * Density(c, s);
    }
    for (std::size_t i = 0; i < decay.Node.size(); ++i) {
        const double s = r + decay.Node[i] / (2.0 * c.dZeta);
        dSum += decay.Weight[i] / (2.0 * c.dZeta) * dSphere * s * Density(c, s);
    }
    return dSum;
}

using Pair = std::tuple<int, int>;
class EveryCloudPair : public testing::TestWithParam<Pair> {
  protected:
    int nA = std::get<0>(GetParam()), nB = std::get<1>(GetParam());
};

TEST_P(EveryCloudPair, EqualsTheIntegralOverSpace) {
    const SlaterCloud a{nA, 2.2}, b{nB, 1.2};
    const double R = 3.5;  // b = 3.5: exact auxiliary integrals
    const double dExpected =
        IntegrateTwoCentres(R, 2.0 * b.dZeta, 1, [&](double x, double y, double z) {
            return Density(b, std::sqrt(x * x + y * y + (z - R) * (z - R))) *
                   PotentialByShells(a, std::sqrt(x * x + y * y + z * z));
        });
    EXPECT_NEAR(EvaluateSlaterCoulomb(a, b, R), dExpected, 2e-8);
}

TEST_P(EveryCloudPair, IsSymmetric) {
    const SlaterCloud a{nA, 1.9}, b{nB, 1.1};
    for (double R : {0.01, 1.0, 6.0, 60.0})
        EXPECT_EQ(EvaluateSlaterCoulomb(a, b, R), EvaluateSlaterCoulomb(b, a, R));
}

TEST_P(EveryCloudPair, TendsToTheOneCentreValue) {
    const SlaterCloud a{nA, 1.9}, b{nB, 1.1};
    const double dLimit = OneCentreCoulomb(a, b);
    EXPECT_NEAR(OneCentreCoulomb(b, a), dLimit, 1e-9);
    for (double R : {0.0, 1e-9, 1e-7, 1e-5, 1e-3})
        EXPECT_NEAR(EvaluateSlaterCoulomb(a, b, R), dLimit, 1e-6) << R;
}

TEST_P(EveryCloudPair, TendsToPointChargesFromBelow) {
    const SlaterCloud a{nA, 1.9}, b{nB, 1.1};
    for (double R : {2.0, 5.0, 8.0}) EXPECT_LT(EvaluateSlaterCoulomb(a, b, R), 1.0 / R);
    for (double R : {60.0, 300.0, 2000.0}) {
        EXPECT_NEAR(EvaluateSlaterCoulomb(a, b, R) * R, 1.0, 1e-12);
        EXPECT_NEAR(EvaluateSlaterCoulombSlope(a, b, R).dSlope * R * R, -1.0, 1e-12);
    }
}

TEST_P(EveryCloudPair, HasTheSlopeOfItsValue) {
    const double h = 1e-4;
    for (double dZetaA : {1.0, 1.4, 2.6})
        for (double R : {0.3, 1.7, 3.1, 7.0}) {
            const SlaterCloud a{nA, dZetaA}, b{nB, 1.3};
            const RadialValue g = EvaluateSlaterCoulombSlope(a, b, R);
            EXPECT_EQ(g.dValue, EvaluateSlaterCoulomb(a, b, R));
            EXPECT_NEAR(
                g.dSlope,
                (EvaluateSlaterCoulomb(a, b, R + h) - EvaluateSlaterCoulomb(a, b, R - h)) / (2 * h),
                1e-8)
                << dZetaA << " " << R;
        }
}

INSTANTIATE_TEST_SUITE_P(Clouds, EveryCloudPair,
                         testing::Combine(testing::Range(1, 6), testing::Range(1, 6)));

TEST(SlaterCoulomb, HasTheKnownValues) {
    EXPECT_NEAR(EvaluateSlaterCoulomb({1, 1.2}, {1, 0.8}, 3.0), 0.316029, 5e-7);
    EXPECT_NEAR(EvaluateSlaterCoulomb({1, 1.0}, {1, 1.5}, 2.0), 0.452432, 5e-7);
    EXPECT_NEAR(EvaluateSlaterCoulomb({3, 1.1}, {2, 1.4}, 2.5), 0.291134, 5e-7);
    const RadialValue g = EvaluateSlaterCoulombSlope({1, 1.3}, {4, 1.7}, 3.0);
    EXPECT_NEAR(g.dValue, 0.304071, 5e-7);
    EXPECT_NEAR(g.dSlope, -0.063774, 5e-7);
}

TEST(SlaterCoulomb, OfEqual1sCloudsIsTheTextbookFormula) {
    // Roothaan: 1/R - exp(-2r) (1/R + 11/8 z + 3/4 z r + r^2 z / 6), r = z R.
    const double z = 1.2, R = 1.4, r = z * R;
    EXPECT_NEAR(EvaluateSlaterCoulomb({1, z}, {1, z}, R),
                1.0 / R - std::exp(-2 * r) * z * (1 / r + 11.0 / 8 + 0.75 * r + r * r / 6), 1e-12);
}

TEST(SlaterCoulomb, IsContinuousAtEqualExponents) {
    const double dEqual = EvaluateSlaterCoulomb({2, 1.3}, {3, 1.3}, 2.0);
    for (double dDelta : {1e-9, 1e-7, 1e-6})
        EXPECT_NEAR(EvaluateSlaterCoulomb({2, 1.3}, {3, 1.3 + dDelta}, 2.0), dEqual, 1e-6);
}

TEST(SlaterCoulomb, OfOneCentre1sPairsIsFiveEighthsOfTheExponent) {
    for (double z : {0.7, 1.0, 3.3})
        EXPECT_NEAR(OneCentreCoulomb({1, z}, {1, z}), 0.625 * z, 1e-14);
}

/// The one-centre value of clouds with exponent 1, with a factorial of one's own.
double OneCentreWith(int nA, int nB, const std::function<long double(int)>& Factorial) {
    long double W = 0.0L;
    for (int i = 1; i <= 2 * nB; ++i)
        W += i * std::pow(2.0L, 2 * nB - i) * Factorial(2 * nA + 2 * nB - i - 1) /
             (std::pow(4.0L, 2 * nA + 2 * nB - i) * Factorial(2 * nB - i));
    return static_cast<double>(std::pow(2.0L, 2 * nA + 1) *
                               (Factorial(2 * nA - 1) / std::pow(2.0L, 2 * nA) - W / (2 * nB)) /
                               Factorial(2 * nA));
}

TEST(SlaterCoulomb, OfTheHeaviestPairsUsesFactorialsOfTenDigits) {
    const auto Exact = [](int k) { return std::tgamma(k + 1.0L); };
    const auto Rounded = [&](int k) {
        return k == 16   ? 20922789890000.0L
               : k == 17 ? 355687428100000.0L
               : k == 18 ? 6402373706000000.0L
                         : Exact(k);
    };
    for (int nA : {4, 5}) {
        const double dValue = OneCentreCoulomb({nA, 1.0}, {5, 1.0});
        EXPECT_NEAR(dValue, OneCentreWith(nA, 5, Rounded), 2e-15);
        EXPECT_GT(std::abs(dValue - OneCentreWith(nA, 5, Exact)), 5e-14);
        EXPECT_NEAR(dValue, OneCentreWith(nA, 5, Exact), 1e-10);
    }
    EXPECT_NEAR(OneCentreCoulomb({4, 1.0}, {4, 1.0}), OneCentreWith(4, 4, Exact), 2e-15);
}

TEST(SlaterCoulomb, SlopeIsThatOfItsValue) {
    const SlaterCloud a{2, 1.6}, b{1, 1.2};
    const double r = 2.33, h = 1e-5;
    const RadialValue found = EvaluateSlaterCoulombSlope(a, b, r);
    EXPECT_EQ(found.dValue, EvaluateSlaterCoulomb(a, b, r));
    EXPECT_NEAR(found.dSlope,
                (EvaluateSlaterCoulomb(a, b, r + h) - EvaluateSlaterCoulomb(a, b, r - h)) / (2 * h),
                1e-8);
    EXPECT_EQ(EvaluateSlaterCoulombSlope(a, b, 0.0).dSlope, 0.0);
}

TEST(SlaterCoulomb, OfCloudsOutsideTheAllowedRangeIsZero) {
    const double dNan = std::numeric_limits<double>::quiet_NaN();
    for (const SlaterCloud& c : {SlaterCloud{0, 1.0}, SlaterCloud{6, 1.0}, SlaterCloud{2, 0.0},
                                 SlaterCloud{2, -1.0}, SlaterCloud{2, dNan}}) {
        EXPECT_EQ(EvaluateSlaterCoulomb(c, {1, 1.0}, 2.0), 0.0);
        EXPECT_EQ(OneCentreCoulomb({1, 1.0}, c), 0.0);
    }
}

TEST(SlaterCoulomb, IsFiniteForAnyDistanceAndExponent) {
    for (double R : {0.0, 1e-9, 1e-4, 1.0, 30.0, 99.99, 1e5})
        for (double dZeta : {1e-4, 0.3, 8.0, 40.0, 1e4}) {
            const RadialValue g = EvaluateSlaterCoulombSlope({1, dZeta}, {5, 1.1}, R);
            EXPECT_TRUE(std::isfinite(g.dValue) && std::isfinite(g.dSlope)) << R << " " << dZeta;
        }
}

}  // namespace
}  // namespace qsolve
