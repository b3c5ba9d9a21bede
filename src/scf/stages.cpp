#include "scf/stages.h"

#include "report/report.h"

namespace qsolve {

namespace {

// What the report calls the stages.
constexpr int kCore = 0, kFockA = 1, kFockB = 2, kLevelsA = 3, kLevelsB = 4;

}  // namespace

void ReportCore(const ScfRun& run) {
    if (run.fVerbose) ReportScfStage({.nStage = kCore, .mCore = scf.mCore.Data()});
}

void ReportFock(const ScfRun& run, const SpinRun& s) {
    if (!run.fVerbose) return;
    ReportScfStage({.nStage = s.spin == Spin::kAlpha ? kFockA : kFockB, .mFock = s.mFock.Data()});
}

void ReportLevels(const ScfRun& run, const SpinRun& s, const double* vValues,
                  const double* mDensity, bool fFinal) {
    if (!run.fVerbose) return;
    ReportScfStage({.nStage = s.spin == Spin::kAlpha ? kLevelsA : kLevelsB,
                    .fFinal = fFinal,
                    .vEnergy = vValues,
                    .mDensity = mDensity,
                    .mVectors = s.mVectors.Data()});
}

}  // namespace qsolve
