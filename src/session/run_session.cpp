#include "exchange/intake.h"
#include "exchange/results.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/plot.h"
#include "scf/due_orbitals.h"
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

/// The next intake overwrites these before the arrays of this calculation are freed.
void RememberOptions() {
    session.nPrevSpinTreatment = options.nSpinTreatment;
    session.nPrevDiis = options.fDiis;
    session.nPrevCiKind = options.nCiKind;
    session.nPrevCalcKind = job.nCalcKind;
}

void Calculate() {
    FreeSessionArrays();
    ReadAtoms();
    if (job.fRestraints) ReadRestraints();
    ReadSelection();
    RememberOptions();
    RunJob();
}

void RunSteps() {
    ReadParametersOnce();
    ReadDebugWord();
    ReadRunOptions();
    ReadJobOptions();
    ReadFurtherOptions();
    if (options.fCalculate) Calculate();
    if (options.fPlot || options.fSendOrbitals) SolveDueOrbitals();
    if (options.fPlot) RunPlot();
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
