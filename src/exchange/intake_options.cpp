#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "exchange/intake.h"
#include "exchange/intake_checks.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "link/messages.h"
#include "link/packets.h"
#include "link/state.h"

namespace qsolve {
namespace {

/// From this level on the log is silent.
constexpr int kSilentLogLevel = 10;

void NormaliseFlags(std::initializer_list<int*> flags) {
    for (int* pFlag : flags) *pFlag = AsFlag(*pFlag);
}

void RefuseUnknown(const char* sName, int nValue, int nHighest) {
    if (nValue < 0 || nValue > nHighest) Fatal(kMsgOptionUnknown, sName, nValue);
}

void RefuseNonFinite(const char* sName, float flValue) {
    if (!std::isfinite(flValue)) Fatal(kMsgSettingNotANumber, sName);
}

/// The grid in bohr; what is no finite number, or is none in bohr, becomes 0.
void ConvertPlotGrid(float* vGrid) {
    constexpr float kFactor = static_cast<float>(kIntakeBohrPerAngstrom);
    for (int i = 0; i < 9; ++i) vGrid[i] = FiniteOrZero(vGrid[i] * kFactor);
}

}  // namespace

void ReadDebugWord() {
    int nWord = 0;
    RequestWhole("debug word", &nWord, sizeof nWord);
    fDebugTrace = AsFlag(nWord);
}

void ReadRunOptions() {
    RunOptions asked;
    RequestWhole("run options", &asked, sizeof asked);
    RefuseUnknown("nSpinTreatment", asked.nSpinTreatment, 1);
    RefuseUnknown("nCiKind", asked.nCiKind, 2);
    RefuseNonFinite("flConvergenceLimit", asked.flConvergenceLimit);

    NormaliseFlags({&asked.fCalculate, &asked.fPlot, &asked.fNextLowestState, &asked.fDiis,
                    &asked.fModelHessian, &asked.fPlotBetaSpin, &asked.fSendOrbitals,
                    &asked.fComputeHessian, &asked.fTsSearch, &asked.fComputeForceMatrix});
    ConvertPlotGrid(asked.flPlotGrid);
    asked.flOverlapSigma = FiniteOrZero(asked.flOverlapSigma);
    asked.flOverlapPi = FiniteOrZero(asked.flOverlapPi);
    // A limit that is no number must not pass for 0, which is a valid one; a negative one is
    // refused by validation, if the job goes by it.
    if (!std::isfinite(asked.flCiMaxExcitation)) asked.flCiMaxExcitation = -1.0F;

    // The client counts the cycle of the shift from 1, and 0 is no multiplicity.
    asked.nLevelShiftStart = AddSaturated(asked.nLevelShiftStart, -1);
    if (asked.nMultiplicity == 0) asked.nMultiplicity = 1;

    options = asked;
    link.fLogReports = options.nLogLevel < kSilentLogLevel && link.nOwnNode == kNodeBackend;
}

void ReadJobOptions() {
    JobOptions asked;
    RequestWhole("job options", &asked, sizeof asked);
    RefuseNonFinite("flRmsGradient", asked.flRmsGradient);

    NormaliseFlags({&asked.fRestraints, &asked.fPeriodicBox, &asked.fTempBath,
                    &asked.fRestartVelocities, &asked.fShowWarnings});
    for (float* pNumber :
         {&asked.flBoxX, &asked.flBoxY, &asked.flBoxZ, &asked.flStartTemp, &asked.flSimTemp,
          &asked.flFinalTemp, &asked.flTempStep, &asked.flFriction})
        *pNumber = FiniteOrZero(*pNumber);
    for (float* pTime : {&asked.flBathRelaxTime, &asked.flHeatTime, &asked.flRunTime,
                         &asked.flCoolTime, &asked.flTimeStep})
        *pTime = std::max(0.0F, FiniteOrZero(*pTime));

    job = asked;
    link.fShowWarnings = job.fShowWarnings != 0;
    system.dHalfBoxX = 0.5 * static_cast<double>(job.flBoxX);
    system.dHalfBoxY = 0.5 * static_cast<double>(job.flBoxY);
    system.dHalfBoxZ = 0.5 * static_cast<double>(job.flBoxZ);
}

}  // namespace qsolve
