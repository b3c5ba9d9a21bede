#include "vibrations/vibrations.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "geometry/displacements.h"
#include "geometry/external_modes.h"
#include "geometry/inertia.h"
#include "geometry/kept_matrix.h"
#include "geometry/modes.h"
#include "job/atoms.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "properties/properties.h"
#include "properties/state.h"
#include "report/report.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/symmetry.h"
#include "vibrations/infrared.h"
#include "vibrations/mass_weight.h"
#include "vibrations/state.h"

namespace qsolve {
namespace {

/// Square of a bohr in Angstrom^2, as moments of inertia are converted.
constexpr double kInertiaBohrSquared = 0.28002856191756254;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

/// Atoms that vibrate: all that are selected but the capping ones, which stand last.
int CountAtoms() {
    return system.nSelected - system.nCapping;
}

// ---- the kept matrix ----------------------------------------------------------------------------

/// Whether the kept matrix serves. One of another kind, of other atoms or other places, or one that
/// was never finished does not exist for this job; of one with another number of atoms the person
/// is told.
bool KeptMatrixServes() {
    const VibrationState& v = vibrations;
    if (!v.fComplete || v.nProducerKind != kVibrations) Fatal(kMsgForceMatrixMissing);
    if (v.nStoredCoordinates != 3 * CountAtoms()) {
        Warn(kMsgForceMatrixAtoms, CountAtoms(), v.nStoredCoordinates / 3);
        return false;
    }
    if (!BelongsToThisMolecule(v) || !IsAtItsPlaces(v) || scf.nOrbitals == 0)
        Fatal(kMsgForceMatrixMissing);
    return true;
}

/// The atoms came anew, the density did not.
void RestoreCharges() {
    if (properties.vCharge.Size() != Size(system.nSelected))
        properties.vCharge.Take(Size(system.nSelected), kWork);
    ComputeAtomCharges(scf.mDensityT.Data(), scf.mDensityA.Data(), scf.mDensityB.Data());
    scf.fResultsValid = true;
}

void ConvertUnits() {
    for (double& d : vibrations.pHessian) d *= MillidynesPerUnit(system.MethodId);
    if (UsesAtomicUnits(system.MethodId))
        for (double& d : vibrations.pDipoleDerivatives) d *= kBohrPerAngstrom;
}

void ComputeForceMatrix() {
    const int nAtoms = CountAtoms(), n = 3 * nAtoms;
    vibrations = VibrationState{};
    vibrations.pHessian.Take(Size(n), Size(n), kWork);
    vibrations.pDipoleDerivatives.Take(Size(n), 3, kWork);
    RememberMolecule(vibrations);
    vibrations.Report =
        ComputeDifferences(kForceMatrixScheme, nAtoms, Threads(), vibrations.pHessian.Data(),
                           vibrations.pDipoleDerivatives.Data());
    RunScf();  // energy, gradient and dipole of the reference point again
    ConvertUnits();
    vibrations.nStoredCoordinates = n;
    vibrations.nProducerKind = kVibrations;
    vibrations.fComplete = true;
}

// ---- modes --------------------------------------------------------------------------------------

/// Positions, masses, work copies of the kept matrix and the derivatives, so that other masses can
/// still be tried on these.
struct Analysis {
    int nAtoms = CountAtoms(), n = 3 * nAtoms;
    Array<double> vXyz, vMass, vWork, mMatrix, mDipoles;
    Inertia Masses;

    Analysis() {
        vXyz.Take(Size(n), kWork);
        vMass.Take(Size(nAtoms), kWork);
        vWork.Take(Size(n), kWork);
        mMatrix.Take(Size(n), Size(n), kWork);
        mDipoles.Take(Size(n), 3, kWork);
        std::copy(vibrations.pHessian.begin(), vibrations.pHessian.end(), mMatrix.begin());
        std::copy(vibrations.pDipoleDerivatives.begin(), vibrations.pDipoleDerivatives.end(),
                  mDipoles.begin());
        for (int i = 0; i < nAtoms; ++i) PlaceAtom(i);
        Masses = ComputeInertia(nAtoms, vXyz.Data(), vMass.Data(),
                                UsesAtomicUnits(system.MethodId) ? kInertiaBohrSquared : 1.0);
    }

