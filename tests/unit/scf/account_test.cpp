#include "scf/account.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr int kEveryMethod[] = {kCndo, kIndo, kMindo3, kMndo, kAm1, kPm3, kZindo1, kZindoS, kMndoD};

class Account : public FreshState {
  protected:
    static const ScfRecord& Run(int nMethod, int nIterations, float flLimit, int nSpin = 0) {
        JobScript script = Water(nMethod);
        script.Options.nIterationLimit = nIterations;
        script.Options.flConvergenceLimit = flLimit;
        script.Options.nSpinTreatment = nSpin;
        SetUpJob(script);
        RunScf();
        return scf.Account;
    }

    /// What the status line said last, which is where clients of old have looked.
    static void ExpectAsTold(const ScfRecord& account) {
        int nCycle = 0;
        double dDifference = 0.0;
        std::string sLast;
        for (const std::string& sText : client.Texts(kPacketStatusLine))
            if (sText.starts_with("Iteration")) sLast = sText;
        ASSERT_EQ(
            std::sscanf(sLast.c_str(), "Iteration = %d Difference = %lf", &nCycle, &dDifference), 2)
            << sLast;
        EXPECT_EQ(account.nCycles, nCycle);
        EXPECT_NEAR(account.dDifference, dDifference, 0.6e-5);  // five decimals
    }
};

TEST_F(Account, OfAConvergedScfSaysByWhatAndHow) {
    for (const int nMethod : kEveryMethod)
        for (const int nSpin : {0, 1}) {
            const ScfRecord& account = Run(nMethod, 200, 1e-4F, nSpin);
            EXPECT_EQ(account.fConverged, 1) << nMethod;
            EXPECT_EQ(account.nTest, kEnergyTest);
            EXPECT_EQ(account.dLimit, static_cast<double>(1e-4F));
            EXPECT_LT(account.dDifference, account.dLimit);
            EXPECT_LT(account.dFinalDifference, account.dLimit) << "its cycles contract";
            EXPECT_EQ(account.nRuns, 1);
            EXPECT_EQ(account.nUnconverged, 0);
            EXPECT_EQ(account.dWorstDifference, 0.0);
            ExpectAsTold(account);
        }
}

TEST_F(Account, OfAnScfThatRanOutOfCyclesSaysSo) {
    for (const int nMethod : kEveryMethod)
        for (const int nLimit : {1, 2, 3}) {
            const ScfRecord& account = Run(nMethod, nLimit, 1e-9F);
            EXPECT_EQ(account.fConverged, 0) << nMethod;
            EXPECT_EQ(account.nTest, kNoTest);
            EXPECT_GE(account.nCycles, nLimit);
            EXPECT_EQ(account.nUnconverged, 1);
            EXPECT_EQ(account.nUnconvergedSince, 1);
            EXPECT_GT(account.dDifference, account.dLimit);
            EXPECT_EQ(account.dWorstDifference, account.dDifference);
            ExpectAsTold(account);
        }
}

TEST_F(Account, WithoutACycleKnowsNoDifference) {
    for (const int nLimit : {0, -1, std::numeric_limits<int>::min()}) {
        const ScfRecord& account = Run(kAm1, nLimit, 0.5F);
        EXPECT_EQ(account.fConverged, 0);
        EXPECT_EQ(account.nCycles, 0);
        EXPECT_TRUE(std::isinf(account.dDifference));
    }
}

TEST_F(Account, CountsTheScfsOfAJobAndForgetsThoseOfTheLast) {
    Run(kAm1, 2, 1e-9F);
    const double dFirst = scf.Account.dWorstDifference;
    options.nIterationLimit = 200;
    options.flConvergenceLimit = 1e-4F;
    RunScf();
    EXPECT_EQ(scf.Account.fConverged, 1);
    EXPECT_EQ(scf.Account.nRuns, 2);
    EXPECT_EQ(scf.Account.nUnconverged, 1);
    EXPECT_EQ(scf.Account.dWorstDifference, dFirst);

    StartScfCount();
    EXPECT_EQ(scf.Account.nRuns, 2);
    EXPECT_EQ(scf.Account.nUnconverged, 1);
    EXPECT_EQ(scf.Account.nRunsSince, 0);
    EXPECT_EQ(scf.Account.nUnconvergedSince, 0);
    EXPECT_EQ(scf.Account.dWorstDifference, 0.0);
    RunScf();
    EXPECT_EQ(scf.Account.nRunsSince, 1);
    EXPECT_EQ(scf.Account.nRuns, 3);

    EXPECT_EQ(Run(kAm1, 200, 1e-4F).nRuns, 1);
}

TEST_F(Account, TakesWhatIsNoNumberForTheWorst) {
    const ScfFamily family{1.0, 1.0, 0.0, false, false, false, false, false};
    ScfRun run{family, false, false, true, 1e-4, 1e-2};
    run.dDifference = 3.0;
    CountScf(run);
    run.dDifference = std::nan("");
    CountScf(run);
    EXPECT_EQ(scf.Account.nUnconverged, 2);
    EXPECT_TRUE(std::isinf(scf.Account.dWorstDifference));
}

}  // namespace
}  // namespace qsolve
