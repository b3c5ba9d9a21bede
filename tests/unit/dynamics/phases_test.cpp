#include "dynamics/phases.h"

#include <gtest/gtest.h>

#include <limits>

namespace qsolve {
namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(StepCounts, AreWholeWhereTheFloatsOfTheWireDivide) {
    const double dStep = static_cast<double>(0.001F);
    for (const int n : {1, 3, 7, 10, 99, 1000, 123456, 1000000})
        EXPECT_EQ(StepsIn(static_cast<double>(static_cast<float>(n * 0.001)), dStep), n) << n;
}

TEST(StepCounts, TakeInATenthAndRoundUpTheRest) {
    EXPECT_EQ(StepsIn(3.09, 1.0), 3);
    EXPECT_EQ(StepsIn(3.11, 1.0), 4);
    EXPECT_EQ(StepsIn(0.1, 1.0), 0);
    EXPECT_EQ(StepsIn(0.11, 1.0), 1);
}

TEST(StepCounts, OfHostileNumbersStayCounts) {
    for (const double dStep : {0.0, -1.0, kNan}) EXPECT_EQ(StepsIn(1.0, dStep), 0) << dStep;
    EXPECT_EQ(StepsIn(0.0, 0.0), 0);
    EXPECT_EQ(StepsIn(1.0, 1e-40), kMost);
    EXPECT_EQ(StepsIn(1e38, 1e-38), kMost);
    EXPECT_EQ(StepsIn(kInfinity, 1.0), kMost);
    EXPECT_EQ(StepsIn(kNan, 1.0), 0);
    EXPECT_EQ(StepsIn(-5.0, 1.0), 0);
    EXPECT_EQ(StepsIn(1.0, 1e38), 0);
}

TEST(PhaseLengths, AddUp) {
    const Phases phases = DerivePhaseLengths(0.1, 0.2, 0.05, 0.001);
    EXPECT_EQ(phases.nHeatSteps, 100);
    EXPECT_EQ(phases.nRunSteps, 200);
    EXPECT_EQ(phases.nCoolSteps, 50);
    EXPECT_EQ(phases.nHeatRunSteps, 300);
    EXPECT_EQ(phases.nTotalSteps, 350);
}

TEST(PhaseLengths, StopAtTheLargestInteger) {
    const Phases phases = DerivePhaseLengths(2e9, 2e9, 2e9, 1.0);
    EXPECT_EQ(phases.nHeatSteps, 2000000000);
    EXPECT_EQ(phases.nHeatRunSteps, kMost);
    EXPECT_EQ(phases.nTotalSteps, kMost);
}

TEST(RescalingPeriods, SpreadTheTemperatureStepsOverThePhase) {
    EXPECT_EQ(RescalingPeriod(100, 30.0, 300.0), 10);
    EXPECT_EQ(RescalingPeriod(100, 30.0, -200.0), 15);
    EXPECT_EQ(RescalingPeriod(50, 45.0, 300.0), 8);
    EXPECT_EQ(RescalingPeriod(20, 7.0, -250.0), 1);
}

TEST(RescalingPeriods, TellThatThePhaseIsTooShort) {
    EXPECT_EQ(RescalingPeriod(1, 1.0, 300.0), 0);
    EXPECT_EQ(RescalingPeriod(1, 0.0, 300.0), 0);
    EXPECT_LT(RescalingPeriod(100, -30.0, 300.0), 1);
    EXPECT_EQ(RescalingPeriod(kMost, 3e38, 1e-6), kMost);
    EXPECT_LT(RescalingPeriod(kMost, -3e38, 1e-6), 1);
}

}  // namespace
}  // namespace qsolve
