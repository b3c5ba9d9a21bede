#include "scf/scf.h"

#include <algorithm>
#include <cmath>

#include "algebra/diagonalise.h"
#include "gradient/state.h"
#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "report/report.h"
#include "scf/account.h"
#include "scf/damping.h"
#include "scf/density.h"
#include "scf/diis.h"
#include "scf/electronic_energy.h"
#include "scf/finish.h"
#include "scf/fock.h"
#include "scf/guess.h"
#include "scf/level_shift.h"
#include "scf/lowest.h"
#include "scf/pseudo_diagonalise.h"
#include "scf/stages.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kNoShift = 1e-10;    ///< eV
constexpr double kShiftIsOff = 1e-3;  ///< eV
constexpr double kNearDensity = 0.1;  ///< density changes, electrons
constexpr double kSettledDensity = 0.033333;
constexpr double kTightDensity = 0.001;
constexpr int kLastCycles = 5;  ///< so many before the limit are fully diagonalised

/// Differences below the limit that end an SCF with a near start: extrapolation from the first
/// cycle on can pass through the same energy twice before the density has settled.
constexpr int kNearSettled = 2;

/// Energies that differ by as many units in the last place differ by their rounding alone.
constexpr double kRoundingUnits = 16.0;

// ---- before the cycles -------------------------------------------------------------------------

void InitCycles(ScfRun& run) {
    run.fNearStart = scf.fNearStart && scf.nScfRuns > 0 && options.fDiis;
    if (!run.fNearStart) run.Shift = InitLevelShift();
    run.Cycle.fShiftSettled = std::abs(run.Shift.dShiftA) < kShiftIsOff;
    run.Cycle.fNearConverged = run.fNearStart;
}

// ---- one cycle ---------------------------------------------------------------------------------

bool IsShifted(const ScfRun& run) {
    return std::abs(run.Shift.dShiftA) > kNoShift && run.Shift.fLevelShift;
}

/// The Fock matrix of a spin. The shift enters before the electrons, so that the energy can take it
/// out again; whether it does follows from the alpha shift for either spin.
void BuildFock(const ScfRun& run, SpinRun& s) {
    CopyCoreToFock(run.Cycle.nCycle, s.mFock.Data());
    if (IsShifted(run))
        ApplyLevelShift(s.Counts.nOcc, run.Cycle.nCycle,
                        s.spin == Spin::kAlpha ? run.Shift.dShiftA : run.Shift.dShiftB,
                        s.mDensity.Data(), s.vLevel.Data(), s.vEnergy.Data(), s.mFock.Data());
    AddElectrons(run, s);
}

bool IsFinished(const ScfRun& run) {
    const ScfCycle& cycle = run.Cycle;
    const bool fOverLimit = cycle.nCycle > static_cast<long long>(options.nIterationLimit) + 1;
    if (!cycle.fConverged && !fOverLimit) return false;
    return cycle.fFullDiag || !run.Family.fExitNeedsFullDiag;
}

/// Whether something reads more orbitals of this cycle than make its density: what follows the last
/// cycle, the report, or a pseudo-diagonalisation of the next cycle.
bool NeedsAllOrbitals(const ScfRun& run) {
    const ScfCycle& cycle = run.Cycle;
    if (IsFinished(run) || ReportsOrbitalsOfCycles()) return true;
    const bool fStaysFull = cycle.fFullDiag && run.Family.fKeepFullDiag;
    return run.fClosed && !fStaysFull && (cycle.fNearConverged || cycle.fShiftSettled);
}

/// The density that the Fock matrix was made of.
SpinDensity DensityOf(const ScfRun& run, const SpinRun& s) {
    SpinDensity density{s.mDensity.Data()};
    if (!s.fSumOfOrbitals) return density;
    const auto IsRead = [](double w) { return w != 0.0; };
    const double *v = s.vWeights.Data(), *pEnd = v + setup.nOrbitals;
    density.nFirst = static_cast<int>(std::find_if(v, pEnd, IsRead) - v);
    density.nEnd = density.nFirst;
    for (int k = density.nFirst; k < setup.nOrbitals; ++k)
        if (IsRead(v[k])) density.nEnd = k + 1;
    density.mVectors = s.mVectors.Data();
    density.vWeights = s.vWeights.Data();
    density.dFactor = run.fUnrestricted ? 1.0 : 0.5;
    return density;
}

