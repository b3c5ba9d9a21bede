#include "link/intake.h"
#include "link/link.h"
#include "link/results.h"
#include "scf/state.h"
#include "session/session.h"
#include "session/state.h"
#include "setup/parameter_intake.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// The parameter tables arrive once in a process.
void ReadParametersOnce() {
    if (parameters.fLoaded) return;
    ClearSessionPointers();
    const int nNodeCount = 1;
    SendPacket(kPacketData, &nNodeCount, sizeof nNodeCount);
    ReadParameters();
    parameters.fLoaded = true;
    ClearSessionPointers();
}

void Calculate() {
    FreeSessionArrays();
    ReadAtoms();
    if (job.fRestraints) ReadRestraints();
    ReadSelection();
    RunJob();
}

/// A plot works from what the last calculation left.
void Plot() {
    const bool fUsable = session.fResultsExist && scf.fResultsValid && system.pAtoms;
    if (!fUsable) Fatal(kMsgNothingToPlot);
    Fatal(kMsgNotAvailable, "plotting", job.nCalcKind);
}

void RunSteps() {
    ReadParametersOnce();
    ReadDebugWord();
    ReadRunOptions();
    ReadJobOptions();
    if (options.fCalculate) Calculate();
    if (options.fPlot) Plot();
    if (options.fSendOrbitals) SendEigenvectors();
}

}  // namespace

void RunSession() {
    try {
        RunSteps();
    } catch (...) {
        FreeSessionArrays();
        ReportFailure();
    }
}

}  // namespace qsolve
