#include "scf/lowest.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "job/state.h"
#include "link/memory.h"
#include "scf/density.h"
#include "scf/descent.h"
#include "scf/due_orbitals.h"
#include "scf/electronic_energy.h"
#include "scf/guarded.h"
#include "scf/half_electron.h"
#include "scf/kept.h"
#include "scf/patches.h"
#include "scf/rotations.h"
#include "scf/stability.h"
#include "scf/starts.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kUsualLimit = 1e-6;          ///< of the energy, kcal/mol, with which goes ...
constexpr double kSmallestCommutator = 1e-9;  ///< eV, what rounding leaves
constexpr double kCommutatorLimit = 1e-5;     ///< ... this one of the commutator, eV
/// And where spins come apart, so softly that gradients were off by 2e-3 kcal/(mol Angstrom) with
/// that one and still by 1.2e-3 with 1e-6 (Si2 in ZINDO/1).
constexpr double kSpinCommutatorLimit = 5e-7;
/// The correction of half electrons is of first order in the error: of 94 cations of some 40 atoms
/// energies were off by up to 3e-4 kcal/mol with that one.
constexpr double kHalfCommutatorLimit = 5e-8;
constexpr int kStallAfter = 40;  ///< cycles, then a descent takes over
constexpr double kLower = 1e-4;  ///< kcal/mol by which a state has to be lower
constexpr double kClearlyNegative =
    -0.01;                                 ///< curvature, eV; rotations of an atom as a whole are 0
constexpr int kMostFollowed = 6;           ///< instabilities, one after the other
constexpr double kRoughCommutator = 0.05;  ///< eV, where the cycles take over from a descent
constexpr double kRoughPart = 0.05;        ///< and of the curvature that it leaves, at most
constexpr int kRoughCycles = 60;
constexpr double kFollowTurn = 0.2;  ///< radians along an instability
constexpr double kScatter = 0.6;     ///< radians, of further starts

/// All that the driver's steps share.
struct Search {
    Electrons& electrons;
    GuardLimits limits;
    MixHistory history = {};
    GuardEnd end = {};  ///< of the state that is in the arrays
    bool fDescended = false;
    double dCorrected = 0;     ///< its energy with the correction of the half electrons
    Array<double> mKept = {};  ///< orbitals of the lowest state
    ScfEnd& Word;
};

/// The error of the energy goes with the square of the commutator, so that a sharper limit of the
/// one asks for its root of the other.
GuardLimits LimitsOf(const Electrons& electrons) {
    const double dRoot = std::sqrt(electrons.Run.dLimit / kUsualLimit);
    const double dOfKind = electrons.nSets == 2                  ? kSpinCommutatorLimit
                           : setup.nOccupied != setup.nDoublyOcc ? kHalfCommutatorLimit
                                                                 : kCommutatorLimit;
    const double dUsual = std::max(dOfKind * dRoot, kSmallestCommutator);
    const double dTold = further.Scf.dCommutatorLimit;
    // A difference of energies takes one Fock matrix more.
    const long long nCycles = std::max(static_cast<long long>(options.nIterationLimit), 0LL) + 1;
    return {electrons.Run.dLimit, (dTold > 0.0 ? dTold : dUsual) / electrons.dEv,
            static_cast<int>(std::min(nCycles, 1LL << 30))};
}

/// Cycles and, where they stall, the descent, from the densities at hand. Orbitals in the end.
void Converge(Search& search, const GuardStart& start = {}) {
    Electrons& electrons = search.electrons;
    GuardLimits limits = search.limits;
    limits.nCycles = std::min(limits.nCycles, kStallAfter);
    search.end = RunGuarded(electrons, limits, search.history, start);
    search.fDescended = false;
    if (!search.end.fConverged && search.limits.nCycles > search.end.nCycles) {
        limits.nCycles = search.limits.nCycles - search.end.nCycles;
        const int nBefore = search.end.nCycles;
        for (int k = 0; k < electrons.nSets; ++k) {
            SpinRun& s = *electrons.pSets[k];
            OrbitalsOfDensity(electrons.vShells[k], s.mDensity.Data(), scf.mSquareWork.Data(),
                              s.mVectors.Data(), s.vEnergy.Data());
        }
        search.end = Descend(electrons, limits);
        search.end.nCycles += nBefore;
        search.fDescended = true;
    }
    search.Word.nAllCycles += search.end.nCycles;
}

