#include "exchange/report_point.h"
#include "exchange/results.h"
#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "search/search.h"
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

/// An SCF at the first geometry, for energy and gradient.
void RunFirstScf() {
    RunScf();
    if (!gradient.fComputed) Decline("gradient");
}

/// An optimiser that is not one leaves the geometry as it came, and nothing is computed.
void RunOptimisation() {
    SetUpCalculation();
    const double dRms = static_cast<double>(job.flRmsGradient);
    switch (job.nOptimiser) {
        case kSteepestDescent:
            RunFirstScf();
            SteepestDescent(dRms, job.nMaxCycles);
            break;
        case kFletcherReeves:
            RunFirstScf();
            FletcherReeves(dRms, job.nMaxCycles);
            break;
        case kPolakRibiere:
            RunFirstScf();
            PolakRibiere(dRms, job.nMaxCycles);
            break;
        case kEigenvectorFollowing:
            Decline("optimisation by eigenvector following");
        default:
            break;
    }
    SendTail();
}

void DispatchJob() {
    switch (job.nCalcKind) {
        case kSinglePoint:
            RunSinglePoint();
            break;
        case kOptimisation:
            RunOptimisation();
            break;
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
