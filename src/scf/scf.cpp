#include "scf/scf.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "algebra/diagonalise.h"
#include "gradient/gradient.h"
#include "gradient/restraints.h"
#include "gradient/state.h"
#include "integrals/integrals.h"
#include "integrals/state.h"
#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/properties.h"
#include "report/report.h"
#include "scf/damping.h"
#include "scf/density.h"
#include "scf/diis.h"
#include "scf/electronic_energy.h"
#include "scf/fock_cndo.h"
#include "scf/fock_nddo_one_centre.h"
#include "scf/fock_nddo_one_centre_d.h"
#include "scf/fock_nddo_two_centre.h"
#include "scf/fock_zindo.h"
#include "scf/guess.h"
#include "scf/half_electron.h"
#include "scf/level_shift.h"
#include "scf/pseudo_diagonalise.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/state.h"

namespace qsolve {
namespace {

/// In what the SCF cycle of one method family differs from the others. All else is common.
struct ScfFamily {
    double dKcalPerUnit;      ///< kcal/mol in the family's energy unit
    double dFullDiagFactor;   ///< full diagonalisation within this many convergence limits
    double dShiftCorrection;  ///< part of the level shift in the energy of an open level
    bool fDampByShift;        ///< damping counts the cycles since the shift began, not all of them
    bool fSeedFock;           ///< a job's first cycle has a Fock matrix of its own
    bool fPerturbSpin;        ///< an unrestricted job starts from unequal spins
    bool fKeepFullDiag;       ///< full diagonalisation, once on, stays on
    bool fExitNeedsFullDiag;  ///< the cycles end only on a full diagonalisation
};

// clang-format off
constexpr ScfFamily kScfFamily[] = {  // Cndo, hartree; Zindo, hartree; Nddo, eV
    // kcal/mol       limits open-level shift       damp   seed   spins  keep   exit
    {kKcalPerHartree, 100.0, -0.009187327250685705, true,  true,  true,  false, false},
    {kKcalPerHartree,  10.0, -0.009187327250685705, false, true,  true,  true,  false},
    {kKcalPerEv,      100.0, -0.25,                 false, false, false, true,  true},
};
// clang-format on

constexpr double kNoShift = 1e-10;    ///< eV
constexpr double kShiftIsOff = 1e-3;  ///< eV
constexpr double kNearDensity = 0.1;  ///< density changes, electrons
constexpr double kSettledDensity = 0.033333;
constexpr double kTightDensity = 0.001;
constexpr int kLastCycles = 5;           ///< so many before the limit are fully diagonalised
constexpr double kUnknownEnergy = 99.0;  ///< stands for that before the first cycle

enum class Spin { kAlpha, kBeta };

// What the report calls the stages of a cycle.
constexpr int kStageCore = 0, kStageFockA = 1, kStageFockB = 2, kStageLevelsA = 3,
              kStageLevelsB = 4;

/// One spin's arrays, and what its cycles carry on.
struct SpinRun {
    Spin spin;
    LevelCounts Counts;
    Array<double>&mFock, &mVectors, &vEnergy, &vLevel;
    Array<double>&mDensity, &mDensityPrev, &vDiagOlder, &mDiisError, &mDiisFock;
    DiisHistory History = {};
    double dEnergy = 0.0;
    double dDelta = 1.0;  ///< largest change of a diagonal density element
};

/// One SCF. Energies are in the unit of the family.
struct Run {
    const ScfFamily& Family;
    bool fVerbose;  ///< the stages are reported
    bool fUnrestricted;
    bool fClosed;   ///< no partly filled levels, or unrestricted
    double dLimit;  ///< kcal/mol
    double dFullDiagLimit;
    double dCoreEnergy = 0.0;
    double dEnergy = 0.0, dEnergyPrev = kUnknownEnergy, dEnergyPrev2 = 0.0;
    LevelShift Shift = {};
    ScfCycle Cycle = {};
};

// ---- before the cycles -------------------------------------------------------------------------

[[noreturn]] void Decline(const char* sWhat) {
    Fatal(kMsgNotAvailable, sWhat, job.nCalcKind);
}

void DeclineWhatIsMissing() {
    if (options.nCiKind != 0) Decline("configuration interaction");
}

void CopyCoordinatesToAtoms() {
    const double* p = system.pCoords.Data();
    for (AtomRecord& atom : system.pAtoms) {
        atom.flX = static_cast<float>(*p++);
        atom.flY = static_cast<float>(*p++);
        atom.flZ = static_cast<float>(*p++);
    }
}

/// Integrals and core Hamiltonian of the geometry. Returns the core-core energy.
double BuildIntegrals() {
    const int n = setup.nOrbitals;
    double* mCore = scf.mCore.Data();
    double* mCoulomb = integrals.pIntegrals.Data();  // Nddo: the blocks of all pairs
    double* vDiagonal = integrals.vCoreDiagonal.Data();
    double dCoreEnergy = 0.0;
    BuildOverlapMatrix(mCore, n, n);
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            BuildSlaterCoulombMatrix(mCoulomb, n, n);
            BuildCndoCore(mCore, mCoulomb, vDiagonal, &dCoreEnergy, n, n);
            break;
        case Family::kZindo:
            if (system.MethodId == kZindo1)
                BuildSlaterCoulombMatrix(mCoulomb, n, n);
            else
                BuildMatagaCoulombMatrix(mCoulomb, n, n);
            BuildZindoCore(mCore, mCoulomb, vDiagonal, &dCoreEnergy, n, n);
            break;
        case Family::kNddo:
            BuildNddoCore(mCore, mCoulomb, integrals.pPairIndex.Data(), &dCoreEnergy, n, n);
            break;
        case Family::kNone:
            break;
    }
    return dCoreEnergy;
}

SpinRun AlphaRun() {
    return {Spin::kAlpha,    {setup.Map.nOccA, setup.nDoublyOcc, 0},
            scf.mFockA,      scf.mVectorsA,
            scf.vEnergyA,    scf.vLevelA,
            scf.mDensityA,   scf.mDensityPrevA,
            scf.vDiagOlderA, scf.mDiisErrorA,
            scf.mDiisFockA};
}

SpinRun BetaRun() {
    return {Spin::kBeta,     {setup.Map.nOccB, 0, setup.nOrbitals},
            scf.mFockB,      scf.mVectorsB,
            scf.vEnergyB,    scf.vLevelB,
            scf.mDensityB,   scf.mDensityPrevB,
            scf.vDiagOlderB, scf.mDiisErrorB,
            scf.mDiisFockB};
}

Run StartRun() {
    const ScfFamily& family = kScfFamily[static_cast<int>(FamilyOf(system.MethodId)) - 1];
    const double dLimit = static_cast<double>(options.flConvergenceLimit);
    return {.Family = family,
            .fVerbose = options.nLogLevel < 10,
            .fUnrestricted = options.nSpinTreatment == 1,
            .fClosed = setup.nOccupied == setup.nDoublyOcc,
            .dLimit = dLimit,
            .dFullDiagLimit = dLimit * family.dFullDiagFactor};
}

void InitCycles(Run& run) {
    run.Shift = InitLevelShift();
    run.Cycle.fShiftSettled = std::abs(run.Shift.dShiftA) < kShiftIsOff;
}

// ---- stages of the report ----------------------------------------------------------------------

void ReportCore(const Run& run) {
    if (run.fVerbose)
        ReportScfStage(scf.mCore.Data(), nullptr, nullptr, nullptr, nullptr, kStageCore, false);
}

void ReportFock(const Run& run, const SpinRun& s) {
    if (!run.fVerbose) return;
    const int nStage = s.spin == Spin::kAlpha ? kStageFockA : kStageFockB;
    ReportScfStage(nullptr, s.mFock.Data(), nullptr, nullptr, nullptr, nStage, false);
}

void ReportLevels(const Run& run, const SpinRun& s, const double* mDensity, bool fFinal) {
    if (!run.fVerbose) return;
    const int nStage = s.spin == Spin::kAlpha ? kStageLevelsA : kStageLevelsB;
    ReportScfStage(nullptr, nullptr, s.vEnergy.Data(), mDensity, s.mVectors.Data(), nStage, fFinal);
}

// ---- one cycle ---------------------------------------------------------------------------------

bool IsShifted(const Run& run) {
    return std::abs(run.Shift.dShiftA) > kNoShift && run.Shift.fLevelShift;
}

/// The same for the methods that retain differential overlap, which know no seed.
void AddElectronsNddo(const Run& run, const SpinRun& s) {
    const int n = setup.nOrbitals;
    const double* mTotal = scf.mDensityT.Data();
    const bool fOtherIsBeta = run.fUnrestricted && s.spin == Spin::kAlpha;
    const double* mOther = fOtherIsBeta ? scf.mDensityB.Data() : scf.mDensityA.Data();
    BuildFockTwoCentre(s.mFock.Data(), mTotal, s.mDensity.Data(), integrals.pIntegrals.Data(),
                       integrals.pPairIndex.Data(), n);
    BuildFockOneCentreSp(s.mFock.Data(), mTotal, s.mDensity.Data(), mOther, n);
    BuildFockOneCentreD(s.mFock.Data(), mTotal, s.mDensity.Data(), n);
}

/// The electrons' part of a Fock matrix that holds the core Hamiltonian.
void AddElectrons(const Run& run, const SpinRun& s) {
    const bool fSeed = run.Family.fSeedFock && run.Cycle.nCycle <= 1 && scf.nScfRuns < 1;
    const int n = setup.nOrbitals;
    const double* mCoulomb = integrals.pIntegrals.Data();
    const double* vDiagonal = integrals.vCoreDiagonal.Data();
    const double* mTotal = scf.mDensityT.Data();
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            if (fSeed)
                SeedFockCndo(n, vDiagonal, s.mFock.Data());
            else
                BuildFockCndo(mTotal, s.mDensity.Data(), mCoulomb, s.mFock.Data());
            break;
        case Family::kZindo:
            if (fSeed)
                SeedFockZindo(n, vDiagonal, s.mFock.Data());
            else
                BuildFockZindo(mTotal, s.mDensity.Data(), mCoulomb, n, s.mFock.Data());
            break;
        case Family::kNddo:
            AddElectronsNddo(run, s);
            break;
        case Family::kNone:
            break;
    }
}

