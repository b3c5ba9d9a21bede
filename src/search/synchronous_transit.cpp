#include <algorithm>
#include <cmath>
#include <cstddef>

#include "geometry/geometry.h"
#include "gradient/state.h"
#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "link/messages.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "report/report.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "search/cycles.h"
#include "search/follow_mode.h"
#include "search/hessian_update.h"
#include "search/rules.h"
#include "search/search.h"
#include "search/surface.h"
#include "search/tangent.h"
#include "setup/parameters.h"

namespace qsolve {
namespace {

constexpr int kLastClimb = 4;             ///< cycle up to which the search climbs
constexpr int kFirstShortClimb = 3;       ///< from it on a short climb is none
constexpr double kShortClimb = 0.05;      ///< working unit
constexpr int kHessianPeriod = 200;       ///< cycles after which the Hessian is computed anew
constexpr double kFollowedOverlap = 0.8;  ///< with the tangent, for a mode that is not the lowest
constexpr double kNoDirection = 1e-20;
constexpr double kMostRatio = 10.0;

enum class End { kGoesOn, kConverged, kUnconverged };

/// The search from one cycle to the next.
struct Transit {
    bool fCareful;     ///< asked for by the client, see SearchWishes
    bool fEitherSign;  ///< the mode along the tangent is found in either sign
    bool fLinear;
    TrustRules Trust;
    StepRules Step;
    double dLimit;
    int nModes = 0;  ///< degrees of freedom
    int nMode = 0;   ///< followed, from 0
    double dTrust = 0.0;
    int nCycle = 1, nPoints = 1;
    Surface Now = {};
    SurfaceWork Work = {};
    Array<double> vReactant = {}, vProduct = {};  ///< by position, working unit
    Array<double> vCurrentXyz = {}, vTangent = {};