  private:
    void PlaceAtom(int i) {
        const int nAtom = AtomNumberAt(i);
        const AtomRecord& atom = AtomByNumber(nAtom);
        std::copy_n(system.pCoords.Data() + 3 * (nAtom - 1), 3, vXyz.Data() + 3 * i);
        vMass[i] = IsDummy(atom) ? 0.0 : static_cast<double>(atom.flMass);
    }
};

/// What the client hears of the matrix itself.
void KeepForces() {
    ModeResults& modes = results.Modes;
    const VibrationState& v = vibrations;
    modes.mForces.Take(v.pHessian.Size(), kWork);
    for (std::size_t i = 0; i < v.pHessian.Size(); ++i)
        modes.mForces[i] = v.pHessian[i] / kMillidynesPerKcal;
    modes.mDipoles.Take(v.pDipoleDerivatives.Size(), kWork);
    std::copy(v.pDipoleDerivatives.begin(), v.pDipoleDerivatives.end(), modes.mDipoles.begin());
    modes.nPoints = v.Report.nPoints;
    modes.nUnconverged = v.Report.nUnconverged;
    modes.nWorkers = v.Report.nWorkers;
    modes.nCycles = v.Report.nCycles;
}

void FillRecord(int p, const double* vModeDipole) {
    ModeResults& modes = results.Modes;
    ModeRecord& record = modes.Records[p];
    modes.vIntensities[p] = IntensityOf(vModeDipole);
    record.flFrequency = static_cast<float>(modes.vFrequencies[p]);
    record.nIndex = p;
    record.flIntensity = static_cast<float>(modes.vIntensities[p]);
    record.flDipoleX = static_cast<float>(vModeDipole[0]);
    record.flDipoleY = static_cast<float>(vModeDipole[1]);
    record.flDipoleZ = static_cast<float>(vModeDipole[2]);
}

/// The modes of the mass-weighted matrix, which is destroyed.
void FillModes(Analysis& a) {
    ModeResults& modes = results.Modes;
    modes.nExternalModes = CountExternalModes(a.Masses);
    modes.mModes.Take(Size(a.n), Size(a.n), kWork);
    modes.vFrequencies.Take(Size(a.n), kWork);
    modes.vIntensities.Take(Size(a.n), kWork);
    modes.Records.Take(Size(a.n), kWork);
    SolveModes(a.n, modes.nExternalModes, kVibrationLevels, a.mMatrix.Data(), modes.mModes.Data(),
               modes.vFrequencies.Data());
    Array<double> mModeDipoles;
    mModeDipoles.Take(Size(a.n), 3, kWork);
    FillModeDipoles(a.n, modes.mModes.Data(), a.mDipoles.Data(), mModeDipoles.Data());
    for (int p = 0; p < a.n; ++p) {
        modes.vFrequencies[p] = FrequencyOf(modes.vFrequencies[p]);
        FillRecord(p, Row(mModeDipoles.Data(), 3, p));
    }
    modes.nModes = a.n;
}

void ReportPairs(const Analysis& a) {
    if (!link.fLogReports) return;
    Array<double> mTable;
    mTable.Take(Size(a.nAtoms), Size(a.nAtoms), kWork);
    FillForceConstants(a.nAtoms, a.mMatrix.Data(), mTable.Data());
    ReportForceConstants(a.nAtoms, mTable.Data());
}

void LogInertia(const Inertia& inertia) {
    const double *B = inertia.vConstant, *I = inertia.vMoment;
    LogFormat(kMsgInertiaHeading);
    LogFormat(kMsgRotationalConstants, B[0], B[1], B[2]);
    LogFormat(kMsgMomentsOfInertia, I[0] * kCgsOfMoment, I[1] * kCgsOfMoment, I[2] * kCgsOfMoment);
}

double SumZeroPoint() {
    double dSum = 0.0;
    for (const double d : results.Modes.vFrequencies) dSum += d;
    return dSum * kZeroPointOfWavenumber;
}

}  // namespace

void RunVibrations() {
    const bool fCompute = options.fComputeForceMatrix != 0;
    setup.fFinalReport = false;
    LogFormat(kMsgVibrationsHeading);
    results.Modes = ModeResults{};
    if (fCompute)
        ComputeForceMatrix();
    else if (KeptMatrixServes())
        RestoreCharges();
    else
        return;

    StatusFormat(kMsgVibrationalSpectrum);
    Analysis a;
    if (fCompute) {
        KeepForces();
        ReportPairs(a);
    }
    MassWeightForceMatrix(a.nAtoms, a.vMass.Data(), a.mMatrix.Data(), a.mDipoles.Data());
    LogInertia(a.Masses);
    RaiseExternalModes(a.nAtoms, a.vXyz.Data(), a.vMass.Data(), a.Masses, kVibrationLevels,
                       a.vWork.Data(), a.mMatrix.Data());
    FillModes(a);
    ReportSymmetry(true, false, true, results.Modes.mModes.Data());
    if (!fCompute) ReportAtoms();
    ReportModes(SumZeroPoint());
}

}  // namespace qsolve