/// The Fock matrix of a spin. The shift enters before the electrons, so that the energy can take it
/// out again; whether it does follows from the alpha shift for either spin.
void BuildFock(const Run& run, SpinRun& s) {
    CopyCoreToFock(run.Cycle.nCycle, s.mFock.Data());
    if (IsShifted(run))
        ApplyLevelShift(s.Counts.nOcc, run.Cycle.nCycle,
                        s.spin == Spin::kAlpha ? run.Shift.dShiftA : run.Shift.dShiftB,
                        s.mDensity.Data(), s.vLevel.Data(), s.vEnergy.Data(), s.mFock.Data());
    AddElectrons(run, s);
}

/// New orbitals from the Fock matrix, which is destroyed.
void SolveOrbitals(const Run& run, SpinRun& s) {
    const int n = setup.nOrbitals;
    const ScfCycle& cycle = run.Cycle;
    if (cycle.fNearConverged && options.fDiis)
        ExtrapolateFockDiis(n, s.mFock.Data(), s.mDensity.Data(), s.mDiisError.Data(),
                            s.mDiisFock.Data(), s.History);
    if (cycle.fNearConverged && !cycle.fFullDiag && run.fClosed)
        PseudoDiagonalise(n, s.Counts.nOcc, s.mFock.Data(), s.mVectors.Data(), s.vLevel.Data(),
                          scf.pWork.Data(), scf.mSquareWork.Data());
    else
        Diagonalise(n, s.mFock.Data(), s.mVectors.Data(), s.vEnergy.Data());
}

