#include "integrals/ab_integrals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

/// B_k by its power series in long double, carried on until nothing changes.
double ExactB(int k, double q) {
    long double dSum = 0.0L, dTerm = 1.0L;
    for (int i = 0; i < 400; ++i) {
        if ((k + i) % 2 == 0) dSum += 2.0L * dTerm / (k + i + 1);
        dTerm *= -static_cast<long double>(q) / (i + 1);
    }
    return static_cast<double>(dSum);
}

/// Largest error of FillB over k = 0 .. nTop and arguments in (dFrom, dTo].
double WorstError(double dFrom, double dTo, int nTop) {
    double dWorst = 0.0, vB[kAuxiliaries];
    for (int i = 1; i <= 40; ++i) {
        const double q = dFrom + (dTo - dFrom) * i / 40.0;
        for (double dSigned : {q, -q}) {
            FillB(dSigned, nTop, vB);
            for (int k = 0; k <= nTop; ++k)
                dWorst = std::max(dWorst, std::abs(vB[k] - ExactB(k, dSigned)));
        }
    }
    return dWorst;
}

class AIntegrals : public testing::TestWithParam<double> {};

TEST_P(AIntegrals, EqualTheirDefinition) {
    const double p = GetParam();
    double vA[kAuxiliaries];
    FillA(p, kTopAuxiliary, vA);
    const Rule rule = DecayingRule(1.0, p);
    for (int k = 0; k < kAuxiliaries; ++k) {
        double dSum = 0.0;
        for (std::size_t i = 0; i < rule.Node.size(); ++i)
            dSum += rule.Weight[i] * std::pow(rule.Node[i], k) * std::exp(-p * rule.Node[i]);
        EXPECT_NEAR(vA[k] / dSum, 1.0, 1e-10) << "k = " << k;
    }
}

TEST_P(AIntegrals, DerivativeIsMinusTheNextOne) {
    const double p = GetParam(), dStep = 1e-4 * p / (1 + p);
    double vA[kAuxiliaries], vUp[kAuxiliaries], vDown[kAuxiliaries];
    FillA(p, kTopAuxiliary, vA);
    FillA(p + dStep, kTopAuxiliary, vUp);
    FillA(p - dStep, kTopAuxiliary, vDown);
    for (int k = 0; k < kTopAuxiliary; ++k)
        EXPECT_NEAR((vUp[k] - vDown[k]) / (2 * dStep), -vA[k + 1], 1e-5 * vA[k + 1]) << k;
}
INSTANTIATE_TEST_SUITE_P(Arguments, AIntegrals, testing::Values(0.05, 0.7, 3.0, 25.0, 300.0));

TEST(AuxiliaryIntegrals, VanishForArgumentsOutOfRange) {
    double vA[kAuxiliaries], vB[kAuxiliaries];
    for (double dArgument : {1000.0, -1000.0, 1e30, std::numeric_limits<double>::quiet_NaN()}) {
        ComputeABIntegrals(vA, vB, dArgument, dArgument, kTopAuxiliary);
        for (int k = 0; k < kAuxiliaries; ++k) {
            EXPECT_EQ(vA[k], 0.0);
            EXPECT_EQ(vB[k], 0.0);
        }
    }
    FillA(1e-6, kTopAuxiliary, vA);
    EXPECT_EQ(vA[0], 0.0);
    FillA(1.1e-6, 0, vA);
    EXPECT_GT(vA[0], 0.0);
}

TEST(AuxiliaryIntegrals, AreNeverInfinite) {
    double vA[kAuxiliaries], vB[kAuxiliaries];
    for (double x = 690.0; x < 1000.0; x += 7.0) {
        ComputeABIntegrals(vA, vB, x, -x, kTopAuxiliary);
        for (int k = 0; k < kAuxiliaries; ++k) EXPECT_TRUE(std::isfinite(vA[k] * vB[k])) << x;
    }
}

