#include <gtest/gtest.h>

#include <climits>

#include "job/state.h"
#include "report/report.h"
#include "scf/state.h"
#include "tests/unit/report/report_fixture.h"

namespace qsolve {
namespace {

class ScfProgress : public ReportTest {
  protected:
    ScfProgress() {
        link.fLogReports = false;  // the status line does not depend on the log
        scf.nScfRuns = 0;
        job.nReportPeriod = 1;
        results.Block.flBindingEnergy = -217.5F;
        results.Block.flRmsGradient = 1.25F;
        results.Block.flTotalEnergy = -8000.5F;
        results.Block.flTemperature = 300.25F;
        results.Block.flTime = 0.5F;
        results.Block.nCycles = 6;
        results.Block.nEnergyPoints = 9;
        results.Block.nNegativeEigenvalues = 1;
    }

    static Lines Line(int nCalcKind) {
        client.Sent.clear();
        job.nCalcKind = nCalcKind;
        ReportScfProgress(3, 0.0625);
        EXPECT_EQ(client.Sent.size(), Status().size());
        return Status();
    }
};

const Lines kCycle{"Iteration = 3 Difference = 0.06250"};

TEST_F(ScfProgress, SinglePointTellsTheCycle) {
    EXPECT_EQ(Line(kSinglePoint), kCycle);
    scf.nScfRuns = 4;
    EXPECT_EQ(Line(kSinglePoint), kCycle);
}

TEST_F(ScfProgress, AQuietSinglePointTellsTheFirstCycleAlone) {
    further.Scf.nQuiet = kTellFirst;
    EXPECT_EQ(Line(kSinglePoint), Lines{});
    ReportScfProgress(1, 0.5);
    EXPECT_EQ(Status(), Lines{"Iteration = 1 Difference = 0.50000"});
    further.Scf.nQuiet = kTellAll;
    EXPECT_EQ(Line(kSinglePoint), kCycle);
}

TEST_F(ScfProgress, WhereTheStartAloneIsToldNoCycleIs) {
    for (const int nQuiet : {int{kTellStart}, 3, 1 << 30}) {
        further.Scf.nQuiet = nQuiet;
        ReportScfProgress(1, 0.5);
        EXPECT_EQ(Line(kSinglePoint), Lines{}) << nQuiet;
    }
}

TEST_F(ScfProgress, SearchesTellTheirOwnProgress) {
    EXPECT_EQ(Line(kOptimisation), Lines{"E=-217.5000 Grad=1.250 Conv=NO(6 cycles 9 points) "
                                         "[Iter=3 Diff=0.06250]"});
    results.Block.fConverged = 1;
    const Lines expected{
        "E=-217.5000 Grad=1.250 NumOfNegEigenvalues=1 Conv=YES(6 cycles 9 points) "
        "[Iter=3 Diff=0.06250]"};
    EXPECT_EQ(Line(kTransitionState), expected);
    EXPECT_EQ(Line(kSynchronousTransit), expected);
}

TEST_F(ScfProgress, DynamicsTellTimeOrSteps) {
    const Lines expected{
        "Time=0.5000 ps Total Energy=-8000.5000 kcal/mol T=300.25 K "
        "[Iter=3 Diff=0.06250]"};
    EXPECT_EQ(Line(kMolecularDynamics), expected);
    EXPECT_EQ(Line(kLangevinDynamics), expected);
    results.Block.flTime = 200.0F;
    EXPECT_EQ(Line(kMonteCarlo), Lines{"Steps=200 Total Energy=-8000.5000 kcal/mol T=300.25 K "
                                       "[Iter=3 Diff=0.06250]"});
}

TEST_F(ScfProgress, SearchesKeepToTheReportPeriodUntilTheyConverge) {
    for (const int nKind : {kOptimisation, kTransitionState, kSynchronousTransit})
        for (const int nPeriod : {1, 2, 3, 4, 6, 7, -3, 0, INT_MIN}) {
            job.nReportPeriod = nPeriod;
            results.Block.fConverged = 0;
            const bool fDue = nPeriod != 0 && 6LL % nPeriod == 0;
            EXPECT_EQ(Line(nKind).size(), fDue ? 1u : 0u) << nKind << " period " << nPeriod;
            results.Block.fConverged = 1;
            EXPECT_EQ(Line(nKind).size(), 1u) << nKind << " period " << nPeriod;
        }
}

TEST_F(ScfProgress, TransitIsSilentInCycleZero) {
    results.Block.nCycles = 0;
    EXPECT_TRUE(Line(kSynchronousTransit).empty());
    EXPECT_EQ(Line(kOptimisation).size(), 1u);
}

TEST_F(ScfProgress, FirstHessianTellsTheCyclesOfItsFirstScfAlone) {
    results.Block.nCycles = 0;
    EXPECT_EQ(Line(kVibrations), kCycle);
    EXPECT_EQ(Line(kTransitionState), kCycle);
    scf.nScfRuns = 1;
    EXPECT_TRUE(Line(kVibrations).empty());
    EXPECT_TRUE(Line(kTransitionState).empty());
}

TEST_F(ScfProgress, UnknownKindOfJobHasNoLine) {
    EXPECT_TRUE(Line(3).empty());
    EXPECT_TRUE(Line(99).empty());
}

}  // namespace
}  // namespace qsolve
