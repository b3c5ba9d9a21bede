#include "integrals/slater_overlap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

double Overlap(int nA, int lA, double dZetaA, int nB, int lB, double dZetaB, int m, double R,
               AuxiliaryRange range = AuxiliaryRange::kNeeded) {
    return ComputeLocalOverlap(MakeSlaterFunction(nA, lA, dZetaA),
                               MakeSlaterFunction(nB, lB, dZetaB), m, R, range);
}

/// Orbital types with the axis z: sigma, pi and delta members of s, p, d.
constexpr int kType[3][3] = {{0, -1, -1}, {3, 1, -1}, {4, 5, 7}};

/// The overlap on a common z axis from A to B, from the orbitals' values in space.
double ByQuadrature(int nA, int lA, double dZetaA, int nB, int lB, double dZetaB, int m, double R) {
    return IntegrateTwoCentres(R, dZetaA + dZetaB, 5, [&](double x, double y, double z) {
        return SlaterOrbital(nA, dZetaA, kType[lA][m], x, y, z) *
               SlaterOrbital(nB, dZetaB, kType[lB][m], x, y, z - R);
    });
}

double CommonAxisSign(int lB, int m) {
    return (lB + m) % 2 ? -1.0 : 1.0;
}

TEST(LocalOverlap, HasTheKnownValues) {
    const double a = 1.3, b = 1.7, R = 3.0;
    EXPECT_NEAR(Overlap(1, 0, a, 1, 0, b, 0, R), 0.138768, 5e-7);
    EXPECT_NEAR(Overlap(2, 1, a, 1, 0, b, 0, R), 0.327715, 5e-7);
    EXPECT_NEAR(Overlap(2, 0, a, 2, 0, b, 0, R), 0.373610, 5e-7);
    EXPECT_NEAR(-Overlap(2, 1, a, 2, 1, b, 0, R), -0.315273, 5e-7);
    EXPECT_NEAR(Overlap(2, 1, a, 2, 1, b, 1, R), 0.215778, 5e-7);
    EXPECT_NEAR(Overlap(3, 2, a, 3, 2, b, 0, R), -0.015094, 5e-7);
    EXPECT_NEAR(-Overlap(3, 2, a, 3, 2, b, 1, R), -0.308983, 5e-7);
    EXPECT_NEAR(Overlap(3, 2, a, 3, 2, b, 2, R), 0.286036, 5e-7);
}

/// All shells from 1s to 5d.
struct Shell {
    int n, l;
};
constexpr Shell kShells[] = {{1, 0}, {2, 0}, {2, 1}, {3, 0}, {3, 1}, {3, 2},
                             {4, 0}, {4, 1}, {4, 2}, {5, 0}, {5, 1}, {5, 2}};

class EveryShellPair : public testing::TestWithParam<std::tuple<Shell, Shell>> {
  protected:
    int nA = std::get<0>(GetParam()).n, lA = std::get<0>(GetParam()).l;
    int nB = std::get<1>(GetParam()).n, lB = std::get<1>(GetParam()).l;
};

TEST_P(EveryShellPair, EqualsTheIntegralOverSpace) {
    // q is 4.2: the B integrals come from the recursion, and the rounded square roots of the d
    // functions, good to 5e-7, are all that is left.
    const double dZetaA = 2.3, dZetaB = 0.9, R = 6.0;
    for (int m = 0; m <= std::min(lA, lB); ++m) {
        const double dExpected = ByQuadrature(nA, lA, dZetaA, nB, lB, dZetaB, m, R);
        EXPECT_NEAR(CommonAxisSign(lB, m) * Overlap(nA, lA, dZetaA, nB, lB, dZetaB, m, R),
                    dExpected, 1e-9 + 1.5e-6 * (lA == 2 || lB == 2) * std::abs(dExpected))
            << "m = " << m;
    }
}

TEST_P(EveryShellPair, StaysWithinTheTruncationOfItsSeries) {
    const double dZetaA = 1.45, dZetaB = 1.0, R = 4.0;  // q = 0.9, where 8 terms are worst
    for (int m = 0; m <= std::min(lA, lB); ++m)
        EXPECT_NEAR(CommonAxisSign(lB, m) *
                        Overlap(nA, lA, dZetaA, nB, lB, dZetaB, m, R, AuxiliaryRange::kFull),
                    ByQuadrature(nA, lA, dZetaA, nB, lB, dZetaB, m, R), 3e-6)
            << "m = " << m;
}