/// From the Fock matrix of a spin to its energy, with the density that made it, and its new
/// density.
void UpdateDensity(const Run& run, SpinRun& s) {
    const int n = setup.nOrbitals;
    const ScfCycle& cycle = run.Cycle;
    s.dEnergy = ComputeElectronicEnergy(n, scf.mCore.Data(), s.mFock.Data(), s.mDensity.Data());
    SolveOrbitals(run, s);
    BuildDensity(s.Counts, s.vEnergy.Data(), s.vLevel.Data(), s.mVectors.Data(), s.mDensity.Data());
    ReportLevels(run, s, s.mDensity.Data(), false);
    // An undamped cycle leaves dDelta as it was.
    if ((cycle.fNearConverged && options.fDiis) || cycle.fFullDiag) return;
    const int nCounter = run.Family.fDampByShift ? cycle.nShiftCycles : cycle.nCycle;
    s.dDelta =
        DampDensity(n, nCounter, s.mDensity.Data(), s.mDensityPrev.Data(), s.vDiagOlder.Data());
}

/// What the change of the density allows the next cycle. A settled shift counts from the cycle
/// after.
void UpdateFlags(const Run& run, const SpinRun& a, const SpinRun& b, ScfCycle& cycle) {
    const auto IsBelow = [&](double dChange) {
        return a.dDelta < dChange && (!run.fUnrestricted || b.dDelta < dChange);
    };
    const bool fNear = IsBelow(kNearDensity) && cycle.fShiftSettled;
    if (fNear) cycle.fNearConverged = true;
    cycle.fTightDensity = IsBelow(kTightDensity);
    cycle.fShiftFrozenClosed = fNear;
    if (IsBelow(kSettledDensity)) cycle.fShiftSettled = true;
}