/// New orbitals from the Fock matrix, which is destroyed.
void SolveOrbitals(const ScfRun& run, SpinRun& s) {
    const int n = setup.nOrbitals;
    const ScfCycle& cycle = run.Cycle;
    if (cycle.fNearConverged && options.fDiis)
        ExtrapolateFockDiis(n, s.mFock.Data(), DensityOf(run, s), s.mDiisError.Data(),
                            s.mDiisFock.Data(), scf.mSquareWork.Data(), s.History);
    const bool fAllHeld = s.Held.nFirst == 0 && s.Held.nEnd == n;
    const bool fHasVectors = fAllHeld && (!run.fNearStart || cycle.nCycle > 1);
    if (cycle.fNearConverged && !cycle.fFullDiag && run.fClosed && fHasVectors) {
        PseudoDiagonalise(n, s.Counts.nOcc, s.mFock.Data(), s.mVectors.Data(), s.vLevel.Data(),
                          scf.pWork.Data(), scf.mSquareWork.Data());
        return;
    }
    s.Held = NeedsAllOrbitals(run) ? LevelRange{0, n} : DensityLevels(s.Counts);
    DiagonaliseRange(n, s.Held.nFirst, s.Held.nEnd, s.mFock.Data(), s.mVectors.Data(),
                     s.vEnergy.Data());
}

/// From the Fock matrix of a spin to its energy, with the density that made it, and its new
/// density.
void UpdateDensity(const ScfRun& run, SpinRun& s) {
    const int n = setup.nOrbitals;
    const ScfCycle& cycle = run.Cycle;
    s.dEnergy = ComputeElectronicEnergy(n, scf.mCore.Data(), s.mFock.Data(), s.mDensity.Data());
    SolveOrbitals(run, s);
    BuildDensity(s.Counts, s.vEnergy.Data(), s.vLevel.Data(), s.mVectors.Data(), s.mDensity.Data(),
                 s.vWeights.Data());
    ReportLevels(run, s, s.vEnergy.Data(), s.mDensity.Data(), false);
    // An undamped cycle leaves dDelta as it was.
    s.fSumOfOrbitals = (cycle.fNearConverged && options.fDiis) || cycle.fFullDiag;
    if (s.fSumOfOrbitals) return;
    const int nCounter = run.Family.fDampByShift ? cycle.nShiftCycles : cycle.nCycle;
    s.dDelta =
        DampDensity(n, nCounter, s.mDensity.Data(), s.mDensityPrev.Data(), s.vDiagOlder.Data());
}

/// What the change of the density allows the next cycle. A settled shift counts from the cycle
/// after.
void UpdateFlags(const ScfRun& run, const SpinRun& a, const SpinRun& b, ScfCycle& cycle) {
    const auto IsBelow = [&](double dChange) {
        return a.dDelta < dChange && (!run.fUnrestricted || b.dDelta < dChange);
    };
    const bool fNear = IsBelow(kNearDensity) && cycle.fShiftSettled;
    if (fNear) cycle.fNearConverged = true;
    cycle.fTightDensity = IsBelow(kTightDensity);
    cycle.fShiftFrozenClosed = fNear;
    if (IsBelow(kSettledDensity)) cycle.fShiftSettled = true;
}

double TotalOf(const ScfRun& run, const SpinRun& a, const SpinRun& b) {
    if (run.fUnrestricted) return a.dEnergy + b.dEnergy;
    const double dEnergy = 2.0 * a.dEnergy;
    if (run.fClosed || !run.Shift.fLevelShift) return dEnergy;
    const int nOpen = setup.nOccupied - setup.nDoublyOcc;
    return dEnergy - nOpen * run.Shift.dShiftA * run.Family.dShiftCorrection;
}

/// The change of the energy that is its rounding, kcal/mol. A limit that asks for more is raised to
/// it, but one of 0, which asks for all cycles.
double RoundingOf(const ScfRun& run) {
    if (!(run.dLimit > 0.0)) return 0.0;
    const double dSize = std::abs(run.dEnergy), dUnit = std::nextafter(dSize, HUGE_VAL) - dSize;
    return kRoundingUnits * dUnit * run.Family.dKcalPerUnit;
}

/// Counts the electrons of the densities that the next Fock matrices are made of. The guess of a
/// job sets the spins apart a little, so that only its sum counts.
void CountElectrons(ScfRun& run, const SpinRun& a, const SpinRun& b) {
    const auto IsFull = [](double dHeld, double dWanted) {
        return std::abs(dHeld - dWanted) <= kTraceTolerance;
    };
    run.dHeld = ElectronsHeld(scf.mDensityT.Data());
    run.fHeldAllPrev = run.fHoldsAll;
    run.fHoldsAll = IsFull(run.dHeld, setup.nElectrons);
    if (!run.fUnrestricted || run.Cycle.nCycle <= 1) return;
    for (const SpinRun* s : {&a, &b})
        run.fHoldsAll &= IsFull(ElectronsHeld(s->mDensity.Data()), s->Counts.nOcc);
}

