#include <cmath>
#include <cstddef>

#include "geometry/geometry.h"
#include "gradient/state.h"
#include "job/state.h"
#include "link/memory.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "search/cycles.h"
#include "search/search.h"
#include "setup/parameters.h"

namespace qsolve {
namespace {

/// In what the two methods differ. All else is common.
struct Variant {
    double dFirstScale;    ///< first value of the step scale
    bool fDifference;      ///< beta takes the change of the gradient, so that the last one is kept
    bool fRestartByCount;  ///< restarts on the cycle after every 3 nSelected
    bool fGuard;           ///< small denominators are replaced
};

// clang-format off
constexpr Variant kFletcherReevesVariant = {0.002, false, true,  false};
constexpr Variant kPolakRibiereVariant   = {0.001, true,  false, true};
// clang-format on

constexpr double kEnergyDepth = 1000.0;  ///< kcal/mol below the start: no minimum is so deep
constexpr double kInnerFactor = 1e-4;    ///< of the limit, for a point inside a line search
constexpr double kSmallest = 1e-20;      ///< denominators below it are replaced
constexpr int kMostBracketSteps = 100;
constexpr int kMostRefinements = 10;
constexpr int kMostUncounted = 10;  ///< cycles in a row that led backwards and do not count

/// How a line search, or the search, has ended.
enum class Outcome { kGoesOn, kConverged, kLost };

/// The search from one cycle to the next.
struct Search {
    const Variant& Kind;
    double dLimit;  ///< of the gradient's square
    double dFloor;  ///< kcal/mol
    double dScale;
    Array<double> vDirection = {};    ///< 3 x nSelected
    Array<double> vGradientOld = {};  ///< of the last direction, where the variant needs it
    double dGradientSquaredOld = 0.0;
    double dPrevCycleEnergy = 0.0;
    bool fRestart = true;
    int nPoints = 1;
};

/// One line search. Positions are distances along the direction, in units of its length, from where
/// the cycle started; energies kcal/mol.
struct Line {
    double dCycleStart;  ///< energy at 0
    double dSlope;       ///< slope at 0, negative
    double dMax = 0.0;   ///< longest first step
    double dStep = 0.0;  ///< from the lower to the upper point
    double dLowerEnergy = 0.0, dLowerPosition = 0.0, dLowerSlope = 0.0;
    double dUpperEnergy = 0.0, dUpperPosition = 0.0, dUpperSlope = 0.0;
    double dPosition = 0.0;  ///< of the last point that was computed
    double dEndSlope = 0.0;
};

int Components() {
    return 3 * system.nSelected;
}

double ProductWithGradient(const Array<double>& v) {
    double dSum = 0.0;
    for (int i = 0; i < Components(); ++i) dSum += gradient.pGradient[i] * v[i];
    return dSum;
}

double SquareOf(const Array<double>& v) {
    double dSum = 0.0;
    for (int i = 0; i < Components(); ++i) dSum += v[i] * v[i];
    return dSum;
}

void CopyGradient(Array<double>& v) {
    for (int i = 0; i < Components(); ++i) v[i] = gradient.pGradient[i];
}

/// A denominator, or the smallest one of its sign in its place; zero counts as negative.
double Guarded(const Search& search, double d) {
    if (!search.Kind.fGuard || std::abs(d) >= kSmallest) return d;
    return d > 0.0 ? kSmallest : -kSmallest;
}

// ---- the direction ------------------------------------------------------------------------------

/// Products of gradients are per squared working unit, and dGradientSquared per squared Angstrom.
double PerSquareAngstrom(double d) {
    return UsesAtomicUnits(system.MethodId) ? d * kBohrPerAngstrom * kBohrPerAngstrom : d;
}

double Beta(const Search& search) {
    double dNumerator = gradient.dGradientSquared;
    if (search.Kind.fDifference)
        dNumerator -= PerSquareAngstrom(ProductWithGradient(search.vGradientOld));
    return dNumerator / search.dGradientSquaredOld;
}

void ChooseDirection(Search& search, int nCycle) {
    const bool fByCount = search.Kind.fRestartByCount && nCycle % Components() == 1;
    const double dBeta = search.fRestart || fByCount ? 0.0 : Beta(search);
    for (int i = 0; i < Components(); ++i)
        search.vDirection[i] = dBeta * search.vDirection[i] - gradient.pGradient[i];
    search.fRestart = false;
    if (search.Kind.fDifference) CopyGradient(search.vGradientOld);
}

// ---- the line -----------------------------------------------------------------------------------

/// Moves along the direction and computes the energy there.
Outcome GoTo(Search& search, Line& line, double dMove) {
    if (!std::isfinite(dMove)) return Outcome::kLost;
    MoveAtoms(search.vDirection.Data(), dMove);
    RunScf();
    ++search.nPoints;
    if (IsBelowLimit(kInnerFactor * search.dLimit)) return Outcome::kConverged;
    line.dPosition += dMove;
    line.dEndSlope = ProductWithGradient(search.vDirection);
    const bool fNumbers = std::isfinite(scf.dTotalEnergy) && std::isfinite(line.dEndSlope);
    return fNumbers ? Outcome::kGoesOn : Outcome::kLost;
}

/// The first step: what a parabola down to the floor would need, where that is short enough.
void ChooseFirstStep(const Search& search, Line& line) {
    const double dSquare = SquareOf(search.vDirection);
    const double dDenominator = search.Kind.fGuard && dSquare < kSmallest ? kSmallest : dSquare;
    line.dMax = std::sqrt(-line.dSlope / dDenominator) * search.dScale;
    const double dToFloor =
        (search.dFloor - line.dCycleStart) / (0.25 * Guarded(search, line.dSlope));
    line.dStep = dToFloor >= 0.0 && dToFloor <= line.dMax ? dToFloor : line.dMax;
}

/// Goes on, ever faster, until the energy rises or its slope does. The lower point is the last one
/// before that, the upper point the one where it happened.
Outcome Bracket(Search& search, Line& line) {
    line.dLowerSlope = line.dSlope;
    double dAdded = 0.0;
    for (int nStep = 0; nStep < kMostBracketSteps; ++nStep) {
        line.dLowerEnergy = scf.dTotalEnergy;
        line.dLowerPosition = line.dPosition;
        const Outcome outcome = GoTo(search, line, line.dStep);
        if (outcome != Outcome::kGoesOn) return outcome;
        line.dUpperEnergy = scf.dTotalEnergy;
        line.dUpperPosition = line.dPosition;
        line.dUpperSlope = line.dEndSlope;
        if (line.dUpperSlope >= 0.0 || line.dUpperEnergy > line.dLowerEnergy)
            return Outcome::kGoesOn;
        line.dStep += dAdded;
        dAdded = line.dStep;
        search.dScale *= 2.0;
        line.dLowerSlope = line.dUpperSlope;
    }
    return Outcome::kLost;
}

/// The way back from the upper point to the minimum of the cubic through both points and slopes.
/// W. C. Davidon, AEC Report ANL-5990 (1959).
double WayBack(const Search& search, const Line& line) {
    const double z = line.dUpperSlope +
                     3.0 * (line.dLowerEnergy - line.dUpperEnergy) / Guarded(search, line.dStep) +
                     line.dLowerSlope;
    const double w = std::sqrt(std::fmax(0.0, z * z - line.dUpperSlope * line.dLowerSlope));
    return (w + line.dUpperSlope - z) * line.dStep /
           Guarded(search, line.dUpperSlope - line.dLowerSlope + 2.0 * w);
}

/// Whether the last point has gone down far enough and is flat enough.
bool IsGoodEnough(const Line& line) {
    return std::abs(line.dEndSlope) <= -0.5 * line.dSlope &&
           scf.dTotalEnergy <= line.dCycleStart + 0.25 * line.dSlope * line.dPosition;
}

/// Closes in on the minimum between the lower and the upper point by cubics.
Outcome Refine(Search& search, Line& line) {
    double dOff = 0.0;  // from the last point to the upper one
    for (int nTry = 0; nTry < kMostRefinements; ++nTry) {
        double dBack = WayBack(search, line), dMove = dOff - dBack;
        if (nTry > 0) {  // not too near to either end
            const double h = 0.1 * (line.dUpperPosition - line.dLowerPosition);
            if (dMove <= h + line.dLowerPosition - line.dPosition ||
                line.dUpperPosition - h - line.dPosition <= dMove) {
                dMove = 0.5 * (line.dUpperPosition + line.dLowerPosition) - line.dPosition;
                dBack = dOff - dMove;
            }
        }
        const Outcome outcome = GoTo(search, line, dMove);
        if (outcome != Outcome::kGoesOn) return outcome;
        if (IsGoodEnough(line)) break;
        if (line.dEndSlope > 0.0) {
            line.dStep -= dBack;
            dOff = 0.0;
            line.dUpperEnergy = scf.dTotalEnergy;
            line.dUpperSlope = line.dEndSlope;
            line.dUpperPosition = line.dPosition;
        } else {
            line.dLowerEnergy = scf.dTotalEnergy;
            line.dStep = dOff = dBack;
            line.dLowerPosition = line.dPosition;
            line.dLowerSlope = line.dEndSlope;
        }
    }
    return Outcome::kGoesOn;
}

// ---- cycles -------------------------------------------------------------------------------------

/// What a finished line search teaches the next cycle: its scale, and whether it starts afresh. A
/// search that went less than half of the first step takes a shorter one the next time.
void Learn(Search& search, Line& line) {
    if (scf.dTotalEnergy > search.dPrevCycleEnergy) search.fRestart = true;
    search.dPrevCycleEnergy = scf.dTotalEnergy;
    while (line.dPosition > 0.0 && 2.0 * line.dPosition < line.dMax) {
        line.dMax *= 0.5;
        search.dScale *= 0.5;
    }
    if (line.dPosition < 0.0) search.fRestart = true;
}

/// One line search along a new direction. A slope that is not finite loses the search.
Outcome SearchLine(Search& search, Line& line) {
    ChooseFirstStep(search, line);
    const Outcome outcome = Bracket(search, line);
    return outcome == Outcome::kGoesOn ? Refine(search, line) : outcome;
}

/// The cycles. Returns how they ended, and their number in nCycle: the last one that was started,
/// or one more than nMaxCycles when they ran out.
Outcome RunCycles(Search& search, int nMaxCycles, long long& nCycle) {
    int nUncounted = 0;
    for (nCycle = 1; nCycle <= nMaxCycles;) {
        if (IsBelowLimit(search.dLimit)) return Outcome::kConverged;
        ChooseDirection(search, static_cast<int>(nCycle));
        const double dSlope = ProductWithGradient(search.vDirection);
        if (dSlope > 0.0) {  // the same cycle again, straight downhill, where no slope is positive
            search.fRestart = true;
            continue;
        }
        if (!std::isfinite(dSlope)) return Outcome::kLost;
        const double dSquare = gradient.dGradientSquared;
        Line line{.dCycleStart = scf.dTotalEnergy, .dSlope = dSlope};
        const Outcome outcome = SearchLine(search, line);
        if (outcome != Outcome::kGoesOn) return outcome;
        ReportCycle(static_cast<int>(nCycle), search.nPoints);
        Learn(search, line);
        search.dGradientSquaredOld = dSquare;

        // A search that led backwards does not count, but not for ever.
        const bool fCounts = line.dPosition >= 0.0 || nUncounted == kMostUncounted;
        nUncounted = fCounts ? 0 : nUncounted + 1;
        if (fCounts) ++nCycle;
    }
    return Outcome::kGoesOn;
}

void RunSearch(const Variant& kind, double dRms, int nMaxCycles) {
    Search search{.Kind = kind,
                  .dLimit = SquareLimit(dRms),
                  .dFloor = scf.dTotalEnergy - kEnergyDepth,
                  .dScale = kind.dFirstScale};
    search.vDirection.Take(static_cast<std::size_t>(system.nSelected), 3, kWork);
    if (kind.fDifference)
        search.vGradientOld.Take(static_cast<std::size_t>(system.nSelected), 3, kWork);
    search.dPrevCycleEnergy = scf.dTotalEnergy;

    long long nCycle = 1;
    const Outcome outcome = RunCycles(search, nMaxCycles, nCycle);
    const int nDone = static_cast<int>(nCycle - 1);
    if (outcome == Outcome::kConverged)
        FinishConverged(nDone, search.nPoints);
    else
        FinishUnconverged(nDone, search.nPoints);
}

}  // namespace

void FletcherReeves(double dRms, int nMaxCycles) {
    RunSearch(kFletcherReevesVariant, dRms, nMaxCycles);
}

void PolakRibiere(double dRms, int nMaxCycles) {
    RunSearch(kPolakRibiereVariant, dRms, nMaxCycles);
}

}  // namespace qsolve
