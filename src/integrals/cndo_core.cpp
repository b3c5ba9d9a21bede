#include "integrals/cndo_core.h"

#include "integrals/atom_list.h"
#include "integrals/classical_charges.h"
#include "integrals/diatomic_block.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Half an eV in hartree for pairs with an element from Ne on: three quarters of kResonancePerEv.
constexpr double kResonancePerEvHeavy = 0.01378169775;
constexpr int kFirstHeavyElement = 10;

bool IsHeavy(int nElement) {
    return nElement >= kFirstHeavyElement && nElement <= kHighestElement;
}

double OneCentreEnergy(const CindoRow& row, int nOrbital) {
    switch (AngularOf(nOrbital)) {
        case 0:
            return kHartreePerEv * row.dHalfIpEaS;
        case 1:
            return kHartreePerEv * row.dHalfIpEaP;
        default:
            return kHartreePerEv * row.dHalfIpEaD;
    }
}

void ScaleToResonance(const ListedAtom& a, const ListedAtom& b, double* mCore, int nLeading) {
    const double k = CndoResonancePerEv(a.nElement, b.nElement);
    const double dFactor =
        -(parameters.pCindoParams[a.Row()].dBeta + parameters.pCindoParams[b.Row()].dBeta) * k;
    for (int i = 0; i < a.nOrbitals; ++i) {
        double* pRow = Row(mCore, nLeading, a.nFirst + i) + b.nFirst;
        for (int j = 0; j < b.nOrbitals; ++j) pRow[j] *= dFactor;
    }
}

void FillDiagonal(const ListedAtom& a, double dAttraction, const double* mCoulomb, double* mCore,
                  double* vCoreDiagonal, int nLeading) {
    const CindoRow& row = parameters.pCindoParams[a.Row()];
    const double dSelf = 0.5 * Row(mCoulomb, nLeading, a.nFirst)[a.nFirst];
    for (int i = 0; i < a.nOrbitals; ++i) {
        const int mu = a.nFirst + i;
        vCoreDiagonal[mu] = OneCentreEnergy(row, i);
        double dElement = vCoreDiagonal[mu] + dSelf - dAttraction;
        if (system.MethodId == kIndo) dElement += IndoCoreTerm(a.nElement, AngularOf(i));
        Row(mCore, nLeading, mu)[mu] = dElement;
    }
}

}  // namespace

double CndoResonancePerEv(int nElementA, int nElementB) {
    return IsHeavy(nElementA) || IsHeavy(nElementB) ? kResonancePerEvHeavy : kResonancePerEv;
}

double IndoCoreTerm(int nElement, int nAngular) {
    if (nElement < 2 || nElement > 9 || nAngular > 1) return 0.0;
    const CindoRow& row = parameters.pCindoParams[nElement - 1];
    const double dG1 = kHartreePerEv * row.dSlaterG1, dF2 = kHartreePerEv * row.dSlaterF2;
    const double Z = CoreChargeOf(nElement);
    if (nAngular == 0) return nElement >= 4 ? (Z - 1.5) * dG1 / 6.0 : 0.0;
    if (nElement == 3) return dG1 / 12.0;
    if (nElement == 4) return dG1 / 4.0;
    return dG1 / 3.0 + 0.08 * (Z - 2.5) * dF2;
}

void BuildCndoCore(double* mCore, const double* mCoulomb, double* vCoreDiagonal,
                   double* pCoreEnergy, int nLeading, int nOrbitals) {
    double dTwiceEnergy = 0.0;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const ListedAtom a = AtomAt(iA);
        if (a.IsDummy()) continue;
        double dAttraction = 0.0;
        for (int iB = 0; iB < system.nSelected; ++iB) {
            const ListedAtom b = AtomAt(iB);
            if (b.IsDummy()) continue;
            const double Z = CoreChargeOf(b.nElement);
            dAttraction += Z * Row(mCoulomb, nLeading, a.nFirst)[b.nFirst];
            if (iB == iA) continue;
            ScaleToResonance(a, b, mCore, nLeading);
            const double R = Distance(a.pXyz, b.pXyz);
            if (R >= kNearest) dTwiceEnergy += CoreChargeOf(a.nElement) * Z / R;
        }
        FillDiagonal(a, dAttraction, mCoulomb, mCore, vCoreDiagonal, nLeading);
        Yield(static_cast<std::size_t>(nOrbitals));
    }
    *pCoreEnergy = 0.5 * dTwiceEnergy;
    if (system.nSelected != system.nAtoms) *pCoreEnergy += AddClassicalCharges(mCore, nLeading);
}

}  // namespace qsolve
