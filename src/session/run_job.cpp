#include "link/link.h"
#include "link/results.h"
#include "scf/scf.h"
#include "session/session.h"
#include "setup/setup.h"

namespace qsolve {

namespace {

/// Says that a job has no driver.
[[noreturn]] void Decline(const char* sJob) {
    Fatal(kMsgNotAvailable, sJob, job.nCalcKind);
}

/// The same once the job has been checked and its settings are in the log.
[[noreturn]] void SetUpAndDecline(const char* sJob) {
    SetUpCalculation();
    Decline(sJob);
}

void RunSinglePoint() {
    SetUpCalculation();
    RunScf();
    SendResultBlock();
    SendCharges();
    SendOrbitalData();
    SendPreciseResults();
}

void DispatchJob() {
    switch (job.nCalcKind) {
        case kSinglePoint:
            RunSinglePoint();
            break;
        case kOptimisation:
            SetUpAndDecline("geometry optimisation");
        case kMolecularDynamics:
            SetUpCalculation();
            if (job.nMdKind < 0 || job.nMdKind > 2) return;
            Decline("molecular dynamics");
        case kVibrations:
            if (!options.fComputeForceMatrix) Fatal(kMsgForceMatrixMissing);
            SetUpAndDecline("vibrational analysis");
        case kTransitionState:
            SetUpAndDecline("transition state search");
        case kSynchronousTransit:
            SetUpAndDecline("synchronous transit");
        case kLangevinDynamics:
            SetUpAndDecline("Langevin dynamics");
        case kMonteCarlo:
            SetUpAndDecline("Monte Carlo sampling");
        default:
            break;
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
