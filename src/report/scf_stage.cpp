#include "job/state.h"
#include "link/link.h"
#include "report/report.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// When in an SCF a dump is written, and on what condition beyond the log level.
enum class When { kAny, kDuring, kAfter };
enum class If { kAlways, kFinalReport, kMicrostateCi };

/// What is written of a stage: the matrix it is about, or its vectors, its density or both.
enum Parts : int { kCore = 1, kFock = 2, kVectors = 4, kDensity = 8, kBoth = kVectors | kDensity };

/// What one log level writes of one stage. A level without a row writes nothing: levels do not
/// include one another.
struct Dump {
    int nStage;
    When nWhen;
    int nLogLevel;
    If nCondition;
    int nParts;
    int nVectorKind;  ///< kinds of the titles
    int nMatrixKind;
};

/// Kind of the alpha orbitals, which those of a finished microstate CI replace.
constexpr int kAlphaOrNatural = -1;

// clang-format off
constexpr Dump kDumps[] = {
    // stage  when          level  condition          parts     vectors          matrix
    {0,       When::kAny,     4,   If::kAlways,       kCore,    0,               0},
    {1,       When::kAny,     4,   If::kAlways,       kFock,    0,               1},
    {2,       When::kAny,     4,   If::kAlways,       kFock,    0,               2},
    {3,       When::kAfter,   1,   If::kAlways,       kVectors, kAlphaOrNatural, 3},
    {3,       When::kAfter,   2,   If::kAlways,       kDensity, kAlphaOrNatural, 3},
    {3,       When::kAfter,   3,   If::kAlways,       kBoth,    kAlphaOrNatural, 3},
    {3,       When::kAfter,   8,   If::kAlways,       kBoth,    kAlphaOrNatural, 3},
    {3,       When::kAfter,   4,   If::kMicrostateCi, kBoth,    kAlphaOrNatural, 3},
    {3,       When::kAfter,   9,   If::kFinalReport,  kBoth,    kAlphaOrNatural, 3},
    {3,       When::kDuring,  4,   If::kAlways,       kBoth,    1,               3},
    {4,       When::kAfter,   1,   If::kAlways,       kVectors, 2,               4},
    {4,       When::kAfter,   2,   If::kAlways,       kDensity, 2,               4},
    {4,       When::kAfter,   3,   If::kAlways,       kBoth,    2,               4},
    {4,       When::kAfter,   9,   If::kFinalReport,  kBoth,    2,               4},
    {4,       When::kDuring,  4,   If::kAlways,       kBoth,    2,               4},
};
// clang-format on

bool IsDue(const Dump& dump, int nStage, bool fFinal) {
    if (dump.nStage != nStage || dump.nLogLevel != options.nLogLevel) return false;
    if (dump.nWhen != When::kAny && (dump.nWhen == When::kAfter) != fFinal) return false;
    switch (dump.nCondition) {
        case If::kAlways:
            return true;
        case If::kFinalReport:
            return setup.fFinalReport;
        case If::kMicrostateCi:
            return scf.nCiKind == kMicrostates;
    }
    return false;
}

int VectorKind(const Dump& dump) {
    if (dump.nVectorKind != kAlphaOrNatural) return dump.nVectorKind;
    return scf.nCiKind == kMicrostates ? 2 : 1;
}

}  // namespace

void ReportScfStage(const ScfStage& stage) {
    if (!link.fLogReports) return;
    const int n = scf.nOrbitals;
    for (const Dump& dump : kDumps) {
        if (!IsDue(dump, stage.nStage, stage.fFinal)) continue;
        if (dump.nParts & kCore) PrintMatrix(stage.mCore, n, n, dump.nMatrixKind);
        if (dump.nParts & kFock) PrintMatrix(stage.mFock, n, n, dump.nMatrixKind);
        if (dump.nParts & kVectors)
            PrintEigenvectors(stage.vEnergy, stage.mVectors, n, n, VectorKind(dump));
        if (dump.nParts & kDensity) PrintMatrix(stage.mDensity, n, n, dump.nMatrixKind);
    }
}

bool ReportsOrbitalsOfCycles() {
    if (!link.fLogReports) return false;
    for (const Dump& dump : kDumps)
        if (dump.nParts & kVectors && IsDue(dump, dump.nStage, false)) return true;
    return false;
}

}  // namespace qsolve
