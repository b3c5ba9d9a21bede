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
void AddElectronsNddo(const ScfRun& run, const SpinRun& s) {
    const int n = setup.nOrbitals;
    const double* mTotal = scf.mDensityT.Data();
    const bool fOtherIsBeta = run.fUnrestricted && s.spin == Spin::kAlpha;
    const double* mOther = fOtherIsBeta ? scf.mDensityB.Data() : scf.mDensityA.Data();
    BuildFockTwoCentre(s.mFock.Data(), mTotal, s.mDensity.Data(), integrals.pIntegrals.Data(),
                       integrals.pPairIndex.Data(), n);
    BuildFockOneCentreSp(s.mFock.Data(), mTotal, s.mDensity.Data(), mOther, n);
    BuildFockOneCentreD(s.mFock.Data(), mTotal, s.mDensity.Data(), n);
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

void AddElectrons(const ScfRun& run, const SpinRun& s) {
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

}  // namespace qsolve
