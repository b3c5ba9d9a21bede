#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "geometry/geometry.h"
#include "gradient/state.h"
#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "link/messages.h"
#include "numeric/row.h"
#include "report/report.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "search/cycles.h"
#include "search/follow_mode.h"
#include "search/hessian_update.h"
#include "search/model_hessian.h"
#include "search/rules.h"
#include "search/search.h"
#include "search/surface.h"
#include "setup/parameters.h"
#include "vibrations/state.h"

namespace qsolve {
namespace {

/// In what a minimisation and a search for a saddle point differ.
struct FollowKind {
    bool fSaddle;
    TrustRules Trust;
    bool (*Update)(int, const double*, const double*, double*, double*);
    double dAcceptFrom, dAcceptTo;  ///< ratios of the energy's change to the prediction
};

constexpr FollowKind kDownhill = {false, kMinimumTrust, UpdateBfgs, -kAnyRatio, kAnyRatio};
constexpr FollowKind kToSaddle = {true, kSaddleTrust, UpdatePowell, 0.0, 4.0};

constexpr double kShortened = 0.005;  ///< trust radius where the Hessian loses its shape
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kLeastOverlap = 0.1;        ///< of the followed mode with itself a cycle before
constexpr double kSoftMode = 0.01;           ///< curvature below it is none that is known, and
constexpr double kGuessedCurvature = 100.0;  ///< this stands for it, kcal/mol per square unit

enum class End { kGoesOn, kConverged, kUnconverged };

/// The search from one cycle to the next.
struct Search {
    FollowKind Kind;
    bool fCareful;  ///< asked for by the client, see SearchWishes
    StepRules Step;
    double dLimit;
    int nModes;   ///< degrees of freedom
    int nFollow;  ///< mode asked for, from 1; 0 the lowest one
    int nMode;    ///< mode followed, from 0; -1 in a minimisation
    double dTrust = 0.0;
    int nCycle = 1, nPoints = 1;
    bool fShortened = false;  ///< in this cycle, for a Hessian that has lost its shape
    bool fHasFollowed = false;
    bool fHasBackup = false;
    Surface Now = {}, Before = {};  ///< this cycle, and the last one that was accepted
    SurfaceWork Work = {};
    Array<double> vFollowed = {};

