#include "scf/finish.h"

#include <cmath>
#include <cstddef>

#include "ci/ci.h"
#include "ci/state.h"
#include "gradient/gradient.h"
#include "gradient/restraints.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/properties.h"
#include "report/report.h"
#include "scf/due_orbitals.h"
#include "scf/electronic_energy.h"
#include "scf/energies.h"
#include "scf/half_electron.h"
#include "scf/stages.h"
#include "scf/state_gradient.h"
#include "setup/state.h"
#include "symmetry/labels.h"
#include "symmetry/state.h"
#include "symmetry/symmetry.h"

namespace qsolve {

namespace {

/// Levels have no species until a report has classified them.
void ClassifyLevels(const ScfRun& run, const SpinRun& a) {
    OrbitalResults& orbitals = results.Orbitals;
    if (setup.fFinalReport) {
        if (!run.fGroupFound) FindSymmetry();
        if (NeedsOrbitals()) SolveDueOrbitals();
        LabelOrbitals(a.mVectors.Data());
    } else if (!symmetry.fOrbitalLabelsKnown) {
        SetDefaultLabels(setup.nOrbitals, orbitals.sSymmetryLabel.Data(),
                         orbitals.vSymmetryIndex.Data());
    }
}

void CheckResults(const ScfRun& run) {
    CheckDensityTrace(run.dHeld);
    if (!std::isfinite(run.dEnergy + run.dCoreEnergy)) Warn(kMsgFloatingPoint);
}

/// What a configuration interaction starts from.
ScfLevels LevelsOf(const ScfRun& run, const SpinRun& a) {
    return {.vEnergy = a.vEnergy.Data(),
            .vLevel = a.vLevel.Data(),
            .mVectors = a.mVectors.Data(),
            .dEnergy = run.dEnergy,
            .dCoreEnergy = run.dCoreEnergy,
            .vOrigin = scf.dChargeOrigin};
}

/// The state takes over the density, and its natural orbitals stand in place of the orbitals.
CiEnergies RunMicrostates(const ScfRun& run, const SpinRun& a) {
    ci.vNaturalOcc.Take(static_cast<std::size_t>(setup.nOrbitals), kWork);
    return RunMicrostateCi(LevelsOf(run, a), {.mDensityT = scf.mDensityT.Data(),
                                              .mSpinDensity = scf.mDensityB.Data(),
                                              .mFockA = scf.mFockA.Data(),
                                              .mVectorsA = scf.mVectorsA.Data(),
                                              .vNaturalOcc = ci.vNaturalOcc.Data()});
}

/// Energies of the state that is meant, and of the lowest beside a next lowest one, relative to the
/// SCF: partly filled levels stand for a mean of states.
CiEnergies FindState(const ScfRun& run, const SpinRun& a) {
    switch (options.nCiKind) {
        case kSingles:
            return RunSinglesCi(LevelsOf(run, a));
        case kMicrostates:
            return RunMicrostates(run, a);
        default:
            break;
    }
    if (setup.nOccupied == setup.nDoublyOcc) return {};
    return {.dHalfElectronCorrection = HalfElectronCorrection(a.vEnergy.Data(), a.mVectors.Data())};
}

}  // namespace

void FinishRun(const ScfRun& run, const SpinRun& a, const SpinRun& b) {
    const double *mDensityT = scf.mDensityT.Data(), *mDensityA = scf.mDensityA.Data(),
                 *mDensityB = scf.mDensityB.Data();
    CheckResults(run);

    // The state, which is not always that of the SCF.
    ci = CiState{};
    const CiEnergies energies = FindState(run, a);
    scf.dStateCorrection = energies.dHalfElectronCorrection;
    scf.dNextStateCorrection = energies.dNextStateCorrection;

    // The levels, as the log shows them.
    ClassifyLevels(run, a);
    const double* vValues = ci.vNaturalOcc ? ci.vNaturalOcc.Data() : a.vEnergy.Data();
    ReportLevels(run, a, vValues, run.fUnrestricted ? mDensityA : mDensityT, true);
    if (run.fUnrestricted) ReportLevels(run, b, b.vEnergy.Data(), mDensityB, true);

    // Forces and charges of the last density, then everything in the units of the results.
    if (WantsStateGradient())
        ComputeStateGradient();
    else
        ComputeGradient(mDensityT, mDensityA, mDensityB);
    ApplyRestraints();
    ComputeAtomCharges(mDensityT, mDensityA, mDensityB);
    FinishEnergies(run.dEnergy, run.dCoreEnergy);

    // The report; the dipole, which needs the charges, stands at its end.
    ReportEnergies();
    ComputeDipole(mDensityT, setup.nOrbitals);
    scf.fResultsValid = true;
}

}  // namespace qsolve
