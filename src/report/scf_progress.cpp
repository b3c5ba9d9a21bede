#include <cstdint>
#include <cstdlib>

#include "job/state.h"
#include "link/link.h"
#include "report/report.h"
#include "scf/state.h"

namespace qsolve {

namespace {

/// Whether a search tells of this cycle: every nReportPeriod-th, none for a period of 0, and the
/// one that has converged.
bool IsReportCycle() {
    const std::int64_t nPeriod = std::abs(std::int64_t{job.nReportPeriod});
    return results.Block.fConverged != 0 || (nPeriod != 0 && results.Block.nCycles % nPeriod == 0);
}

const char* YesOrNo(int f) {
    return f ? "YES" : "NO";
}

void CycleLine(int nIteration, double dDifference) {
    StatusFormat(kMsgScfProgress, nIteration, dDifference);
}

/// Before the force matrix there is one SCF, at the geometry of the job.
void FirstScfLine(int nIteration, double dDifference) {
    if (scf.nScfRuns == 0) CycleLine(nIteration, dDifference);
}

void OptimizeLine(int nIteration, double dDifference) {
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
    switch (job.nCalcKind) {
        case kSinglePoint:
            return CycleLine(nIteration, dDifference);
        case kOptimisation:
            return OptimizeLine(nIteration, dDifference);
        case kMolecularDynamics:
        case kLangevinDynamics:
            return TimeLine(kMsgDynamicsProgress, nIteration, dDifference);
        case kVibrations:
            return FirstScfLine(nIteration, dDifference);
        case kTransitionState:  // no cycle yet: the first Hessian is being computed
            if (results.Block.nCycles == 0) return FirstScfLine(nIteration, dDifference);
            return TransitionLine(nIteration, dDifference);
        case kSynchronousTransit:
            return TransitionLine(nIteration, dDifference);
        case kMonteCarlo:
            return TimeLine(kMsgMonteCarloProgress, nIteration, dDifference);
        default:
            return;
    }
}

}  // namespace qsolve