TEST(AuxiliaryIntegrals, AreFilledUpToTheTopAndClearedAboveIt) {
    double vA[kAuxiliaries], vB[kAuxiliaries], vA19[kAuxiliaries], vB19[kAuxiliaries];
    std::fill_n(vA, kAuxiliaries, 7.0);
    std::fill_n(vB, kAuxiliaries, 7.0);
    ComputeABIntegrals(vA, vB, 2.0, 4.0, 5);
    EXPECT_NE(vA[5], 0.0);
    EXPECT_NE(vB[5], 0.0);
    for (int k = 6; k < kAuxiliaries; ++k) EXPECT_EQ(vA[k] + vB[k], 0.0);
    ComputeABIntegrals(vA19, vB19, 2.0, 4.0, 19);
    for (int nTop : {-1, 20, 1000}) {
        ComputeABIntegrals(vA, vB, 2.0, 4.0, nTop);
        EXPECT_TRUE(std::equal(vA, vA + kAuxiliaries, vA19)) << nTop;
        EXPECT_TRUE(std::equal(vB, vB + kAuxiliaries, vB19)) << nTop;
    }
}

TEST(BIntegrals, TakeTheExactLimitAtZero) {
    double vB[kAuxiliaries];
    for (double q : {0.0, 1e-6, -1e-6}) {
        FillB(q, kTopAuxiliary, vB);
        for (int k = 0; k < kAuxiliaries; ++k) EXPECT_EQ(vB[k], k % 2 ? 0.0 : 2.0 / (k + 1));
    }
}

TEST(BIntegrals, AreExactWhereTheRecursionServes) {
    EXPECT_LT(WorstError(0.5, 1.0, 5), 1e-11);
    EXPECT_LT(WorstError(1.0, 2.0, 7), 1e-11);
    EXPECT_LT(WorstError(2.0, 3.0, 10), 1e-11);
    EXPECT_LT(WorstError(3.0, 6.0, 19), 1e-6);  // rounding grows as 19! / 3^19
}

TEST(BIntegrals, LoseNoMoreThanTheFirstTermLeftOut) {
    // Eight terms end at i = 6 for even k: the next one is 2 x^8 / (8! (k + 9)), 5.5e-6 at 1.
    const double dEight = WorstError(0.5, 1.0, 19);
    EXPECT_LT(dEight, 5.7e-6);
    EXPECT_GT(dEight, 5.4e-6);
    EXPECT_LT(WorstError(1e-6, 0.5, 19), 4e-7);  // 2 x^7 / (7! (k + 8)) for odd k
    EXPECT_LT(WorstError(1.0, 2.0, 19), 2.1e-7 * 8);
    EXPECT_LT(WorstError(2.0, 3.0, 19), 3e-6);
}

TEST(BIntegrals, SlopesAreTheDerivativesOfTheValues) {
    for (int nTop : {4, 6, 10, 19})
        for (double q : {-7.0, -2.6, -1.4, -0.8, -0.3, 0.2, 0.7, 0.97, 1.7, 2.2, 5.5}) {
            const double dStep = 1e-4;
            double vB[kAuxiliaries], vSlope[kAuxiliaries], vUp[kAuxiliaries], vDown[kAuxiliaries];
            FillBWithSlope(q, nTop, vB, vSlope);
            FillB(q + dStep, nTop, vUp);
            FillB(q - dStep, nTop, vDown);
            for (int k = 0; k <= nTop; ++k) {
                const double dDifference = (vUp[k] - vDown[k]) / (2 * dStep);
                EXPECT_NEAR(vSlope[k], dDifference, 1e-6 * (1 + std::abs(vSlope[k])))
                    << nTop << " " << q << " " << k;
                EXPECT_NEAR(vSlope[k], -ExactB(k + 1, q), 4e-5 * (1 + std::abs(vSlope[k])));
            }
            FillB(q, nTop, vDown);
            EXPECT_TRUE(std::equal(vB, vB + kAuxiliaries, vDown));
        }
}

TEST(ExponentPowers, AreRepeatedProducts) {
    EXPECT_EQ(ExponentPower(2.0, 10), 1024.0);
    EXPECT_EQ(ExponentPower(-3.0, 3), -27.0);
    EXPECT_EQ(ExponentPower(1.7, 0), 1.0);
    EXPECT_DOUBLE_EQ(ExponentPower(4.0, -2), 1.0 / 16.0);
    EXPECT_EQ(ExponentPower(1.0, std::numeric_limits<int>::min()), 1.0);
}

TEST(ExponentPowers, OfZeroAreZeroEvenForThePowerZero) {
    for (int n : {-3, 0, 1, 8}) EXPECT_EQ(ExponentPower(0.0, n), 0.0);
}

}  // namespace
}  // namespace qsolve