    Spectrum Modes() const {
        return {nModes, nMode, Now.vValues.Data(), Now.vEigenGradient.Data()};
    }
};

// ---- set-up -------------------------------------------------------------------------------------

void LogKind() {
    if (!link.fLogReports) return;
    LogFormat(options.nFollowMode == 0   ? kMsgLinearTransit
              : options.nFollowMode == 1 ? kMsgQuadraticTransit
                                         : kMsgOtherTransit);
}

Transit MakeTransit(double dRms) {
    const bool fCareful = further.Search.fCareful;
    Transit t{.fCareful = fCareful,
              .fEitherSign = further.Search.fEitherSign,
              .fLinear = options.nFollowMode == 0,
              .Trust = UsesAtomicUnits(system.MethodId) ? kTransitTrustBohr : kTransitTrust,
              .Step = fCareful ? kCarefulTransitStep : kTransitStep,
              .dLimit = SquareLimit(dRms)};
    t.dTrust = t.Trust.dStart;
    return t;
}

/// One end by position, in the working unit.
void TakeEnd(const Array<double>& dXyz, Array<double>& v) {
    const double dUnit = UsesAtomicUnits(system.MethodId) ? kIntakeBohrPerAngstrom : 1.0;
    v.Take(static_cast<std::size_t>(system.nSelected), 3, kWork);
    for (int i = 0; i < system.nSelected; ++i)
        for (int x = 0; x < 3; ++x) v[3 * i + x] = dUnit * dXyz[3 * (AtomNumberAt(i) - 1) + x];
}

void TakeArrays(Transit& t) {
    const int n = 3 * system.nSelected;
    t.Now.Take(n);
    TakeEnd(system.dReactantXyz, t.vReactant);
    TakeEnd(system.dProductXyz, t.vProduct);
    for (Array<double>* v : {&t.vCurrentXyz, &t.vTangent})
        v->Take(static_cast<std::size_t>(n), kWork);
}

/// Whatever way the job ends, its ends are used up.
struct EndsGuard {
    EndsGuard() = default;
    ~EndsGuard() {
        system.dReactantXyz.Reset();
        system.dProductXyz.Reset();
    }
    EndsGuard(const EndsGuard&) = delete;
    EndsGuard& operator=(const EndsGuard&) = delete;
};

// ---- the model of a cycle -----------------------------------------------------------------------

void FindHessian(Transit& t) {
    if (t.nCycle == 1 && HasGivenHessian()) return TakeGivenHessian(t.Now);
    if (t.nCycle == 1 || t.nCycle % kHessianPeriod == 0) {
        ComputeSearchHessian();
        TakeKeptHessian(t.Now);
        return;
    }
    for (int i = 0; i < t.Now.n; ++i)
        t.Work.vPlaces[i] = gradient.pGradient[i] - t.Now.vGradient[i];
    UpdatePowell(t.Now.n, t.Work.vPlaces.Data(), t.Now.vStep.Data(), t.Work.vWork.Data(),
                 t.Now.mHessian.Data());
}

void FindLinearTangent(Transit& t) {
    const TangentFault fault =
        LinearTangent(t.Now.n, t.vReactant.Data(), t.vProduct.Data(), t.vTangent.Data());
    if (fault == TangentFault::kNone) return;
    ErrorFormat(kMsgTransitIdentical);
    ErrorFormat(kMsgLstTangent);
}

void FindQuadraticTangent(Transit& t) {
    GatherPlaces(t.vCurrentXyz.Data());
    const TangentFault fault = QuadraticTangent(t.Now.n, t.vReactant.Data(), t.vCurrentXyz.Data(),
                                                t.vProduct.Data(), t.vTangent.Data());
    if (fault == TangentFault::kNone) return;
    ErrorFormat(fault == TangentFault::kAtProduct ? kMsgCloseToProduct : kMsgCloseToReactant);
    ErrorFormat(kMsgQstTangent);
}

/// The mode that leads from one end to the other, where one does so clearly; else the lowest.
void ChooseMode(Transit& t) {
    const FoundMode found =
        FindModeAlong(t.nModes, t.Now.n, t.Now.mVectors.Data(), t.vTangent.Data(), t.fEitherSign);
    t.nMode = found.dOverlap > kFollowedOverlap ? found.nMode : 0;
}

void PrepareSurface(Transit& t) {
    FindHessian(t);
    NoteGradient(t.Now);
    FindModes(t.Now, t.Work);
    if (t.fCareful) t.nModes = t.Now.n - t.Now.nExternal;
    ZeroAndCount(t.nModes, t.Now);
}

// ---- steps --------------------------------------------------------------------------------------

void MoveAndReport(Transit& t) {
    MoveAtoms(t.Now.vStep.Data(), 1.0);
    results.Block.nNegativeEigenvalues = t.Now.nNegative;
    ReportCycle(t.nCycle, t.nPoints);
    RunScf();
    ++t.nPoints;
}

/// The step uphill along the mode. False where the cycle has none.
bool FindClimb(Transit& t) {
    if (t.nCycle > kLastClimb) return false;
    const double* v = Row(t.Now.mVectors.Data(), t.Now.n, t.nMode);
    const double b = t.Now.vValues[t.nMode], f = Dot(t.Now.n, v, t.Now.vGradient.Data());
    const double d = b - 0.5 * (b + std::sqrt(b * b + 4.0 * f * f));
    if (std::abs(d) < kNoDirection) {
        ErrorFormat(kMsgClimbingDirection);
        return false;
    }
    const double dAlong = std::clamp(-f / d, -t.dTrust, t.dTrust);
    if (t.nCycle >= kFirstShortClimb && std::abs(dAlong) <= kShortClimb) return false;
    for (int i = 0; i < t.Now.n; ++i) t.Now.vStep[i] = dAlong * v[i];
    t.Now.dLength = std::abs(dAlong);
    return std::isfinite(t.Now.dLength);
}

bool IsAccepted(const Outcome& outcome) {
    if (!IsOnTheMap()) return false;
    const double r = outcome.Ratio();
    return (r >= 0.0 && r <= kMostRatio) || outcome.IsSmall();
}

/// Follows the mode, with ever shorter steps until one is accepted. False where the trust radius is
/// used up.
bool Follow(Transit& t) {
    FillEigenGradient(t.nModes, t.Now);
    for (;;) {
        const EfStep step = ComputeEfStep(t.Step, t.Modes(), t.dTrust, t.Work.vModeStep.Data());
        if (step.fShiftMissing) ErrorFormat(kMsgTransitLamdaMissing);
        const bool fFinite = FormStep(t.nModes, t.Work.vModeStep.Data(), t.Now);
        if (!fFinite || !std::isfinite(step.dLength)) return false;
        t.Now.dLength = step.dLength;
        MoveAndReport(t);
        const Outcome outcome{.dNorm = t.Now.dNorm,
                              .dPredicted = PredictedChange(t.Step, t.Modes(), step),
                              .dChange = scf.dTotalEnergy - t.Now.dEnergy,
                              .dLength = step.dLength};
        if (IsAccepted(outcome)) {
            t.dTrust = TrustAfter(t.Trust, outcome, t.dTrust);
            return true;
        }
        MoveAtoms(t.Now.vStep.Data(), -1.0);
        t.dTrust = ShorterTrust(t.dTrust, step.dLength);
        if (t.dTrust < t.Trust.dLeast) return false;
    }
}

// ---- cycles -------------------------------------------------------------------------------------

/// A careful search ends only where its Hessian has a direction downhill.
bool HasConverged(const Transit& t) {
    if (t.nCycle < 2 || !IsBelowLimit(t.dLimit)) return false;
    return !t.fCareful || t.Now.nNegative > 0;
}

End RunCycle(Transit& t) {
    if (!t.fCareful && HasConverged(t)) return End::kConverged;
    PrepareSurface(t);
    if (t.fCareful && HasConverged(t)) return End::kConverged;
    t.fLinear ? FindLinearTangent(t) : FindQuadraticTangent(t);
    ChooseMode(t);
    if (FindClimb(t)) {
        MoveAndReport(t);
        return IsOnTheMap() ? End::kGoesOn : End::kUnconverged;
    }
    if (Follow(t)) return End::kGoesOn;
    Warn(kMsgTrustExhausted, t.Trust.dLeast);
    return End::kUnconverged;
}

End RunCycles(Transit& t, int nMaxCycles) {
    if (t.nModes < 1) return End::kConverged;
    for (; t.nCycle <= nMaxCycles; ++t.nCycle) {
        const End end = RunCycle(t);
        if (end != End::kGoesOn) return end;
        if (t.nCycle == nMaxCycles) break;  // the largest of all integers has no successor
    }
    return End::kUnconverged;
}

}  // namespace

void RunSynchronousTransit(double dRms, int nMaxCycles) {
    const EndsGuard ends;
    if (system.nSelected == 1) Fatal(kMsgTransitionOneAtom);
    if (system.nSelected != system.nAtoms) ErrorFormat(kMsgTransitMixedModel);
    LogKind();
    Transit t = MakeTransit(dRms);
    t.Work.Take(3 * system.nSelected);
    t.nModes = 3 * system.nSelected - CountExternalModesNow(t.Work);
    RunScfForGradient();
    TakeArrays(t);
    const End end = RunCycles(t, nMaxCycles);
    ReportHessianModes(t.Now.n, t.Now.nExternal, t.Now.vValues.Data(), t.Now.mVectors.Data());
    FinishFollowing(end == End::kConverged, t.nPoints);
}

}  // namespace qsolve
