#include "job/report_point.h"

#include <climits>

#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class ReportPoint : public FreshState {};

TEST_F(ReportPoint, ComesEveryPeriodOfEitherSign) {
    for (const int nPeriod : {1, 2, 5, -5, INT_MAX}) {
        job.nReportPeriod = nPeriod;
        for (int nCycle = 0; nCycle <= 20; ++nCycle)
            EXPECT_EQ(IsReportPoint(nCycle), nCycle % nPeriod == 0) << nCycle << " of " << nPeriod;
    }
}

TEST_F(ReportPoint, NeverComesForAPeriodOfNoneAndSurvivesTheSmallestInteger) {
    job.nReportPeriod = 0;
    EXPECT_FALSE(IsReportPoint(0));
    job.nReportPeriod = INT_MIN;
    EXPECT_FALSE(IsReportPoint(7));
    EXPECT_TRUE(IsReportPoint(-std::int64_t{INT_MIN}));
}

}  // namespace
}  // namespace qsolve
