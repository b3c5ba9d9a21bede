#include "dynamics/dynamics.h"
#include "dynamics/langevin_step.h"
#include "dynamics/start_motion.h"
#include "dynamics/step_report.h"
#include "dynamics/velocities.h"
#include "exchange/results.h"
#include "gradient/state.h"
#include "job/report_point.h"
#include "job/state.h"
#include "scf/scf.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// Energy and forces at the places of a step, and the velocities' share of the new forces.
void Evaluate(const LangevinStep& integrator, const StepResult& step) {
    if (step.fLast) setup.fFinalReport = true;
    RunScf();
    if (step.nStep > 0)
        LangevinFinishStep(integrator, gradient.pGradient.Data(), results.Motion.vVelocity.Data());
    CheckForces(step.nStep);
}

void Report(StepResult& step) {
    const double* v = results.Motion.vVelocity.Data();
    step.dTemperature = InstantTemperature(v);
    step.dKineticEnergy = KineticEnergyAt(step.dTemperature);
    if (step.fReport) SendVelocities(v);
    ReportStep(step);
}

}  // namespace

void RunLangevin() {
    TemperatureControl control = StartMotion("Langevin");
    const long long nTotal = control.Plan.Lengths.nTotalSteps;
    const LangevinStep integrator =
        StartLangevin(system.MethodId, static_cast<double>(job.flFriction),
                      static_cast<double>(job.flTimeStep), further.Motion.fScaledNoise);
    RandomForce force = StartRandomForce(job.nRandomSeed, further.Motion.fLongNoise);
    double* v = results.Motion.vVelocity.Data();

    for (StepResult step;; ++step.nStep) {
        step.fLast = step.nStep >= nTotal;
        step.fClosing = step.fLast && step.nStep > 0;
        step.fReport = step.nStep == 0 || step.fLast || IsReportPoint(step.nStep);
        Evaluate(integrator, step);
        Report(step);
        if (step.fLast) break;

        if (step.nStep > 0)
            ScaleVelocities(RescalingFactor(control, step.nStep, step.dTemperature), v);
        LangevinHalfStep(integrator, control.dLangevinTemperature, gradient.pGradient.Data(), force,
                         system.pCoords.Data(), v);
    }
    results.Motion.vVelocity.Reset();
}

}  // namespace qsolve
