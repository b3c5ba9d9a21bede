#include "job/kinds.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <set>
#include <string>

namespace qsolve {
namespace {

TEST(JobKinds, EveryNumberThatIsNoKindHasTheRowOfNone) {
    for (const int nKind : {3, 9, 99, -1, INT_MIN, INT_MAX}) {
        const JobKind& kind = KindOf(nKind);
        EXPECT_EQ(&kind, &kJobKinds[kNoJob]) << nKind;
        EXPECT_STREQ(kind.sName, "");
        EXPECT_EQ(kind.nProgress, Progress::kNone);
        EXPECT_EQ(kind.nLeaves, Matrix::kNone);
        EXPECT_FALSE(kind.fFullReport || kind.fSummary || kind.fCountsPoints || kind.fTwoEnds);
    }
}

TEST(JobKinds, HaveNamesOfTheirOwn) {
    std::set<std::string> names;
    for (const JobKind& kind : kJobKinds) names.insert(kind.sName);
    EXPECT_EQ(names.size(), static_cast<std::size_t>(kKinds));
    EXPECT_STREQ(KindOf(kVibrations).sName, "vibrational analysis");
    EXPECT_STREQ(KindOf(kMonteCarlo).sName, "Monte Carlo sampling");
}

TEST(JobKinds, WithKineticEnergyAreTheThreeThatSampleAndRefuseConfigurationInteraction) {
    for (int nKind = 0; nKind < kKinds; ++nKind) {
        const bool fSamples =
            nKind == kMolecularDynamics || nKind == kLangevinDynamics || nKind == kMonteCarlo;
        EXPECT_EQ(KindOf(nKind).nKinetic != Kinetic::kNone, fSamples) << nKind;
        EXPECT_EQ(KindOf(nKind).nWithCi == kMsgDynamicsCi, fSamples) << nKind;
    }
    EXPECT_EQ(KindOf(kMonteCarlo).nKinetic, Kinetic::kBeside);
}

TEST(JobKinds, TakeOverOnlyWhatAKindLeaves) {
    std::set<Matrix> left = {Matrix::kNone};
    for (const JobKind& kind : kJobKinds) left.insert(kind.nLeaves);
    for (const JobKind& kind : kJobKinds) EXPECT_TRUE(left.count(kind.nTakes)) << kind.sName;
}

}  // namespace
}  // namespace qsolve
