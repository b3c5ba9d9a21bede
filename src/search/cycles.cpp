#include "search/cycles.h"

#include "exchange/report_point.h"
#include "gradient/state.h"
#include "job/report_point.h"
#include "job/state.h"
#include "link/held.h"
#include "scf/scf.h"
#include "setup/state.h"

namespace qsolve {

namespace {

void SetCounts(int nCycles, int nEnergyPoints) {
    results.Block.nCycles = nCycles;
    results.Block.nEnergyPoints = nEnergyPoints;
}

}  // namespace

double SquareLimit(double dRms) {
    return 3.0 * system.nSelected * dRms * dRms;
}

bool IsBelowLimit(double dLimit) {
    return gradient.dGradientSquared < dLimit || gradient.dGradientSquared == 0.0;
}

void ReportCycle(int nCycle, int nEnergyPoints) {
    results.Block.nCycles = nCycle;
    if (!IsReportPoint(nCycle)) return;
    results.Block.fFinalResult = results.Block.fConverged = 0;
    results.Block.nEnergyPoints = nEnergyPoints;
    SendReportPoint();
}

void FinishConverged(int nCycles, int nEnergyPoints) {
    const Held report(setup.fFinalReport, true);
    results.Block.fConverged = 1;
    RunScf();
    SetCounts(nCycles, nEnergyPoints);
}

void FinishFollowing(bool fConverged, int nEnergyPoints) {
    const Held report(setup.fFinalReport, true);
    results.Block.fConverged = fConverged;
    results.Block.nEnergyPoints = nEnergyPoints;
    RunScf();
    results.Block.nEnergyPoints = nEnergyPoints;
}

void FinishUnconverged(int nCycles, int nEnergyPoints) {
    results.Block.fConverged = 0;
    SetCounts(nCycles, nEnergyPoints);
}

}  // namespace qsolve
