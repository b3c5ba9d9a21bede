#include "dynamics/start_motion.h"

#include "dynamics/constants.h"
#include "dynamics/velocities.h"
#include "exchange/intake.h"
#include "job/state.h"
#include "link/link.h"

namespace qsolve {

namespace {

double Wide(float fl) {
    return static_cast<double>(fl);
}

TemperaturePlan PlanOfJob() {
    const double dStep = Wide(job.flTimeStep);
    return {.Lengths = DerivePhaseLengths(Wide(job.flHeatTime), Wide(job.flRunTime),
                                          Wide(job.flCoolTime), dStep),
            .dStart = Wide(job.flStartTemp),
            .dSimulation = Wide(job.flSimTemp),
            .dFinal = Wide(job.flFinalTemp),
            .dStep = Wide(job.flTempStep),
            .fBath = job.fTempBath != 0,
            .dBathWeight = BathWeight(dStep, Wide(job.flBathRelaxTime)),
            .fLand = further.Motion.fLand};
}

/// What the debug channel says of a run.
void TellParameters(const TemperatureControl& control) {
    if (!fDebugTrace) return;
    const Phases& lengths = control.Plan.Lengths;
    DebugFormat(kMsgDynamicsParameters);
    DebugFormat(kMsgDynamicsSteps, lengths.nHeatSteps, lengths.nRunSteps, lengths.nCoolSteps);
    DebugFormat(kMsgDynamicsPeriods, control.nUpPeriod, control.nDownPeriod);
}

/// Without memory the text of the job comes before that of the failure.
void TakeVelocities(const char* sName) {
    if (results.Motion.vVelocity.TryTake(3 * static_cast<std::size_t>(system.nSelected))) return;
    ErrorFormat(kMsgVelocityMemory, sName);
    Fatal(kMsgOutOfMemory);
}

void StartVelocities(double dTemperature) {
    double* v = results.Motion.vVelocity.Data();
    if (job.fRestartVelocities)
        ReceiveVelocities(v);
    else
        InitVelocities(dTemperature, job.nRandomSeed, v);
    if (further.Motion.fRestUnmoving) RestUnmovingAtoms(v);
    if (!job.fRestartVelocities) ScaleToTemperature(dTemperature, v);
}

}  // namespace

TemperatureControl StartMotion(const char* sName) {
    const TemperaturePlan plan = PlanOfJob();
    const double dFirst = FirstTemperature(plan, Wide(job.flHeatTime));
    const TemperatureControl control = StartTemperatureControl(plan, dFirst);
    TellParameters(control);
    if (Wide(job.flTimeStep) < kLeastStep) ErrorFormat(kMsgStepSizeTooSmall, sName);
    TakeVelocities(sName);
    StartVelocities(dFirst);
    return control;
}

}  // namespace qsolve
