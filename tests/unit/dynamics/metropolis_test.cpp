#include "dynamics/metropolis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "dynamics/noise_stream.h"

namespace qsolve {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Trials, ThatGainNothingAreAccepted) {
    EXPECT_EQ(JudgeTrial(0.0, 1.0), Verdict::kAccept);
    EXPECT_EQ(JudgeTrial(-1e9, 1.0), Verdict::kAccept);
    EXPECT_EQ(JudgeTrial(-1.0, 0.0), Verdict::kAccept);
}

TEST(Trials, OfSeventyFiveAndMoreAreRejectedUndrawn) {
    EXPECT_EQ(JudgeTrial(150.0, 2.0), Verdict::kReject);
    EXPECT_EQ(JudgeTrial(149.999, 2.0), Verdict::kDraw);
    EXPECT_EQ(JudgeTrial(1e-9, 2.0), Verdict::kDraw);
}

TEST(Trials, WithoutThermalEnergyOnlyGoDown) {
    for (const double dThermal : {0.0, -1.0}) {
        EXPECT_EQ(JudgeTrial(1e-9, dThermal), Verdict::kReject);
        EXPECT_EQ(JudgeTrial(0.0, dThermal), Verdict::kAccept);
    }
}

TEST(Trials, WithoutANumberAreRejected) {
    for (const double d : {std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity})
        EXPECT_EQ(JudgeTrial(d, 1.0), Verdict::kReject);
}

TEST(Draws, DecideByTheBoltzmannFactor) {
    EXPECT_TRUE(IsAccepted(std::log(4.0), 1.0, 0.2499));
    EXPECT_FALSE(IsAccepted(std::log(4.0), 1.0, 0.2501));
    EXPECT_TRUE(IsAccepted(2 * std::log(4.0), 2.0, 0.2499));
}

// Two states a gain of 1.5 apart, tried in turn: they stand in the ratio of their Boltzmann
// factors.
TEST(Walks, OfTwoStatesVisitThemByTheirBoltzmannFactors) {
    const double dGain = 1.5, dThermal = 0.6;
    NoiseStream stream = StartNoise(11);
    bool fUp = false;
    int nUp = 0;
    const int n = 200000;
    for (int i = 0; i < n; ++i) {
        const double d = fUp ? -dGain : dGain;
        const Verdict verdict = JudgeTrial(d, dThermal);
        if (verdict == Verdict::kAccept ||
            (verdict == Verdict::kDraw && IsAccepted(d, dThermal, NextUniform(stream))))
            fUp = !fUp;
        nUp += fUp;
    }
    const double p = std::exp(-dGain / dThermal), dShare = p / (1 + p);
    // A visit up ends at once, so visits are independent but for the forced step down between them.
    EXPECT_NEAR(static_cast<double>(nUp) / n, dShare, 4 * std::sqrt(dShare / n));
}

}  // namespace
}  // namespace qsolve
