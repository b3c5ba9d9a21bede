#include "integrals/zindo_core.h"

#include <algorithm>

#include "integrals/atom_list.h"
#include "integrals/classical_charges.h"
#include "integrals/diatomic_block.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Core charges up to this one are all in the s shell.
constexpr double kLargestSCore = 2.0001;

bool IsTransitionMetal(int nElement) {
    return IsFirstTransitionRow(nElement) || IsSecondTransitionRow(nElement);
}

/// Minus the ionisation potential of an orbital, hartree. Sc to Cu mix two configurations here; the
/// second row's tables hold mixed values already.
double OneCentreEnergy(int nElement, int nOrbital) {
    const ZindoRow& row = setup.pZindo[nElement - 1];
    const double vFirst[3] = {row.dIonisationS, row.dIonisationP, row.dIonisationD};
    const int l = AngularOf(nOrbital);
    const double dIonisation =
        IsFirstTransitionRow(nElement)
            ? row.dConfigMix[1] * row.dIonisation2[l] + row.dConfigMix[0] * vFirst[l]
            : vFirst[l];
    return -kHartreePerEv * dIonisation;
}

void ScaleToResonance(const ListedAtom& a, const ListedAtom& b, double* mCore, int nLeading) {
    const ZindoRow& ra = setup.pZindo[a.Row()];
    const ZindoRow& rb = setup.pZindo[b.Row()];
    const double vBetaA[3] = {ra.dBetaS, ra.dBetaP, ra.dBetaD};
    const double vBetaB[3] = {rb.dBetaS, rb.dBetaP, rb.dBetaD};
    for (int i = 0; i < a.nOrbitals; ++i) {
        double* pRow = Row(mCore, nLeading, a.nFirst + i) + b.nFirst;
        for (int j = 0; j < b.nOrbitals; ++j)
            pRow[j] *= -kResonancePerEv * (vBetaA[AngularOf(i)] + vBetaB[AngularOf(j)]);
    }
}

/// Attraction of an orbital, whose row of the Coulomb matrix begins at pGamma, to the core of B.
double CoreAttraction(const ListedAtom& b, const double* pGamma) {
    return ZindoCoreAttraction(b, pGamma[b.nFirst], b.HasD() ? pGamma[b.nFirst + kFirstD] : 0.0);
}

void FillDiagonal(const ListedAtom& a, const double* mCoulomb, double* mCore, double* vCoreDiagonal,
                  int nLeading) {
    const double* pOwn = Row(mCoulomb, nLeading, a.nFirst) + a.nFirst;
    AtomCoulomb gamma{pOwn[0], 0.0, 0.0};
    if (a.HasD()) {
        gamma.dSD = pOwn[kFirstD];
        gamma.dDD = Row(mCoulomb, nLeading, a.nFirst + kFirstD)[a.nFirst + kFirstD];
    }
    const AtomCoreEnergies terms = GroundStateCoreTerms(a.nElement, gamma);
    const double vTerms[3] = {terms.dS, terms.dP, terms.dD};
    for (int i = 0; i < a.nOrbitals; ++i) {
        const int mu = a.nFirst + i;
        vCoreDiagonal[mu] = OneCentreEnergy(a.nElement, i);
        Row(mCore, nLeading, mu)[mu] = vCoreDiagonal[mu] + vTerms[AngularOf(i)];
    }
}

/// Core-core energy of one pair of atoms.
double CoreCore(const ListedAtom& a, const ListedAtom& b, const double* mCoulomb, int nLeading) {
    const double Z = CoreChargeOf(a.nElement) * CoreChargeOf(b.nElement);
    if (system.MethodId == kZindoS) return Z * Row(mCoulomb, nLeading, a.nFirst)[b.nFirst];
    return Z / std::max(Distance(a.pXyz, b.pXyz), kNearest);
}

}  // namespace

double ZindoCoreAttraction(const ListedAtom& b, double dS, double dD) {
    const double Z = CoreChargeOf(b.nElement);
    if (!IsTransitionMetal(b.nElement) || !b.HasD()) return Z * dS;
    const double* m = setup.pZindo[b.Row()].dConfigMix;
    const double dThird = IsSecondTransitionRow(b.nElement) ? m[2] * Z * dD : 0.0;
    return m[1] * ((Z - 1.0) * dD + dS) + m[0] * ((Z - 2.0) * dD + 2.0 * dS) + dThird;
}

