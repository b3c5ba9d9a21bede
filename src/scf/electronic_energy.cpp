#include "scf/electronic_energy.h"

#include <algorithm>
#include <cmath>

#include "integrals/atom_list.h"
#include "integrals/state.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Charge from which on the dipole depends on the origin, e.
constexpr double kIsCharged = 0.5;

double DiagonalSum(const double* m, int n, int nFirst, int nEnd) {
    double d = 0.0;
    for (int i = nFirst; i < nEnd; ++i) d += Row(m, n, i)[i];
    return d;
}

}  // namespace

double ComputeElectronicEnergy(int n, const double* mCore, const double* mFock,
                               const double* mDensity) {
    return 0.5 * (TraceProduct(n, mCore, mDensity) + TraceProduct(n, mFock, mDensity));
}

void FinishDensity() {
    const std::size_t n = scf.mDensityT.Size();
    double* pTotal = scf.mDensityT.Data();
    double* pA = scf.mDensityA.Data();
    if (scf.nSpinTreatment == 1) {
        const double* pB = scf.mDensityB.Data();
        for (std::size_t i = 0; i < n; ++i) pTotal[i] = pA[i] + pB[i];
    } else {
        for (std::size_t i = 0; i < n; ++i) {
            pTotal[i] = pA[i];
            pA[i] *= 0.5;
        }
    }
    if (FamilyOf(system.MethodId) == Family::kNddo) FillAtomPopulations();
}

void FillAtomPopulations() {
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (atom.IsDummy()) continue;
        const int nD = atom.nFirst + std::min(atom.nOrbitals, kFirstD);
        const double* m = scf.mDensityT.Data();
        integrals.vAtomScratch1[i] = DiagonalSum(m, setup.nOrbitals, atom.nFirst, nD);
        integrals.vAtomScratch2[i] =
            DiagonalSum(m, setup.nOrbitals, nD, atom.nFirst + atom.nOrbitals);
    }
}

void ComputeChargeOrigin() {
    std::fill_n(scf.dChargeOrigin, 3, 0.0);
    const bool fCharged = std::abs(static_cast<double>(options.nTotalCharge)) >= kIsCharged;
    if (system.nSelected <= 1 || !fCharged) return;
    double dMass = 0.0, vSum[3] = {};
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = system.nSelectedAtoms[i] - 1;
        if (system.pAtoms[nAtom].nAtomicNumber < 1) continue;
        const double m = static_cast<double>(system.pAtoms[nAtom].flMass);
        const double* pXyz = Row(system.pCoords.Data(), 3, nAtom);
        dMass += m;
        for (int k = 0; k < 3; ++k) vSum[k] += m * pXyz[k];
    }
    if (dMass <= 0.0) return;
    for (int k = 0; k < 3; ++k) scf.dChargeOrigin[k] = vSum[k] / dMass;
}

double ElectronsHeld(const double* mDensity) {
    return DiagonalSum(mDensity, setup.nOrbitals, 0, setup.nOrbitals);
}

void CheckDensityTrace(double dOfEnergy) {
    const double dLast = ElectronsHeld(scf.mDensityT.Data());
    for (const double dHeld : {dLast, dOfEnergy}) {
        if (std::abs(dHeld - setup.nElectrons) <= kTraceTolerance) continue;
        Warn(kMsgDensityTrace, dHeld, static_cast<double>(setup.nElectrons));
        return;
    }
}

}  // namespace qsolve
