#include "search/follow_mode.h"

#include <gtest/gtest.h>

namespace qsolve {
namespace {

constexpr double kModes[9] = {1, 0, 0, 0, 0.8, 0.6, 0, -0.6, 0.8};

TEST(FollowedMode, IsTheOneOfTheLargestOverlapInEitherSign) {
    const double v[3] = {0.1, 0.6, -0.8};
    const FoundMode found = FindFollowedMode(3, 3, kModes, v);
    EXPECT_EQ(found.nMode, 2);
    EXPECT_DOUBLE_EQ(found.dOverlap, 1.0);
    EXPECT_EQ(FindFollowedMode(2, 3, kModes, v).nMode, 0) << "the third mode is none of these";
}

TEST(FollowedMode, StaysTheFirstWhereNothingOverlaps) {
    const double v[3] = {0, 5e-7, 0};
    EXPECT_EQ(FindFollowedMode(3, 3, kModes, v).nMode, 0);
}

TEST(ModeAlong, ATangentIsTakenWithItsSignUnlessToldOtherwise) {
    const double t[3] = {0.1, 0.6, -0.8};
    EXPECT_EQ(FindModeAlong(3, 3, kModes, t, false).nMode, 0);
    EXPECT_EQ(FindModeAlong(3, 3, kModes, t, true).nMode, 2);
    const double tie[3] = {0.5, 0.4, 0.3};
    EXPECT_EQ(FindModeAlong(3, 3, kModes, tie, false).nMode, 0) << "the first in a tie";
}

}  // namespace
}  // namespace qsolve