AtomCoreEnergies AtomCoreTerms(int nElement, const AtomCoulomb& gamma, double qS, double qP,
                               double qD) {
    const ZindoRow& row = setup.pZindo[nElement - 1];
    const double c = kHartreePerEv;
    const double dSP = gamma.dSS - c * row.dSlaterG1sp / 6.0;
    AtomCoreEnergies e;
    e.dS = -(qS - 1.0) * gamma.dSS - qP * dSP;
    e.dP = -(qP - 1.0) * (gamma.dSS - 0.08 * c * row.dSlaterF2pp) - qS * dSP;
    if (!IsTransitionMetal(nElement)) return e;

    const double dSD = gamma.dSD - c * row.dSlaterG2sd / 10.0;
    const double dPD = gamma.dSD - c * row.dSlaterG1pd / 15.0 - 3.0 / 70.0 * c * row.dSlaterG3pd;
    e.dS -= qD * dSD;
    e.dP -= qD * dPD;
    e.dD = -(qD - 1.0) * (gamma.dDD - c * (row.dSlaterF2dd + row.dSlaterF4dd) / 31.5) - qS * dSD -
           qP * dPD;
    return e;
}

AtomCoreEnergies GroundStateCoreTerms(int nElement, const AtomCoulomb& gamma) {
    const double Z = CoreChargeOf(nElement);
    const auto Terms = [&](double qS, double qP, double qD) {
        return AtomCoreTerms(nElement, gamma, qS, qP, qD);
    };
    if (!IsTransitionMetal(nElement))
        return Z <= kLargestSCore ? Terms(Z, 0.0, 0.0) : Terms(2.0, Z - 2.0, 0.0);

    const double* m = setup.pZindo[nElement - 1].dConfigMix;
    const AtomCoreEnergies s2 = Terms(2.0, 0.0, Z - 2.0), sp = Terms(1.0, 1.0, Z - 2.0);
    const AtomCoreEnergies s1 = Terms(1.0, 0.0, Z - 1.0), p1 = Terms(0.0, 1.0, Z - 1.0);
    AtomCoreEnergies e;
    e.dS = m[0] * s2.dS + m[1] * s1.dS;
    e.dP = m[0] * sp.dP + m[1] * p1.dP;
    e.dD = m[0] * s2.dD + m[1] * s1.dD;
    if (IsFirstTransitionRow(nElement)) return e;

    // Only the second row has d^Z, which says nothing of s and p: they are averages over the other
    // two. Where d^Z has all the weight, those of d^(Z-1) s stand for them.
    const double dWeight = m[0] + m[1];
    e.dS = dWeight != 0.0 ? e.dS / dWeight : s1.dS;
    e.dP = dWeight != 0.0 ? e.dP / dWeight : p1.dP;
    e.dD += m[2] * Terms(0.0, 0.0, Z).dD;
    return e;
}

void BuildZindoCore(double* mCore, const double* mCoulomb, double* vCoreDiagonal,
                    double* pCoreEnergy, int nLeading, int nOrbitals) {
    double dTwiceEnergy = 0.0;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const ListedAtom a = AtomAt(iA);
        if (a.IsDummy()) continue;
        FillDiagonal(a, mCoulomb, mCore, vCoreDiagonal, nLeading);
        for (int iB = 0; iB < system.nSelected; ++iB) {
            const ListedAtom b = AtomAt(iB);
            if (b.IsDummy() || iB == iA) continue;
            ScaleToResonance(a, b, mCore, nLeading);
            for (int mu = a.nFirst; mu < a.nFirst + a.nOrbitals; ++mu)
                Row(mCore, nLeading, mu)[mu] -= CoreAttraction(b, Row(mCoulomb, nLeading, mu));
            dTwiceEnergy += CoreCore(a, b, mCoulomb, nLeading);
        }
        Yield(static_cast<std::size_t>(nOrbitals));
    }
    *pCoreEnergy = 0.5 * dTwiceEnergy;
    if (system.nSelected != system.nAtoms) *pCoreEnergy += AddClassicalCharges(mCore, nLeading);
}

}  // namespace qsolve
