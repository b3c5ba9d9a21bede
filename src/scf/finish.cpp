#include "scf/finish.h"

#include <cmath>
#include <cstring>

#include "gradient/gradient.h"
#include "gradient/restraints.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/properties.h"
#include "report/report.h"
#include "scf/electronic_energy.h"
#include "scf/energies.h"
#include "scf/half_electron.h"
#include "scf/stages.h"
#include "setup/state.h"
#include "symmetry/state.h"

namespace qsolve {

namespace {

/// Levels have no species until they have been classified.
void LabelLevels() {
    OrbitalResults& orbitals = results.Orbitals;
    for (auto& sLabel : orbitals.sSymmetryLabel) std::memcpy(sLabel, "  ?", sizeof sLabel);
}

void CheckResults(const ScfRun& run) {
    CheckDensityTrace();
    if (!std::isfinite(run.dEnergy + run.dCoreEnergy)) Warn(kMsgFloatingPoint);
}

}  // namespace

void FinishRun(const ScfRun& run, const SpinRun& a, const SpinRun& b) {
    const double *mDensityT = scf.mDensityT.Data(), *mDensityA = scf.mDensityA.Data(),
                 *mDensityB = scf.mDensityB.Data();
    CheckResults(run);

    // The state: partly filled levels stand for a mean of states, of which one is meant.
    scf.dStateCorrection = scf.dNextStateCorrection = 0.0;
    if (setup.nOccupied != setup.nDoublyOcc)
        scf.dStateCorrection = HalfElectronCorrection(a.vEnergy.Data(), a.mVectors.Data());

    // The levels, as the log shows them.
    if (!symmetry.fOrbitalLabelsKnown) LabelLevels();
    ReportLevels(run, a, run.fUnrestricted ? mDensityA : mDensityT, true);
    if (run.fUnrestricted) ReportLevels(run, b, mDensityB, true);

    // Forces and charges of the last density, then everything in the units of the results.
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
