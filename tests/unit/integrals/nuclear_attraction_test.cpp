#include "integrals/nuclear_attraction.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "integrals/orbital_moments.h"
#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

double Potential(double r, int nA, int lA, int mA, double dZetaA, int nB, int lB, int mB,
                 double dZetaB) {
    double d = std::numeric_limits<double>::quiet_NaN();
    PotentialIntegral(r, nA, lA, mA, dZetaA, nB, lB, mB, dZetaB, d);
    return d;
}

/// (l, m) of the orbitals 0 to 8.
constexpr int kAngular[9] = {0, 1, 1, 1, 2, 2, 2, 2, 2};
constexpr int kMagnetic[9] = {0, 1, -1, 0, 0, 1, -1, 2, -2};

double Potential(double r, int nA, int nTypeA, double dZetaA, int nB, int nTypeB, double dZetaB) {
    return Potential(r, nA, kAngular[nTypeA], kMagnetic[nTypeA], dZetaA, nB, kAngular[nTypeB],
                     kMagnetic[nTypeB], dZetaB);
}

double ByQuadrature(double R, int nA, int nTypeA, double dZetaA, int nB, int nTypeB,
                    double dZetaB) {
    const double vR[3] = {0.0, 0.0, R};
    return IntegrateOverDistance(vR, dZetaA + dZetaB, 5, [&](double x, double y, double z) {
        return SlaterOrbital(nA, dZetaA, nTypeA, x, y, z) *
               SlaterOrbital(nB, dZetaB, nTypeB, x, y, z);
    });
}

class EveryPrincipalPair : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    int nA = std::get<0>(GetParam()), nB = std::get<1>(GetParam());

    /// Orbitals that a principal quantum number has.
    static int Types(int n) { return n == 1 ? 1 : n == 2 ? 4 : 9; }
};

TEST_P(EveryPrincipalPair, AttractsAsTheOrbitalsInSpace) {
    if (nA > nB) return;
    const double dZetaA = 0.7 + 0.3 * nA, dZetaB = 2.1;
    for (double R : {0.02, 0.9, 3.1, 11.0})
        for (int i = 0; i < Types(nA); ++i)
            for (int j = 0; j < Types(nB); ++j)
                EXPECT_NEAR(Potential(R, nA, i, dZetaA, nB, j, dZetaB),
                            ByQuadrature(R, nA, i, dZetaA, nB, j, dZetaB), 1e-11)
                    << "orbitals " << i << ", " << j << " at " << R;
}

TEST_P(EveryPrincipalPair, IsSymmetricAndContinuousInTheDistance) {
    for (double r = 0.05; r < 40.0; r *= 1.31)
        for (int i = 0; i < Types(nA); ++i)
            for (int j = 0; j < Types(nB); ++j) {
                const double d = Potential(r, nA, i, 1.1, nB, j, 0.6);
                ASSERT_EQ(d, Potential(r, nB, j, 0.6, nA, i, 1.1));
                EXPECT_NEAR(d, Potential(r * (1 + 1e-12), nA, i, 1.1, nB, j, 0.6),
                            1e-11 * std::abs(d) + 1e-15)
                    << i << " " << j << " at " << r;
            }
}

TEST_P(EveryPrincipalPair, AtTheCentreIsTheMeanInverseRadius) {
    // The mean of 1/r of two s orbitals: N_a N_b (n_a + n_b - 1)! / zeta^(n_a + n_b).
    const double a = 1.3, b = 0.9;
    const double dNorms = std::pow(2 * a, nA + 0.5) * std::pow(2 * b, nB + 0.5) /
                          std::sqrt(std::tgamma(2.0 * nA + 1) * std::tgamma(2.0 * nB + 1));
    const double dMean = dNorms * std::tgamma(1.0 * nA + nB) / std::pow(a + b, nA + nB);
    EXPECT_NEAR(Potential(1e-8, nA, 0, a, nB, 0, b), dMean, 1e-14 + 1e-14 * dMean);
    EXPECT_NEAR(Potential(0.0, nA, 0, a, nB, 0, b), dMean, 1e-14 + 1e-14 * dMean);
}

INSTANTIATE_TEST_SUITE_P(Orbitals, EveryPrincipalPair,
                         testing::Combine(testing::Range(1, 8), testing::Range(1, 8)));

TEST(NuclearAttraction, Of1sIsTheTextbookFormula) {
    for (double z : {0.3, 1.0, 5.7})
        for (double r : {0.001, 0.01, 0.3, 1.0, 7.0, 100.0}) {
            const double dExact = -(std::expm1(-2 * z * r) + z * r * std::exp(-2 * z * r)) / r;
            EXPECT_NEAR(Potential(r, 1, 0, 0, z, 1, 0, 0, z), dExact,
                        4e-15 * dExact / (z * r) + 1e-15);
        }
}

