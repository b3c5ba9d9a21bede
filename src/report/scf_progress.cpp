#include "job/kinds.h"
#include "job/report_point.h"
#include "job/state.h"
#include "link/link.h"
#include "report/report.h"
#include "scf/state.h"

namespace qsolve {

namespace {

/// Whether a search tells of this cycle: at report points, and once it has converged.
bool IsReportCycle() {
    return results.Block.fConverged != 0 || IsReportPoint(results.Block.nCycles);
}

const char* YesOrNo(int f) {
    return f ? "YES" : "NO";
}

void CycleLine(int nIteration, double dDifference) {
    const int nQuiet = further.Scf.nQuiet;
    if (nQuiet >= kTellStart || (nQuiet != kTellAll && nIteration > 1)) return;
    StatusFormat(kMsgScfProgress, nIteration, dDifference);
}

/// Before the force matrix there is one SCF, at the geometry of the job.
void FirstScfLine(int nIteration, double dDifference) {
    if (scf.nScfRuns == 0) CycleLine(nIteration, dDifference);
}

void SearchLine(int nIteration, double dDifference) {
    const ResultBlock& block = results.Block;
    if (IsReportCycle())
        StatusFormat(kMsgOptimizeProgress, block.flBindingEnergy, block.flRmsGradient,
                     YesOrNo(block.fConverged), block.nCycles, block.nEnergyPoints, nIteration,
                     dDifference);
}

void TransitionLine(int nIteration, double dDifference) {
    const ResultBlock& block = results.Block;
    if (block.nCycles != 0 && IsReportCycle())
        StatusFormat(kMsgTransitionProgress, block.flBindingEnergy, block.flRmsGradient,
                     block.nNegativeEigenvalues, YesOrNo(block.fConverged), block.nCycles,
                     block.nEnergyPoints, nIteration, dDifference);
}

void TimeLine(MessageId id, int nIteration, double dDifference) {
    const ResultBlock& block = results.Block;
    StatusFormat(id, block.flTime, block.flTotalEnergy, block.flTemperature, nIteration,
                 dDifference);
}

}  // namespace

void ReportScfProgress(int nIteration, double dDifference) {
    switch (ThisKind().nProgress) {
        case Progress::kNone:
            return;
        case Progress::kCycle:
            return CycleLine(nIteration, dDifference);
        case Progress::kFirstScf:
            return FirstScfLine(nIteration, dDifference);
        case Progress::kSearch:
            return SearchLine(nIteration, dDifference);
        case Progress::kHessian:
            if (results.Block.nCycles == 0) return FirstScfLine(nIteration, dDifference);
            return TransitionLine(nIteration, dDifference);
        case Progress::kTransition:
            return TransitionLine(nIteration, dDifference);
        case Progress::kTime:
            return TimeLine(kMsgDynamicsProgress, nIteration, dDifference);
        case Progress::kSteps:
            return TimeLine(kMsgMonteCarloProgress, nIteration, dDifference);
    }
}

}  // namespace qsolve