/// Down from a point beside an instability, and then by cycles, which may lead back to it where it
/// is a shallow one; or down to the end.
void LeaveInstability(Search& search, bool fByCycles) {
    const double dSlope = std::min(kRoughCommutator, kRoughPart * std::abs(search.Word.dInternal));
    const GuardLimits rough{1e30, dSlope / search.electrons.dEv, kRoughCycles};
    const GuardEnd end = Descend(search.electrons, fByCycles ? rough : search.limits);
    search.Word.nAllCycles += end.nCycles;
    if (fByCycles) {
        Converge(search);
        return;
    }
    search.end = end;
    search.fDescended = true;
}

void KeepOrbitals(Search& search, bool fBack) {
    const auto nSquare =
        static_cast<std::size_t>(search.electrons.n) * static_cast<std::size_t>(search.electrons.n);
    if (!search.mKept) search.mKept.Take(2 * nSquare, kWork);
    for (int k = 0; k < search.electrons.nSets; ++k) {
        double* c = search.electrons.pSets[k]->mVectors.Data();
        double* p = search.mKept.Data() + static_cast<std::size_t>(k) * nSquare;
        std::copy_n(fBack ? p : c, nSquare, fBack ? c : p);
    }
}

/// Whether nothing in this SCF reads more of its orbitals than their levels.
bool LevelsSuffice(const ScfRun& run, bool fFirst) {
    const bool fTried = fFirst && (further.Scf.nStability != kNoStability || further.Scf.nStarts);
    return !fTried && !run.fVerbose && options.nCiKind == 0 && !options.fSendOrbitals;
}

/// Orbitals of the state at hand, or no more than its levels where they suffice, and its energy as
/// it will be reported.
void Take(Search& search, bool fLevels = false) {
    search.dCorrected = search.end.dEnergy;
    if (fLevels && search.end.fAhead &&
        TakeLevels(search.electrons, WantedAtTheEnd(search.electrons.Run))) {
        search.Word.fAufbau = true;
        return;
    }
    search.Word.fAufbau = TakeOrbitals(search.electrons, search.end.fAhead);
    const SpinRun& a = *search.electrons.pSets[0];
    if (setup.nOccupied == setup.nDoublyOcc) return;
    for (int k = 0; k < search.electrons.n; ++k) results.Orbitals.vOrbitalOrder[k] = k;
    search.dCorrected += HalfElectronCorrection(a.vEnergy.Data(), a.mVectors.Data());
}

/// What has to be restored where a trial was not lower.
struct State {
    GuardEnd end;
    bool fDescended;
    double dCorrected;
};

State StateOf(const Search& search) {
    return {search.end, search.fDescended, search.dCorrected};
}

/// Compares the state at hand with the one before, whose orbitals are kept; the lower one stays.
/// Returns whether it is the new one.
bool KeepLower(const State& before, Search& search) {
    Take(search);
    const double dFall =
        (before.dCorrected - search.dCorrected) * search.electrons.Run.Family.dKcalPerUnit;
    const bool fBetter = (search.end.fConverged || !before.end.fConverged) && dFall > kLower;
    if (fBetter || (search.end.fConverged && !before.end.fConverged)) {
        ++search.Word.nLowered;
        return true;
    }
    KeepOrbitals(search, true);
    FillDensities(search.electrons);
    EvaluateFock(search.electrons);
    search.end = before.end;
    search.fDescended = before.fDescended;
    search.Word.fAufbau = TakeOrbitals(search.electrons);
    search.dCorrected = before.dCorrected;
    return false;
}

