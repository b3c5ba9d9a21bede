#include <cmath>

#include "dynamics/dynamics.h"
#include "dynamics/walk.h"
#include "exchange/report_point.h"
#include "gradient/state.h"
#include "job/report_point.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

constexpr double kWarnSquare = 1e10;  ///< (kcal/(mol Angstrom))^2

float Narrow(double d) {
    return static_cast<float>(d);
}

void FillEnergies(const Walk& walk) {
    results.Block.flPotentialEnergy = Narrow(scf.dTotalEnergy);
    results.Block.flTotalEnergy = Narrow(walk.dKineticEnergy + scf.dTotalEnergy);
}

/// What stands in the block of every report.
void FillBlock(const Walk& walk, long long nStep, bool fFinal) {
    ResultBlock& block = results.Block;
    block.flAcceptRatio = Narrow(AcceptRatio(walk));
    block.fFinalResult = fFinal ? 1 : 0;
    block.flTemperature = Narrow(walk.dTemperature);
    block.flKineticEnergy = Narrow(walk.dKineticEnergy);
    block.flTime = static_cast<float>(nStep);
    block.flSeedEcho = static_cast<float>(job.nRandomSeed);
    block.flUnused136[0] = block.flUnused136[1] = 0.0F;
}

void SayTheEnd(const Walk& walk, long long nStep) {
    const double dTotal = walk.dKineticEnergy + scf.dTotalEnergy;
    LogFormat(kMsgMonteCarloSummary, static_cast<double>(nStep), AcceptRatio(walk), dTotal,
              walk.dTemperature);
    StatusFormat(kMsgMonteCarloEnd, static_cast<double>(nStep), dTotal, walk.dTemperature);
}

/// The last step's report with its lines, and one more SCF, which writes the full log and leaves
/// the potential energy in place of the total. Asked for the state, the SCF comes first.
void FinishWalk(Walk& walk, long long nStep) {
    setup.fFinalReport = true;
    if (further.Motion.fStateReports) {
        EvaluateState(walk);
        FillBlock(walk, nStep, true);
        FillEnergies(walk);
        SayTheEnd(walk, nStep);
    } else {
        FillBlock(walk, nStep, true);
        FillEnergies(walk);
        SayTheEnd(walk, nStep);
        EvaluateState(walk);
    }
    SendReportPoint();
}

void ReportWalk(Walk& walk, long long nStep) {
    if (walk.fAtTrial && further.Motion.fStateReports) EvaluateState(walk);
    FillBlock(walk, nStep, false);
    FillEnergies(walk);
    SendReportPoint();
}

/// A step that is not reported leaves in the block what the status line shows.
void NoteStep(const Walk& walk, long long nStep) {
    ResultBlock& block = results.Block;
    block.flTemperature = Narrow(walk.dTemperature);
    block.flTime = Narrow(static_cast<double>(nStep) * static_cast<double>(job.flTimeStep));
    block.flPotentialEnergy = block.flTotalEnergy;
}

/// Energy and report of the places at the start. Without asking for the state the block has no
/// potential energy yet, and is not final even where no step follows.
void ReportStart(Walk& walk) {
    const bool fState = further.Motion.fStateReports, fOnly = fState && walk.nSteps < 1;
    setup.fFinalReport = fOnly;
    EvaluateState(walk);
    if (!gradient.fComputed) Fatal(kMsgNotAvailable, "gradient", job.nCalcKind);
    const double dSquare = gradient.dGradientSquared / (3.0 * system.nAtomsActive);
    if (!(dSquare <= kWarnSquare))
        Warn(kMsgLargeGradient, 3LL * system.nAtomsActive, std::sqrt(dSquare));
    FillBlock(walk, 0, fOnly);
    if (fState) FillEnergies(walk);
    SendReportPoint();
}

}  // namespace

void RunMonteCarlo() {
    Walk walk = StartWalk();
    ReportStart(walk);
    for (long long nStep = 1; nStep <= walk.nSteps; ++nStep) {
        if (nStep > walk.Lengths.nHeatSteps && nStep <= walk.Lengths.nHeatRunSteps)
            walk.dTemperature = static_cast<double>(job.flSimTemp);
        MetropolisSweep(walk);
        if (nStep == walk.nSteps)
            FinishWalk(walk, nStep);
        else if (IsReportPoint(nStep))
            ReportWalk(walk, nStep);
        else
            NoteStep(walk, nStep);
    }
}

}  // namespace qsolve