double TotalOf(const Run& run, const SpinRun& a, const SpinRun& b) {
    if (run.fUnrestricted) return a.dEnergy + b.dEnergy;
    const double dEnergy = 2.0 * a.dEnergy;
    if (run.fClosed || !run.Shift.fLevelShift) return dEnergy;
    const int nOpen = setup.nOccupied - setup.nDoublyOcc;
    return dEnergy - nOpen * run.Shift.dShiftA * run.Family.dShiftCorrection;
}

bool IsFinished(const Run& run) {
    const ScfCycle& cycle = run.Cycle;
    const bool fOverLimit = cycle.nCycle > static_cast<long long>(options.nIterationLimit) + 1;
    if (!cycle.fConverged && !fOverLimit) return false;
    return cycle.fFullDiag || !run.Family.fExitNeedsFullDiag;
}

/// Judges the energy of a cycle: convergence, and whether the next one diagonalises fully.
void JudgeEnergy(Run& run) {
    ScfCycle& cycle = run.Cycle;
    const double dDiff = std::abs(run.dEnergy - run.dEnergyPrev) * run.Family.dKcalPerUnit;
    if (cycle.nCycle >= 2) ReportScfProgress(cycle.nCycle - 1, dDiff);
    if (dDiff < run.dLimit) cycle.fConverged = true;
    const bool fLast =
        cycle.nCycle >= static_cast<long long>(options.nIterationLimit) - kLastCycles;
    if (dDiff < run.dFullDiagLimit || fLast)
        cycle.fFullDiag = true;
    else if (dDiff > run.dFullDiagLimit && !run.Family.fKeepFullDiag)
        cycle.fFullDiag = false;
    run.dEnergyPrev2 = run.dEnergyPrev;
    run.dEnergyPrev = run.dEnergy;
}

