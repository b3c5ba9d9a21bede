#include "scf/fock.h"

#include "integrals/integrals.h"
#include "integrals/state.h"
#include "job/state.h"
#include "scf/fock_cndo.h"
#include "scf/fock_nddo_one_centre.h"
#include "scf/fock_nddo_one_centre_d.h"
#include "scf/fock_nddo_two_centre.h"
#include "scf/fock_zindo.h"
#include "scf/guess.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// The electrons of the methods that retain differential overlap, which know no seed.
void AddRepulsionNddo(const double* mTotal, const double* mSpin, const double* mOther,
                      double* mFock) {
    const int n = setup.nOrbitals;
    BuildFockTwoCentre(mFock, mTotal, mSpin, integrals.pIntegrals.Data(),
                       integrals.pPairIndex.Data(), n);
    BuildFockOneCentreSp(mFock, mTotal, mSpin, mOther, n);
    BuildFockOneCentreD(mFock, mTotal, mSpin, n);
}

}  // namespace

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

void AddRepulsion(const double* mTotal, const double* mSpin, const double* mOther, double* mFock) {
    const double* mCoulomb = integrals.pIntegrals.Data();
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            BuildFockCndo(mTotal, mSpin, mCoulomb, mFock);
            break;
        case Family::kZindo:
            BuildFockZindo(mTotal, mSpin, mCoulomb, setup.nOrbitals, mFock);
            break;
        case Family::kNddo:
            AddRepulsionNddo(mTotal, mSpin, mOther, mFock);
            break;
        case Family::kNone:
            break;
    }
}

void AddElectrons(const ScfRun& run, const SpinRun& s) {
    const bool fSeed = run.Family.fSeedFock && run.Cycle.nCycle <= 1 && scf.nScfRuns < 1;
    const double* vDiagonal = integrals.vCoreDiagonal.Data();
    if (fSeed && FamilyOf(system.MethodId) == Family::kCndo) {
        SeedFockCndo(setup.nOrbitals, vDiagonal, s.mFock.Data());
        return;
    }
    if (fSeed) {
        SeedFockZindo(setup.nOrbitals, vDiagonal, s.mFock.Data());
        return;
    }
    const bool fOtherIsBeta = run.fUnrestricted && s.spin == Spin::kAlpha;
    const double* mOther = fOtherIsBeta ? scf.mDensityB.Data() : scf.mDensityA.Data();
    AddRepulsion(scf.mDensityT.Data(), s.mDensity.Data(), mOther, s.mFock.Data());
}

}  // namespace qsolve