    Spectrum Modes() const {
        return {nModes, nMode, Now.vValues.Data(), Now.vEigenGradient.Data()};
    }
};

bool IsHessianOnly() {
    return job.nCalcKind == kTransitionState && !options.fTsSearch;
}

double UnitPerAngstrom() {
    return UsesAtomicUnits(system.MethodId) ? kBohrPerAngstrom : 1.0;
}

// ---- set-up -------------------------------------------------------------------------------------

void LogKind() {
    if (!link.fLogReports) return;
    if (job.nCalcKind != kTransitionState) return LogFormat(kMsgFollowMinimum);
    LogFormat(options.fComputeHessian ? kMsgHessianRequired : kMsgHessianOriginal);
    if (options.fTsSearch) {
        LogFormat(kMsgFollowTransition);
        LogFormat(kMsgInputMode, options.nFollowMode);
    } else if (options.fComputeHessian) {
        LogFormat(kMsgHessianCartesian);
    }
}

Search MakeSearch(double dRms) {
    const bool fSaddle = job.nCalcKind == kTransitionState;
    Search s{.Kind = fSaddle ? kToSaddle : kDownhill,
             .fCareful = further.Search.fCareful,
             .Step = further.Search.fCareful ? kCarefulFollowStep : kFollowStep,
             .dLimit = SquareLimit(dRms),
             .nModes = 0,
             .nFollow = fSaddle ? std::max(options.nFollowMode, 0) : 0,
             .nMode = fSaddle ? 0 : -1};
    s.Kind.Trust = WithUnit(s.Kind.Trust, UnitPerAngstrom());
    s.dTrust = s.Kind.Trust.dStart;
    return s;
}

void TakeArrays(Search& s) {
    const int n = 3 * system.nSelected;
    s.Now.Take(n);
    if (s.Kind.fSaddle) s.Before.Take(n);
    s.Work.Take(n);
    s.vFollowed.Take(static_cast<std::size_t>(n), kWork);
}

/// The guess of a minimisation, over the atoms that have orbitals.
void GuessHessian(Search& s) {
    const std::size_t nAtoms = static_cast<std::size_t>(system.nSelected);
    Array<int> nZ, nPosition;
    Array<double> vXyz, mHessian;
    nZ.Take(nAtoms, kWork);
    nPosition.Take(nAtoms, kWork);
    vXyz.Take(nAtoms, 3, kWork);
    mHessian.Take(3 * nAtoms, 3 * nAtoms, kWork);
    GatherPlaces(s.Work.vPlaces.Data());
    int n = 0;
    for (int i = 0; i < system.nSelected; ++i) {
        const AtomRecord& atom = AtomByNumber(AtomNumberAt(i));
        if (IsDummy(atom)) continue;
        nZ[n] = atom.nAtomicNumber;
        nPosition[n] = i;
        std::copy_n(s.Work.vPlaces.Data() + 3 * i, 3, vXyz.Data() + 3 * n++);
    }
    const ModelKind kind = {.fSchlegel = options.fModelHessian != 0,
                            .fBohr = UsesAtomicUnits(system.MethodId),
                            .fCareful = s.fCareful};
    BuildModelHessian(n, nZ.Data(), vXyz.Data(), kind, mHessian.Data());
    for (int i = 0; i < 3 * n; ++i)
        for (int j = 0; j < 3 * n; ++j)
            Row(s.Now.mHessian.Data(), s.Now.n,
                3 * nPosition[i / 3] + i % 3)[3 * nPosition[j / 3] + j % 3] =
                Row(mHessian.Data(), 3 * n, i)[j];
}

/// What a minimisation begins with: the Hessian of the place, which no later job goes on from, or a
/// guess.
void FindDownhillHessian(Search& s) {
    if (!s.fCareful || !options.fComputeHessian) return GuessHessian(s);
    ComputeSearchHessian();
    TakeKeptHessian(s.Now);
    vibrations = VibrationState{};
}

/// The one that the client has told; else that of the place; of a minimisation a guess, unless a
/// careful one asks for that of the place. False where the Hessian of an earlier job is asked for
/// and there is none.
bool FindHessian(Search& s) {
    if (HasGivenHessian()) {
        TakeGivenHessian(s.Now);
        return true;
    }
    if (!s.Kind.fSaddle) {
        FindDownhillHessian(s);
        return true;
    }
    if (options.fComputeHessian) {
        ComputeSearchHessian();
    } else if (!HasSearchHessian()) {
        ErrorFormat(kMsgHessianMissing);
        return false;
    }
    TakeKeptHessian(s.Now);
    return true;
}

// ---- one step -----------------------------------------------------------------------------------

/// Chooses the mode to follow: the one asked for in the first cycle, later the one that looks like
/// it. False where it is lost.
bool SelectFollowedMode(Search& s) {
    const int n = s.Now.n, nOld = s.nMode;
    if (s.nFollow == 0) return true;
    if (s.nCycle < 2 || !s.fHasFollowed) {
        if (s.nFollow > s.nModes && !s.fHasFollowed)
            ErrorFormat(kMsgSpecifiedModeTooHigh, s.nFollow, s.nModes);
        s.nMode = std::min(s.nFollow, s.nModes) - 1;
    } else {
        const FoundMode found =
            FindFollowedMode(s.nModes, n, s.Now.mVectors.Data(), s.vFollowed.Data());
        if (found.dOverlap < kLeastOverlap && s.dTrust >= kShortened) return false;
        s.nMode = found.nMode;
        if (s.nMode != nOld) LogFormat(kMsgModeSwitching, nOld + 1, s.nMode + 1);
    }
    std::copy_n(Row(s.Now.mVectors.Data(), n, s.nMode), n, s.vFollowed.Data());
    s.fHasFollowed = true;
    return true;
}

/// The step of this cycle in the trust radius at hand. False where the followed mode is lost.
bool FindStep(Search& s, EfStep& step) {
    if (s.Kind.fSaddle && !SelectFollowedMode(s)) return false;
    step = ComputeEfStep(s.Step, s.Modes(), s.dTrust, s.Work.vModeStep.Data());
    if (step.fShiftMissing) ErrorFormat(kMsgLamdaMissing);
    if (!FormStep(s.nModes, s.Work.vModeStep.Data(), s.Now)) step.dLength = kNoNumber;
    s.Now.dLength = step.dLength;
    s.Now.dTrust = s.dTrust;
    return true;
}

/// A Hessian that has lost the shape of a saddle point makes the step short, once in a cycle.
/// Careful searches compare the shapes as they are; others take this one for right from then on.
bool LosesShape(const Search& s) {
    const bool fWrong = s.Now.nNegativeBefore == 1 && s.Now.nNegative != 1;
    return s.Kind.fSaddle && fWrong && !s.fShortened;
}

bool FindSafeStep(Search& s, EfStep& step) {
    bool fFound = FindStep(s, step);
    if (LosesShape(s)) {
        const double dShorter = ShorterTrust(s.dTrust, s.Now.dLength);
        s.dTrust = dShorter > kShortened ? kShortened : dShorter;
        s.fShortened = true;
        if (!s.fCareful) s.Now.nNegative = 1;
        fFound = FindStep(s, step);
    }
    return fFound;
}

/// The last step went too far: back to where it began, with its model, in half its radius. False
/// where that is less than the least.
bool GoBack(Search& s) {
    if (!s.Kind.fSaddle) ErrorFormat(kMsgLostModeLogic);
    s.Now.CopyFrom(s.Before);
    MoveAtoms(s.Now.vStep.Data(), -1.0);
    if (s.fCareful) s.nModes = s.Now.n - s.Now.nExternal;
    s.dTrust = ShorterTrust(s.Now.dTrust, s.Now.dLength);
    s.fHasBackup = false;
    s.fShortened = true;
    return s.dTrust >= s.Kind.Trust.dLeast;
}

bool IsRefused(const Search& s, const Outcome& outcome) {
    if (!IsOnTheMap()) return true;
    if (!s.Kind.fSaddle) {
        const double dNorm = std::sqrt(gradient.dGradientSquared) / UnitPerAngstrom();
        return outcome.dChange > 0.0 || (!s.fCareful && dNorm > outcome.dNorm);
    }
    const double r = outcome.Ratio();
    return !(r >= s.Kind.dAcceptFrom && r <= s.Kind.dAcceptTo) && !outcome.IsSmall();
}

/// Makes steps until one is accepted. False where the trust radius is used up.
bool MakeStep(Search& s) {
    for (;;) {
        EfStep step;
        if (!FindSafeStep(s, step)) {
            if (s.fHasBackup && GoBack(s)) continue;
            return false;
        }
        if (!std::isfinite(step.dLength)) return false;
        MoveAtoms(s.Now.vStep.Data(), 1.0);
        results.Block.nNegativeEigenvalues = s.Now.nNegative;
        ReportCycle(s.nCycle, s.nPoints);
        RunScf();
        ++s.nPoints;
        const Outcome outcome{.dNorm = s.Now.dNorm,
                              .dPredicted = PredictedChange(s.Step, s.Modes(), step),
                              .dChange = scf.dTotalEnergy - s.Now.dEnergy,
                              .dLength = step.dLength};
        if (!IsRefused(s, outcome)) {
            s.dTrust = TrustAfter(s.Kind.Trust, outcome, s.dTrust);
            return true;
        }
        MoveAtoms(s.Now.vStep.Data(), -1.0);
        s.dTrust = ShorterTrust(s.dTrust, step.dLength);
        if (s.dTrust < s.Kind.Trust.dLeast) return false;
    }
}

// ---- cycles -------------------------------------------------------------------------------------

/// Brings the Hessian to what the last step has shown.
void UpdateHessian(Search& s) {
    for (int i = 0; i < s.Now.n; ++i)
        s.Work.vPlaces[i] = gradient.pGradient[i] - s.Now.vGradient[i];
    s.Kind.Update(s.Now.n, s.Work.vPlaces.Data(), s.Now.vStep.Data(), s.Work.vWork.Data(),
                  s.Now.mHessian.Data());
}

/// Curvatures that the guess lacks: such a mode is a vibration like others, and would never move.
void GuessSoftModes(Search& s) {
    for (int i = 0; i < s.nModes; ++i)
        if (std::abs(s.Now.vValues[i]) < kSoftMode) s.Now.vValues[i] = kGuessedCurvature;
}

/// The model of this cycle.
void PrepareSurface(Search& s) {
    if (s.Kind.fSaddle && s.nCycle >= 2) {
        s.Before.CopyFrom(s.Now);
        s.fHasBackup = true;
    }
    if (s.nCycle >= 2) UpdateHessian(s);
    NoteGradient(s.Now);
    FindModes(s.Now, s.Work);
    if (s.fCareful) s.nModes = s.Now.n - s.Now.nExternal;
}

void KeepModes(const Search& s) {
    constexpr float kNoIntensity = 10.0F;
    const std::size_t n = static_cast<std::size_t>(s.Now.n);
    ModeResults& modes = results.Modes;
    modes = ModeResults{};
    modes.Records.Take(n, kWork);
    modes.mModes.Take(n, n, kWork);
    std::copy(s.Now.mVectors.begin(), s.Now.mVectors.end(), modes.mModes.begin());
    for (int p = 0; p < s.Now.n; ++p)
        modes.Records[p] = {.flFrequency = static_cast<float>(s.Now.vValues[p]),
                            .nIndex = p,
                            .flIntensity = kNoIntensity};
    modes.nExternalModes = s.Now.nExternal;
    modes.nModes = s.Now.n;
}

void ReportVectors(const Search& s) {
    if (s.Now.vValues.Size() == 0) return;
    ReportHessianModes(s.Now.n, s.Now.nExternal, s.Now.vValues.Data(), s.Now.mVectors.Data());
}

/// A careful search for a saddle point ends only where its Hessian has a direction downhill.
bool HasConverged(const Search& s) {
    if (s.nCycle < 2 || !IsBelowLimit(s.dLimit)) return false;
    return !(s.fCareful && s.Kind.fSaddle) || s.Now.nNegative > 0;
}

End RunCycle(Search& s) {
    const bool fJudgesShape = s.fCareful && s.Kind.fSaddle;
    if (!fJudgesShape && HasConverged(s)) return End::kConverged;
    PrepareSurface(s);
    if (IsHessianOnly()) {
        ReportVectors(s);
        KeepModes(s);
        return End::kUnconverged;
    }
    if (s.fCareful && !s.Kind.fSaddle) GuessSoftModes(s);
    s.Now.nNegativeBefore = s.nCycle < 2 ? -1 : s.Now.nNegative;
    ZeroAndCount(s.nModes, s.Now);
    if (fJudgesShape && HasConverged(s)) return End::kConverged;
    FillEigenGradient(s.nModes, s.Now);
    s.fShortened = false;
    if (!MakeStep(s)) {
        Warn(kMsgTrustExhausted, s.Kind.Trust.dLeast);
        return End::kUnconverged;
    }
    return End::kGoesOn;
}

End RunCycles(Search& s, int nMaxCycles) {
    if (s.nModes < 1) return End::kConverged;
    for (; s.nCycle <= nMaxCycles; ++s.nCycle) {
        const End end = RunCycle(s);
        if (end != End::kGoesOn) return end;
        if (s.nCycle == nMaxCycles) break;  // the largest of all integers has no successor
    }
    return End::kUnconverged;
}

}  // namespace

void EigenvectorFollow(double dRms, int nMaxCycles) {
    Search s = MakeSearch(dRms);
    LogKind();
    if (s.Kind.fSaddle && system.nSelected == 1) Fatal(kMsgTransitionOneAtom);
    s.Work.Take(3 * system.nSelected);
    s.nModes = 3 * system.nSelected - CountExternalModesNow(s.Work);
    if (s.Kind.fSaddle && options.fTsSearch && s.nModes < s.nFollow)
        ErrorFormat(kMsgModeTooHigh, s.nFollow, s.nModes);
    RunScfForGradient();
    if (!s.Kind.fSaddle && (IsBelowLimit(s.dLimit) || s.nModes < 1))
        return FinishFollowing(true, s.nPoints);
    TakeArrays(s);
    if (!FindHessian(s)) return;
    const End end = RunCycles(s, nMaxCycles);
    ReportVectors(s);
    FinishFollowing(end == End::kConverged, s.nPoints);
}

}  // namespace qsolve