TEST(NuclearAttraction, OfNsIsThePotentialOfItsShells) {
    // 1/r (1 - exp(-u) sum over k < 2n of (2n - k) / (2n) u^k / k!), u = 2 zeta r.
    for (int n = 1; n <= 7; ++n)
        for (double r : {1.0, 2.5, 9.0, 60.0}) {
            const double z = 1.4, u = 2 * z * r;
            double dSum = 0.0, dTerm = 1.0;
            for (int k = 0; k < 2 * n; ++k) {
                dSum += (2.0 * n - k) / (2.0 * n) * dTerm;
                dTerm *= u / (k + 1);
            }
            EXPECT_NEAR(Potential(r, n, 0, 0, z, n, 0, 0, z), (1 - std::exp(-u) * dSum) / r, 1e-15)
                << n << " at " << r;
        }
}

TEST(NuclearAttraction, FarAwayIsThatOfTheMultipoles) {
    // 2p along the axis: <r^2> = (2n+1)(2n+2) / (4 zeta^2), quadrupole 2/5 of it; across -1/5.
    const double z = 1.6, r = 90.0, dR2 = 30.0 / (4 * z * z);
    EXPECT_NEAR(Potential(r, 2, 1, 0, z, 2, 1, 0, z), 1 / r + 0.4 * dR2 / (r * r * r), 1e-17);
    EXPECT_NEAR(Potential(r, 2, 1, 1, z, 2, 1, 1, z), 1 / r - 0.2 * dR2 / (r * r * r), 1e-17);
    // 2s with 2p: the dipole <s| z |p> = 5 / (2 sqrt(3) zeta).
    EXPECT_NEAR(Potential(r, 2, 0, 0, z, 2, 1, 0, z), 5 / (2 * std::sqrt(3.0) * z) / (r * r),
                1e-17);
}

TEST(NuclearAttraction, VanishesBetweenDifferentM) {
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j) {
            const double d = Potential(1.5, 3, i, 1.2, 4, j, 0.8);
            if (kMagnetic[i] != kMagnetic[j])
                EXPECT_EQ(d, 0.0) << i << " " << j;
            else
                EXPECT_NE(d, 0.0) << i << " " << j;
        }
}

TEST(NuclearAttraction, IsTheSameForBothSignsOfM) {
    for (int m : {1, 2})
        for (double r : {0.1, 2.0, 20.0})
            EXPECT_DOUBLE_EQ(Potential(r, 3, 2, m, 1.2, 4, 2, m, 0.8),
                             Potential(r, 3, 2, -m, 1.2, 4, 2, -m, 0.8));
    EXPECT_DOUBLE_EQ(Potential(1.5, 3, 1, 1, 1.2, 4, 2, 1, 0.8),
                     Potential(1.5, 3, 1, -1, 1.2, 4, 2, -1, 0.8));
}

TEST(NuclearAttraction, OfWhatIsNoOrbitalIsZero) {
    const double dNan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Potential(1.0, 0, 0, 0, 1.0, 1, 0, 0, 1.0), 0.0);
    EXPECT_EQ(Potential(1.0, 8, 0, 0, 1.0, 1, 0, 0, 1.0), 0.0);
    EXPECT_EQ(Potential(1.0, 4, 3, 0, 1.0, 4, 3, 0, 1.0), 0.0);
    EXPECT_EQ(Potential(1.0, 4, -1, 0, 1.0, 4, 2, 0, 1.0), 0.0);
    EXPECT_EQ(Potential(1.0, 2, 2, 0, 1.0, 2, 2, 0, 1.0), 0.0);
    EXPECT_EQ(Potential(1.0, 3, 1, 2, 1.0, 3, 2, 2, 1.0), 0.0);
    for (double z : {0.0, -1.0, dNan}) {
        EXPECT_EQ(Potential(1.0, 1, 0, 0, z, 1, 0, 0, 1.0), 0.0);
        EXPECT_EQ(Potential(1.0, 1, 0, 0, 1.0, 1, 0, 0, z), 0.0);
    }
}

TEST(NuclearAttraction, IsFiniteForAnyDistanceAndExponent) {
    for (double r : {0.0, 1e-30, 0.001, 1.0, 99.99, 1e10, 1e300})
        for (double z : {1e-30, 1e-4, 1.0, 40.0, 1e10, 1e30})
            EXPECT_TRUE(std::isfinite(Potential(r, 6, 2, 1, z, 5, 2, 1, 1.1))) << r << " " << z;
}

/// F_nL(x) by power series in long double: x^(n+L+1) sum over k of (-x)^k / (k! (n+L+1+k)) for the
/// inner integral, and (n-L-1)! less the like for the outer one.
long double RadialBySeries(int n, int L, long double x) {
    const auto Lower = [x](int s) {
        long double dSum = 0.0L, dTerm = 1.0L;
        for (int k = 0; k < 200; ++k) {
            dSum += dTerm / static_cast<long double>(s + k);
            dTerm *= -x / static_cast<long double>(k + 1);
        }
        return dSum * std::pow(x, static_cast<long double>(s));
    };
    return Lower(n + L + 1) / std::pow(x, L + 1.0L) +
           std::pow(x, 1.0L * L) * (std::tgamma(1.0L * (n - L)) - Lower(n - L));
}

