#include "link/link.h"
#include "session/session.h"
#include "setup/setup.h"

namespace qsolve {

namespace {

/// Sets a calculation up and says that its driver does not exist.
[[noreturn]] void SetUpAndDecline(const char* sJob) {
    SetUpCalculation();
    Fatal(kMsgNotAvailable, sJob, job.nCalcKind);
}

void DispatchJob() {
    switch (job.nCalcKind) {
        case kSinglePoint:
            SetUpAndDecline("a single point");
        case kOptimisation:
            SetUpAndDecline("geometry optimisation");
        case kMolecularDynamics:
            SetUpAndDecline("molecular dynamics");
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
