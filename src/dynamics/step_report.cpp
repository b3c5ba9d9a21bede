#include "dynamics/step_report.h"

#include <cmath>

#include "exchange/report_point.h"
#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"

namespace qsolve {

namespace {

constexpr double kWarnSquare = 1e6, kFatalSquare = 1e10;  ///< (kcal/(mol Angstrom))^2

float Narrow(double d) {
    return static_cast<float>(d);
}

void FillEnergies(const StepResult& step) {
    ResultBlock& block = results.Block;
    block.flPotentialEnergy = Narrow(scf.dTotalEnergy);
    block.flKineticEnergy = Narrow(step.dKineticEnergy);
    block.flSeedEcho = static_cast<float>(job.nRandomSeed);
    block.flUnused136[0] = block.flUnused136[1] = 0.0F;
    block.fFinalResult = step.fLast ? 1 : 0;
}

void SayTheEnd(const StepResult& step) {
    const double dTotal = step.dKineticEnergy + scf.dTotalEnergy;
    const double dTime = static_cast<double>(results.Block.flTime);
    LogFormat(kMsgDynamicsSummary, dTime, step.dKineticEnergy, dTotal, step.dTemperature);
    StatusFormat(kMsgDynamicsEnd, dTime, dTotal, step.dTemperature);
}

}  // namespace

float TimeOfStep(long long nStep) {
    return Narrow(static_cast<double>(nStep) * static_cast<double>(job.flTimeStep));
}

void ReportStep(const StepResult& step) {
    ResultBlock& block = results.Block;
    block.flTemperature = Narrow(step.dTemperature);
    block.flTime = TimeOfStep(step.nStep);
    block.flTotalEnergy = Narrow(step.dKineticEnergy + scf.dTotalEnergy);
    if (!step.fReport) return;
    FillEnergies(step);
    if (step.fClosing) SayTheEnd(step);
    SendReportPoint();
}

void CheckForces(long long nStep) {
    if (!gradient.fComputed) Fatal(kMsgNotAvailable, "gradient", job.nCalcKind);
    const double dSquare = gradient.dGradientSquared / (3.0 * system.nAtomsActive);
    if (dSquare <= kWarnSquare) return;
    if (dSquare <= kFatalSquare)
        Warn(kMsgLargeGradient, nStep, std::sqrt(dSquare));
    else
        Fatal(kMsgLargeGradient, nStep, std::sqrt(dSquare));
}

}  // namespace qsolve
