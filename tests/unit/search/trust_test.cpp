#include "search/trust.h"

#include <gtest/gtest.h>

#include <cmath>

#include "search/rules.h"

namespace qsolve {
namespace {

const double kRootTwo = std::sqrt(2.0);

/// A step of length 0.2 that brought dRatio of what was expected.
Outcome Brought(double dRatio, double dNorm = 50.0) {
    return {.dNorm = dNorm, .dPredicted = -1.0, .dChange = -dRatio, .dLength = 0.2};
}

TEST(Trust, OfAMinimisationGrowsFromHalfOfThePromiseOn) {
    const TrustRules rules = kMinimumTrust;
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.4), 0.2), 0.2);
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.6), 0.2), 0.2 * kRootTwo);
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.95), 0.2), 0.2 * 2.0) << "and once more";
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(3.5), 0.2), 0.1);
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.95), 0.45), 0.5) << "to its limit";
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.6), 0.3), 0.3) << "the step was shorter";
}

TEST(Trust, OfASaddleSearchIsNarrower) {
    const TrustRules rules = kSaddleTrust;
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.05), 0.2), 0.1);
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.6), 0.2), 0.2);
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(0.8), 0.2), 0.2 * kRootTwo);
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(1.4), 0.2), 0.2);
    EXPECT_DOUBLE_EQ(TrustAfter(rules, Brought(1.0), 0.25), 0.3);
}

TEST(Trust, IsAtLeastATenthNearTheEnd) {
    const Outcome small{.dNorm = 1.0, .dPredicted = -0.01, .dChange = 0.001, .dLength = 0.01};
    EXPECT_EQ(TrustAfter(kSaddleTrust, small, 0.02), 0.1);
    EXPECT_EQ(TrustAfter(kSaddleTrust, small, 0.2), 0.2);
}

TEST(Trust, AfterARefusedStepIsHalfOfTheShorter) {
    EXPECT_DOUBLE_EQ(ShorterTrust(0.2, 0.1), 0.05);
    EXPECT_DOUBLE_EQ(ShorterTrust(0.1, 0.2), 0.05);
}

}  // namespace
}  // namespace qsolve