/// Exchanges two levels of the state at hand near its frontier, a different pair for each number
/// from 0 on: the upper set first, since its hole is where open shells differ.
bool Excite(Electrons& electrons, int nNumber) {
    constexpr int vDown[] = {0, 1, 0, 2}, vUp[] = {0, 0, 1, 0};
    const int nSets = electrons.nSets, nSet = nSets - 1 - nNumber % nSets;
    const Shells& shells = electrons.vShells[nSet];
    const int k = nNumber / nSets;
    if (shells.nOpen == 0)
        return ExchangeLevels(electrons, nSet, shells.nFull - 1 - vDown[k], shells.nFull + vUp[k]);
    // Full with open levels, then open with empty ones.
    const int nEdge = k < 2 ? shells.nFull : shells.Occupied();
    return ExchangeLevels(electrons, nSet, nEdge - 1 - k % 2, nEdge);
}

constexpr int kExcitedStarts = 4;

/// One start beyond the first, if it can be prepared. Returns whether it has led to a lower state.
template <class Prepare>
bool Try(Search& search, Prepare prepare) {
    const State before = StateOf(search);
    KeepOrbitals(search, false);
    if (!prepare(search.electrons)) return false;
    ++search.Word.nStarts;
    Converge(search);
    return KeepLower(before, search);
}

/// By number: the lowest state excited, the orbitals of the core alone, the lowest state scattered.
bool TryStart(int nStart, Search& search) {
    return Try(search, [&](Electrons& electrons) {
        if (nStart < kExcitedStarts) return Excite(electrons, nStart);
        if (nStart == kExcitedStarts)
            GuessFromCore(electrons);
        else
            ScatterOrbitals(electrons, nStart, kScatter);
        return true;
    });
}

/// The orbitals of the core alone, which lead elsewhere: where cycles from populations stalled, a
/// descent goes to the minimum at hand, and radicals have several.
bool TryCore(Search& search) {
    return Try(search, [](Electrons& electrons) {
        GuessFromCore(electrons);
        return true;
    });
}

/// Spins that are apart from the start: far from where they are alike there may be a lower state
/// than the one to which the instability leads.
bool TrySpinsApart(Search& search) {
    return Try(search, [](Electrons& electrons) {
        GuessPopulations(electrons, true);
        return true;
    });
}

StateFound Judge(const Curvature& found, StateFound unstable) {
    if (found.dLowest < kClearlyNegative) return unstable;
    return found.fKnown ? kStable : kNotDecided;
}

/// The test of the state at hand; the arrays are those of the state afterwards. vDirection is that
/// of the lowest curvature within the kind.
void TestState(Search& search, Array<double>& vDirection) {
    Electrons& electrons = search.electrons;
    ScfEnd& word = search.Word;
    StateTest test(electrons);
    const Curvature same = test.Lowest(Turn::kSame, vDirection.Data());
    word.dInternal = same.dLowest;
    word.dSpins = 0.0;
    word.nCurvatures = same.fLowest ? kInternalShown : 0;
    word.nFound = Judge(same, kUnstable);
    word.nAllCycles += same.nProducts;
    const bool fClosed = electrons.nSets == 1 && setup.nOccupied == setup.nDoublyOcc;
    if (fClosed && word.nFound != kUnstable) {
        Array<double> vApart;
        vApart.Take(vDirection.Size(), kWork);
        const Curvature apart = test.Lowest(Turn::kSpinsApart, vApart.Data());
        word.dSpins = apart.dLowest;
        word.nCurvatures |= kSpinsTested | (apart.fLowest ? kSpinsShown : 0);
        word.nAllCycles += apart.nProducts;
        if (word.nFound == kStable) word.nFound = Judge(apart, kUnstableToSpins);
    }
    FillDensities(electrons);  // the test left orbitals and levels as they were
}

