#include "scf/due_orbitals.h"

#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "numeric/strips.h"
#include "numeric/trace.h"
#include "scf/electrons.h"
#include "scf/run.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/symmetry.h"

namespace qsolve {
namespace {

constexpr double kSameSum = 1e-6;  ///< eV, of the levels that hold electrons

/// A copy of a Fock matrix for a solver to destroy.
double* CopyOf(int n, const Array<double>& mFock) {
    CopyRows(n, n, mFock.Data(), scf.mSquareWork.Data());
    return scf.mSquareWork.Data();
}

void Solve(int n, const Array<double>& mFock, Array<double>& mVectors, double* vEnergy) {
    DiagonaliseQuickly(n, 0, n, CopyOf(n, mFock), mVectors.Data(), vEnergy);
}

}  // namespace

Wanted WantedAtTheEnd(ScfRun& run) {
    if (!setup.fFinalReport) return Wanted::kLevels;
    FindSymmetry();
    run.fGroupFound = true;
    return NeedsOrbitals() ? Wanted::kOrbitals : Wanted::kLevels;
}

bool TakeLevels(Electrons& electrons, Wanted wanted) {
    const int n = electrons.n;
    for (int k = 0; k < electrons.nSets; ++k) {
        SpinRun& s = *electrons.pSets[k];
        const Shells& shells = electrons.vShells[k];
        if (shells.nOpen != 0) return false;
        if (wanted == Wanted::kOrbitals)
            Solve(n, s.mFock, s.mVectors, s.vEnergy.Data());
        else
            Eigenvalues(n, CopyOf(n, s.mFock), s.vEnergy.Data());
        double dAbove = TraceProduct(n, s.mDensity.Data(), s.mFock.Data());
        for (int i = 0; i < shells.nFull; ++i) dAbove -= s.vEnergy[i];
        if (!(std::abs(dAbove) * electrons.dEv < kSameSum)) return false;
    }
    scf.fOrbitalsDue = wanted == Wanted::kLevels;
    return true;
}

void SolveDueOrbitals() {
    if (!scf.fOrbitalsDue) return;
    double* vEnergy = scf.vOrbitalScratch.Data();  // the levels keep the digits that they have
    Solve(scf.nOrbitals, scf.mFockA, scf.mVectorsA, vEnergy);
    if (scf.nSpinTreatment == 1) Solve(scf.nOrbitals, scf.mFockB, scf.mVectorsB, vEnergy);
    scf.fOrbitalsDue = false;
}

}  // namespace qsolve
