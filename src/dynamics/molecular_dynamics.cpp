#include "dynamics/constants.h"
#include "dynamics/dynamics.h"
#include "dynamics/start_motion.h"
#include "dynamics/step_report.h"
#include "dynamics/velocities.h"
#include "exchange/results.h"
#include "geometry/geometry.h"
#include "gradient/state.h"
#include "job/methods.h"
#include "job/report_point.h"
#include "job/state.h"
#include "scf/scf.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// The time step in which a velocity per Angstrom moves places in the working unit, and a gradient
/// per working unit changes velocities per Angstrom.
double WorkingTimeStep() {
    const double dStep = static_cast<double>(job.flTimeStep);
    return UsesAtomicUnits(system.MethodId) ? dStep * kLeapfrogBohr : dStep;
}

double Mean(double a, double b) {
    return (a + b) / 2.0;
}

}  // namespace

void RunMolecularDynamics() {
    TemperatureControl control = StartMotion("Verlet");
    const long long nTotal = control.Plan.Lengths.nTotalSteps;
    const double dTimeStep = WorkingTimeStep();
    double* v = results.Motion.vVelocity.Data();
    double dBefore = InstantTemperature(v);  // of the last half step

    for (StepResult step;; ++step.nStep) {
        step.fLast = step.fClosing = step.nStep >= nTotal;
        step.fReport = step.fLast || IsReportPoint(step.nStep);
        if (step.fReport) SendVelocities(v);
        if (step.fLast) setup.fFinalReport = true;
        RunScf();
        CheckForces(step.nStep);

        KickVelocities(dTimeStep, gradient.pGradient.Data(), v);
        const double dAfter = InstantTemperature(v);
        step.dTemperature = Mean(dAfter, dBefore);
        step.dKineticEnergy = Mean(KineticEnergyAt(dAfter), KineticEnergyAt(dBefore));
        dBefore = dAfter;
        ReportStep(step);
        if (step.fLast) break;

        ScaleVelocities(RescalingFactor(control, step.nStep + 1, dAfter), v);
        MoveAtoms(v, dTimeStep);
    }
    results.Motion.vVelocity.Reset();
}

}  // namespace qsolve