/// Judges the energy of a cycle: convergence, and whether the next one diagonalises fully.
void JudgeEnergy(ScfRun& run) {
    ScfCycle& cycle = run.Cycle;
    const double dDiff = std::abs(run.dEnergy - run.dEnergyPrev) * run.Family.dKcalPerUnit;
    if (cycle.nCycle >= 2) {
        run.nJudged = cycle.nCycle - 1;
        run.dDifference = dDiff;
        ReportScfProgress(run.nJudged, dDiff);
    }
    const double dRounding = RoundingOf(run);
    const double dFullDiagLimit =
        std::max(run.dFullDiagLimit, dRounding * run.Family.dFullDiagFactor);
    const bool fSameElectrons = run.fHoldsAll && run.fHeldAllPrev;
    const bool fBelow = dDiff < std::max(run.dLimit, dRounding) && fSameElectrons;
    run.nSettled = fBelow ? run.nSettled + 1 : 0;
    if (run.nSettled >= (run.fNearStart ? kNearSettled : 1)) cycle.fConverged = true;
    const bool fLast =
        cycle.nCycle >= static_cast<long long>(options.nIterationLimit) - kLastCycles;
    if (dDiff < dFullDiagLimit || fLast)
        cycle.fFullDiag = true;
    else if (dDiff > dFullDiagLimit && !run.Family.fKeepFullDiag)
        cycle.fFullDiag = false;
    run.dEnergyPrev2 = run.dEnergyPrev;
    run.dEnergyPrev = run.dEnergy;
}

void BuildFocks(const ScfRun& run, SpinRun& a, SpinRun& b) {
    BuildFock(run, a);
    ReportFock(run, a);
    if (!run.fUnrestricted) return;
    BuildFock(run, b);
    ReportFock(run, b);
    if (run.Family.fPerturbSpin) PerturbSpinFock(run.Cycle.nCycle, a.mFock.Data(), b.mFock.Data());
}

/// Cycles until the energy is converged or the limit is passed. The energy is then that of the last
/// Fock matrix with the density that made it, the orbitals are those of the matrix.
void Iterate(ScfRun& run, SpinRun& a, SpinRun& b) {
    ScfCycle& cycle = run.Cycle;
    while (true) {
        // The levels are set apart as the last energies and the density allow.
        ++cycle.nCycle;
        if (cycle.nCycle - 1 > options.nLevelShiftStart) ++cycle.nShiftCycles;
        if (IsShifted(run)) UpdateLevelShift(run.dEnergy, run.dEnergyPrev2, run.Shift, cycle);

        // Fock matrices of the density of the last cycle; from them its energy and a new density.
        CountElectrons(run, a, b);
        BuildFocks(run, a, b);
        UpdateDensity(run, a);
        if (run.fUnrestricted) UpdateDensity(run, b);
        FinishDensity();

        // A converged energy earns one more cycle, so the end is tested before it is judged.
        UpdateFlags(run, a, b, cycle);
        run.dEnergy = TotalOf(run, a, b);
        if (IsFinished(run)) return;
        JudgeEnergy(run);
    }
}

}  // namespace

void RunScf() {
    if (FamilyOf(system.MethodId) == Family::kNone) return;

    // The run, and what depends on the geometry alone.
    scf.fResultsValid = scf.fOrbitalsDue = gradient.fComputed = false;
    ComputeChargeOrigin();
    ++scf.nScfRuns;
    if (ThisKind().fCountsPoints) results.Block.nEnergyPoints = scf.nScfRuns;

    // What the cycles work on: the integrals of the geometry and a density to start from.
    ScfRun run = StartRun();
    run.dCoreEnergy = BuildIntegrals();
    InitScfGuess();
    ReportCore(run);
    InitCycles(run);

    // The cycles, and what follows from the last of them.
    SpinRun a = AlphaRun(), b = BetaRun();
    scf.End = {};
    if (further.Scf.fGuarded)
        FindLowestState(run, a, b);
    else
        Iterate(run, a, b);
    CountScf(run);
    FinishRun(run, a, b);
}

void ForgetDensity() {
    scf.nScfRuns = -1;
    scf.dSavedShiftA = scf.dSavedShiftB = scf.dSavedTarget = 0.0;
}

}  // namespace qsolve