TEST_P(EveryShellPair, HasTheSlopeOfItsValue) {
    const auto a = MakeSlaterFunction(nA, lA, 1.6), b = MakeSlaterFunction(nB, lB, 1.1);
    for (double R : {0.4, 1.5, 3.3, 5.0, 17.0})
        for (int nTop : {nA + nB, 19}) {
            const auto Evaluate = [&](double r) {
                PairAuxiliaries x;
                x.dDistance = r;
                x.nTop = nTop;
                x.fSlope = true;
                return OverlapShells(a, b, x);
            };
            const double h = 1e-4;
            const auto s = Evaluate(R), up = Evaluate(R + h), down = Evaluate(R - h);
            for (int m = 0; m < 3; ++m)
                EXPECT_NEAR(s.dSlope[m], (up.dValue[m] - down.dValue[m]) / (2 * h), 3e-7)
                    << "R = " << R << ", m = " << m;
        }
}

std::string PairName(const testing::TestParamInfo<std::tuple<Shell, Shell>>& pair) {
    const auto [a, b] = pair.param;
    return std::to_string(a.n) + "spd"[a.l] + std::to_string(b.n) + "spd"[b.l];
}

INSTANTIATE_TEST_SUITE_P(Shells, EveryShellPair,
                         testing::Combine(testing::ValuesIn(kShells), testing::ValuesIn(kShells)),
                         PairName);

TEST(LocalOverlap, IsSymmetricInItsCentres) {
    for (int l = 0; l < 3; ++l)
        for (int m = 0; m <= l; ++m)
            EXPECT_NEAR(Overlap(3, l, 1.2, 4, l, 2.1, m, 4.0),
                        Overlap(4, l, 2.1, 3, l, 1.2, m, 4.0), 1e-13);
}

TEST(LocalOverlap, IsContinuousAtEqualExponents) {
    for (double dDelta : {1e-7, 1e-8, 0.0})
        EXPECT_NEAR(Overlap(2, 1, 1.5, 2, 1, 1.5 + dDelta, 0, 2.5),
                    ByQuadrature(2, 1, 1.5, 2, 1, 1.5, 0, 2.5) * -1.0, 1e-6);
}

TEST(LocalOverlap, OfLightPairsIsExactWhereTheFullRangeIsTruncated) {
    // Carbon and oxygen like exponents: q = 0.99.
    const double dZetaA = 2.275, dZetaB = 1.625, R = 3.046;
    const double dExact = -ByQuadrature(2, 1, dZetaA, 2, 1, dZetaB, 0, R);
    EXPECT_NEAR(Overlap(2, 1, dZetaA, 2, 1, dZetaB, 0, R), dExact, 1e-11);
    const double dFull = Overlap(2, 1, dZetaA, 2, 1, dZetaB, 0, R, AuxiliaryRange::kFull);
    EXPECT_GT(std::abs(dFull - dExact), 1e-8);
    EXPECT_LT(std::abs(dFull - dExact), 6e-6);
}

TEST(LocalOverlap, OfCoincidingOrbitalsTendsToOne) {
    for (int n = 1; n <= 5; ++n)
        for (int l = 0; l < std::min(n, 3); ++l)
            for (int m = 0; m <= l; ++m)
                EXPECT_NEAR(CommonAxisSign(l, m) * Overlap(n, l, 1.4, n, l, 1.4, m, 2e-3), 1.0,
                            2e-5)
                    << n << " " << l << " " << m;
}

TEST(LocalOverlap, IsFiniteForAnyDistanceAndExponent) {
    for (double R : {0.0, 1e-9, 1e-3, 1.0, 99.0, 1e4})
        for (double dZetaA : {0.0, 1e-3, 1.0, 9.0, 40.0, 1e6})
            for (double dZetaB : {-1.0, 1e-3, 1.0, 20.0})
                EXPECT_TRUE(std::isfinite(Overlap(3, 2, dZetaA, 5, 1, dZetaB, 1, R)));
}

TEST(LocalOverlap, IsZeroOnceTheMeanArgumentIs700) {
    EXPECT_GT(Overlap(1, 0, 69.9, 1, 0, 69.9, 0, 10.0), 0.0);
    EXPECT_EQ(Overlap(1, 0, 70.0, 1, 0, 70.0, 0, 10.0), 0.0);
}

TEST(SlaterFunctions, OfShellsThatDoNotExistHaveNoFactor) {
    EXPECT_EQ(MakeSlaterFunction(0, 0, 1.0).dFactor, 0.0);
    EXPECT_EQ(MakeSlaterFunction(8, 0, 1.0).dFactor, 0.0);
    EXPECT_EQ(MakeSlaterFunction(2, 2, 1.0).dFactor, 0.0);
    EXPECT_EQ(MakeSlaterFunction(2, 1, std::numeric_limits<double>::quiet_NaN()).dFactor, 0.0);
    EXPECT_NEAR(MakeSlaterFunction(7, 0, 1.0).dFactor, std::sqrt(1.0 / std::tgamma(15.0)), 1e-18);
}

}  // namespace
}  // namespace qsolve
