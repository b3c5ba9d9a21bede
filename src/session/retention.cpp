#include "exchange/intake.h"
#include "gradient/state.h"
#include "job/kinds.h"
#include "job/state.h"
#include "scf/kept.h"
#include "scf/state.h"
#include "session/job_arrays.h"
#include "session/session.h"
#include "session/state.h"
#include "symmetry/state.h"
#include "vibrations/state.h"

namespace qsolve {

namespace {

/// What every calculation brings anew: atoms, selection, restraints, and the gradient that belongs
/// to them. Orbitals that stay behind belong to no molecule, and nothing can be plotted from them.
void FreeMolecule() noexcept {
    scf.fResultsValid = false;
    symmetry = SymmetryState{};
    gradient = GradientState{};
    ForgetMolecule();
}

void FreeModes() noexcept {
    results.Modes = ModeResults{};
}

/// The force matrix and all that was made from it.
void FreeForceMatrix() noexcept {
    vibrations = VibrationState{};
    FreeModes();
}

/// The force matrix outlives the calculation that made it while the coming job may work from it.
void FreeForceMatrixByKind() noexcept {
    const Matrix nLeft = KindOf(session.nPrevCalcKind).nLeaves;
    if (nLeft == Matrix::kNone) return;
    if (ThisKind().nTakes != nLeft) {
        FreeForceMatrix();
    } else if (nLeft == Matrix::kSearchHessian) {
        FreeModes();
        if (options.fComputeHessian) FreeForceMatrix();
    }
}

/// A vibrations job on the stored force matrix also needs the orbitals and geometry it belongs to.
bool WorksFromLastCalculation() noexcept {
    return ThisKind().nTakes == Matrix::kForceMatrix && !options.fComputeForceMatrix;
}

}  // namespace

void FreeSessionArrays() noexcept {
    ForgetUnwantedDensity();
    if (!session.fResultsExist) {
        session.fResultsExist = true;
        return;
    }
    FreeMolecule();
    if (WorksFromLastCalculation()) return;
    FreeCalculation();
    FreeForceMatrixByKind();
}

void ClearSessionPointers() noexcept {
    FreeMolecule();
    FreeCalculation();
    FreeForceMatrix();
}

}  // namespace qsolve