TEST(NuclearAttraction, HasAllDigitsOfTheRadialPart) {
    // The alternating series itself loses about exp(2x), of 1e19.
    for (int n = 2; n <= kTopPairPower; ++n)
        for (int L = 0; L <= kTopRank && L < n; ++L)
            for (double x : {1e-3, 0.1, 0.7, 1.5, 2.5, 3.5, 4.5}) {
                const auto dExact = static_cast<double>(RadialBySeries(n, L, x));
                EXPECT_NEAR(RadialPotential(n, L, x), dExact, 3e-15 * dExact)
                    << n << " " << L << " " << x;
            }
}

TEST(NuclearAttraction, HasTheSlopeOfTheRadialPart) {
    // x^(L+1) F has the derivative (2L+1) x^(2L) times the outer integral, which ends at n - L
    // terms: x^(L+1) F - that of the outer one is the inner integral, with the slope x^(n+L) e^-x.
    const auto Inner = [](int n, int L, double x) {
        double dOuter = 0.0, dTerm = std::tgamma(1.0 * (n - L)) * std::exp(-x);
        for (int k = 0; k < n - L; ++k) {
            dOuter += dTerm;
            dTerm *= x / (k + 1);
        }
        return std::pow(x, L + 1) * (RadialPotential(n, L, x) - std::pow(x, L) * dOuter);
    };
    for (int n = 2; n <= kTopPairPower; ++n)
        for (int L = 0; L <= kTopRank && L < n; ++L)
            for (double x : {4.0, 7.0, n + L + 1.0, 25.0}) {
                const double h = 1e-4 * x, dScale = std::tgamma(n + L + 1.0);
                EXPECT_NEAR((Inner(n, L, x + h) - Inner(n, L, x - h)) / (2 * h) / dScale,
                            std::pow(x, n + L) * std::exp(-x) / dScale, 1e-8)
                    << n << " " << L << " " << x;
            }
}

TEST(NuclearAttraction, ScreeningPolynomialsRestoreTheRadialPotential) {
    for (int n = 2; n <= kTopPairPower; ++n)
        for (int L = 0; L <= kTopRank && L < n; ++L) {
            double vQ[kTopScreening + 1];
            FillScreeningPolynomial(n, L, vQ);
            for (double x : {5.0, 9.0, 25.0, 60.0}) {
                double dQ = 0.0;
                for (int j = kTopScreening; j >= 0; --j) dQ = dQ * x + vQ[j];
                const double dFull = RadialPotential(n, L, x);
                EXPECT_NEAR(ExactFactorial(n + L) / std::pow(x, L + 1) * (1 - std::exp(-x) * dQ),
                            dFull, 2e-11 * dFull)
                    << n << " " << L << " " << x;
            }
        }
}

TEST(NuclearAttraction, DirectionPolynomialsAreMeansOverTheSphere) {
    // <Y_i Y_j P_L(cos gamma)> by the product rule on the sphere, R^L times.
    const double R[3] = {0.8, -1.3, 0.5};
    const double dR = std::sqrt(R[0] * R[0] + R[1] * R[1] + R[2] * R[2]);
    const Rule polar = GaussLegendre(12, -1.0, 1.0);
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
            for (int L = 0; L <= kTopRank; ++L) {
                double dMean = 0.0;
                for (std::size_t a = 0; a < polar.Node.size(); ++a)
                    for (int b = 0; b < 12; ++b) {
                        const double z = polar.Node[a], rho = std::sqrt(1 - z * z);
                        const double phi = 2 * 3.141592653589793 * (b + 0.4) / 12;
                        const double x = rho * std::cos(phi), y = rho * std::sin(phi);
                        const double dCos = (R[0] * x + R[1] * y + R[2] * z) / dR;
                        dMean += polar.Weight[a] / 24 *
                                 std::legendre(static_cast<unsigned>(L), dCos) *
                                 ValueAt(kOrbitalPolynomials[i], x, y, z) *
                                 ValueAt(kOrbitalPolynomials[j], x, y, z);
                    }
                double vMonomials[kMonomials] = {}, dValue = 0.0;
                AddDirectionPolynomial(i, j, L, 2.0, vMonomials);
                for (int x = 0; x <= L; ++x)
                    for (int y = 0; x + y <= L; ++y)
                        dValue += vMonomials[MonomialIndex(x, y, L - x - y)] * std::pow(R[0], x) *
                                  std::pow(R[1], y) * std::pow(R[2], L - x - y);
                EXPECT_NEAR(dValue, 2.0 * std::pow(dR, L) * dMean, 1e-13)
                    << i << " " << j << " " << L;
            }
}

}  // namespace
}  // namespace qsolve
