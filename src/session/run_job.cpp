#include "dynamics/dynamics.h"
#include "exchange/report_point.h"
#include "exchange/results.h"
#include "job/kinds.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "search/search.h"
#include "session/session.h"
#include "setup/setup.h"
#include "vibrations/vibrations.h"

namespace qsolve {

namespace {

void RunSinglePoint() {
    SetUpCalculation();
    RunScf();
    SendResultBlock();
    SendCharges();
    SendOrbitalData();
    SendCiStates();
    SendPreciseResults();
}

/// From energy and gradient of an SCF at the first geometry. An optimiser that is not one leaves
/// the geometry as it came, and nothing is computed.
void Optimise() {
    const double dRms = static_cast<double>(job.flRmsGradient);
    switch (job.nOptimiser) {
        case kSteepestDescent:
            RunScf();
            SteepestDescent(dRms, job.nMaxCycles);
            break;
        case kFletcherReeves:
            RunScf();
            FletcherReeves(dRms, job.nMaxCycles);
            break;
        case kPolakRibiere:
            RunScf();
            PolakRibiere(dRms, job.nMaxCycles);
            break;
        case kEigenvectorFollowing:
            EigenvectorFollow(dRms, job.nMaxCycles);
            break;
        default:
            break;
    }
}

/// Extended Hueckel has no energies to go down by: its geometry is sent back as it came.
void RunOptimisation() {
    SetUpCalculation();
    if (FamilyOf(system.MethodId) != Family::kNone) Optimise();
    SendTail();
}

/// An unknown kind of dynamics is set up and not run.
void RunDynamicsJob() {
    SetUpCalculation();
    if (job.nMdKind < 0 || job.nMdKind > 2) return;
    RunMolecularDynamics();
    SendOrbitalData();
}

/// The atoms of a job on a kept matrix come anew and have not been through set-up: their unit and
/// their masses are seen to here.
void RunKeptMatrix() {
    TakeCoordinates();
    CheckMasses();
    RunVibrations();
    SendVibrations();
}

void RunVibrationsJob() {
    if (!options.fComputeForceMatrix) return RunKeptMatrix();
    SetUpCalculation();
    RunScf();
    RunVibrations();
    SendResultBlock();
    SendCharges();
    SendOrbitalData();
    SendVibrations();
    SendPreciseResults();
}

/// Charges, orbitals and the rest of a search's end, with the geometry where it has moved. A job
/// that only computes its Hessian sends the modes.
void RunTransitionState() {
    SetUpCalculation();
    EigenvectorFollow(static_cast<double>(job.flRmsGradient), job.nMaxCycles);
    results.Block.fFinalResult = 1;
    SendResultBlock();
    if (options.fTsSearch) SendCoordinates();
    SendCharges();
    SendOrbitalData();
    if (options.fComputeHessian && !options.fTsSearch) SendVibrations();
    SendPreciseResults();
}

void RunTransit() {
    SetUpCalculation();
    RunSynchronousTransit(static_cast<double>(job.flRmsGradient), job.nMaxCycles);
    SendTail();
}

void RunLangevinJob() {
    SetUpCalculation();
    RunLangevin();
    SendOrbitalData();
}

void RunMonteCarloJob() {
    SetUpCalculation();
    RunMonteCarlo();
    SendOrbitalData();
}

/// One call a kind; a number that is no kind runs nothing.
void DispatchJob() {
    switch (job.nCalcKind) {
        case kSinglePoint:
            return RunSinglePoint();
        case kOptimisation:
            return RunOptimisation();
        case kMolecularDynamics:
            return RunDynamicsJob();
        case kVibrations:
            return RunVibrationsJob();
        case kTransitionState:
            return RunTransitionState();
        case kSynchronousTransit:
            return RunTransit();
        case kLangevinDynamics:
            return RunLangevinJob();
        case kMonteCarlo:
            return RunMonteCarloJob();
        default:
            return;
    }
}

}  // namespace

void RunJob() {
    try {
        DispatchJob();
    } catch (...) {
        ReportFailure();
    }
}

}  // namespace qsolve