void BuildFocks(const Run& run, SpinRun& a, SpinRun& b) {
    BuildFock(run, a);
    ReportFock(run, a);
    if (!run.fUnrestricted) return;
    BuildFock(run, b);
    ReportFock(run, b);
    if (run.Family.fPerturbSpin) PerturbSpinFock(run.Cycle.nCycle, a.mFock.Data(), b.mFock.Data());
}

/// Cycles until the energy is converged or the limit is passed. The energy is then that of the last
/// Fock matrix with the density that made it, the orbitals are those of the matrix.
void Iterate(Run& run, SpinRun& a, SpinRun& b) {
    ScfCycle& cycle = run.Cycle;
    while (true) {
        ++cycle.nCycle;
        if (cycle.nCycle - 1 > options.nLevelShiftStart) ++cycle.nShiftCycles;
        if (IsShifted(run)) UpdateLevelShift(run.dEnergy, run.dEnergyPrev2, run.Shift, cycle);
        BuildFocks(run, a, b);
        UpdateDensity(run, a);
        if (run.fUnrestricted) UpdateDensity(run, b);
        FinishDensity();
        UpdateFlags(run, a, b, cycle);
        run.dEnergy = TotalOf(run, a, b);
        if (IsFinished(run)) return;
        JudgeEnergy(run);
    }
}

// ---- after the cycles --------------------------------------------------------------------------

/// Levels have no species until they have been classified.
void LabelLevels() {
    OrbitalResults& orbitals = results.Orbitals;
    for (auto& sLabel : orbitals.sSymmetryLabel) std::memcpy(sLabel, "  ?", sizeof sLabel);
}

void CheckResults(const Run& run) {
    CheckDensityTrace();
    if (!std::isfinite(run.dEnergy + run.dCoreEnergy)) Warn(kMsgFloatingPoint);
}

/// What follows from the last orbitals and the last density.
void FinishRun(const Run& run, const SpinRun& a, const SpinRun& b) {
    CheckResults(run);
    scf.dStateCorrection = scf.dNextStateCorrection = 0.0;
    if (setup.nOccupied != setup.nDoublyOcc)
        scf.dStateCorrection = HalfElectronCorrection(a.vEnergy.Data(), a.mVectors.Data());
    if (!symmetry.fOrbitalLabelsKnown) LabelLevels();
    const Array<double>& mDensity = run.fUnrestricted ? scf.mDensityA : scf.mDensityT;
    ReportLevels(run, a, mDensity.Data(), true);
    if (run.fUnrestricted) ReportLevels(run, b, scf.mDensityB.Data(), true);
    ComputeGradient(scf.mDensityT.Data(), scf.mDensityA.Data(), scf.mDensityB.Data());
    ApplyRestraints();
    ComputeAtomCharges(scf.mDensityT.Data(), scf.mDensityA.Data(), scf.mDensityB.Data());
    ReportEnergies(run.dEnergy, run.dCoreEnergy);
    ComputeDipole(scf.mDensityT.Data(), setup.nOrbitals);
    scf.fResultsValid = true;
}

}  // namespace

void RunScf() {
    if (FamilyOf(system.MethodId) == Family::kNone) return;
    DeclineWhatIsMissing();
    scf.fResultsValid = gradient.fComputed = false;
    CopyCoordinatesToAtoms();
    ComputeChargeOrigin();
    ++scf.nScfRuns;
    if (ThisKind().fCountsPoints) results.Block.nEnergyPoints = scf.nScfRuns;

    Run run = StartRun();
    run.dCoreEnergy = BuildIntegrals();
    InitScfGuess();
    ReportCore(run);
    InitCycles(run);
    SpinRun a = AlphaRun(), b = BetaRun();
    Iterate(run, a, b);
    FinishRun(run, a, b);
}

}  // namespace qsolve