/// Goes down along the instability, to either side, by one way or the other. Returns whether a
/// lower state was found.
bool Follow(const Array<double>& vDirection, Search& search) {
    struct Way {
        double dTurn;
        bool fByCycles;
    };
    for (const Way& way : {Way{kFollowTurn, true}, {-kFollowTurn, true}, {kFollowTurn, false}}) {
        const State before = StateOf(search);
        KeepOrbitals(search, false);
        Array<double> vTurn;
        vTurn.Take(vDirection.Size(), kWork);
        for (std::size_t i = 0; i < vTurn.Size(); ++i) vTurn[i] = way.dTurn * vDirection[i];
        RotateOrbitals(search.electrons, vTurn.Data());
        LeaveInstability(search, way.fByCycles);
        if (KeepLower(before, search)) return true;
    }
    return false;
}

void TestAndFollow(Search& search) {
    Array<double> vDirection;
    vDirection.Take(CountRotations(search.electrons), kWork);
    for (int k = 0; k <= kMostFollowed; ++k) {
        TestState(search, vDirection);
        if (search.Word.nFound != kUnstable || further.Scf.nStability != kFollowStability) return;
        if (k == kMostFollowed || !Follow(vDirection, search)) return;
    }
}

/// What the rest of the SCF reads: levels by spin in the results, populations of the atoms.
void PublishState(Search& search) {
    Electrons& electrons = search.electrons;
    for (int k = 0; k < electrons.nSets; ++k) {
        SpinRun& s = *electrons.pSets[k];
        PublishLevels(s.Counts.nIndexOffset, s.vEnergy.Data(), s.vLevel.Data());
        if (electrons.nSets == 1)
            for (double& p : s.mDensity) p *= 2.0;
    }
    FinishDensity();
    ScfEnd& word = search.Word;
    word.fGuarded = 1;
    word.fConverged = search.end.fConverged;
    word.fDescended = search.fDescended;
    word.nCycles = search.end.nCycles;
    word.dDifference = search.end.dDifference;
    word.dCommutator = search.end.dCommutator * electrons.dEv;
    ScfRun& run = electrons.Run;
    run.dEnergy = search.end.dEnergy;
    run.dDifference = word.dDifference;
    run.dEnergyPrev = run.dEnergy + word.dDifference / run.Family.dKcalPerUnit;
    run.Cycle.nCycle = word.nCycles;
    run.nJudged = std::max(word.nCycles - 1, 0);
    run.Cycle.fConverged = search.end.fConverged;
}

}  // namespace

void FindLowestState(ScfRun& run, SpinRun& a, SpinRun& b) {
    Electrons electrons = ElectronsOf(run, a, b);
    scf.End = {};
    Search search{.electrons = electrons, .limits = LimitsOf(electrons), .Word = scf.End};
    const bool fFirst = scf.nScfRuns < 1;
    const bool fNew = fFirst && !TakeKeptDensity();
    // A test that follows what it finds sets the spins apart where that is lower, and only there.
    const bool fFollows = further.Scf.nStability == kFollowStability;
    const bool fAlike = fFollows || !HasEqualSpins(electrons);
    if (fNew) GuessPopulations(electrons, !fAlike);
    GuardEnd before;
    const bool fPatched =
        fNew && fAlike && PatchDensities(electrons, search.limits.nCycles - 2, before);
    search.Word.nStarts = 1;
    Converge(search, {.fNear = !fNew || fPatched, .before = before});
    Take(search, LevelsSuffice(run, fFirst));
    const bool fStalled = search.fDescended;
    const auto Test = [&] {  // in the first SCF of a job; the others follow its state
        if (fFirst && further.Scf.nStability != kNoStability && search.end.fConverged)
            TestAndFollow(search);
    };
    Test();
    bool fLowered = fNew && fFollows && HasEqualSpins(electrons) && TrySpinsApart(search);
    if (fNew && fFollows && fStalled && electrons.nSets == 2 && further.Scf.nStarts == 0)
        fLowered = TryCore(search) || fLowered;
    for (int k = 0; k < further.Scf.nStarts && fFirst; ++k)
        fLowered = TryStart(k, search) || fLowered;
    if (fLowered) Test();
    PublishState(search);
    KeepDensity(search.end.fConverged);
}

}  // namespace qsolve
