#include "setup/orbital_basis.h"

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/orbitals_of_row.h"
#include "setup/state.h"

namespace qsolve {

namespace {

constexpr int kSpOrbitals = 4;
constexpr int kSpdOrbitals = 9;

constexpr std::size_t Index(int n) {
    return static_cast<std::size_t>(n);
}

/// Angular momentum of the k-th orbital of an atom.
constexpr int AngularMomentum(int k) {
    return k == 0 ? 0 : k < kSpOrbitals ? 1 : 2;
}

/// What the tables say of the s, p and d shell of a row.
struct Shells {
    double dZeta[3];  ///< Slater exponents; of d the first term
    double dZetaD2;   ///< second term of a double-zeta d function
    double dCoefD1, dCoefD2;
    double dEnergy[3];  ///< one-centre energies, eV
};

Shells ShellsOfRow(int nRow) {
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo: {
            const CindoRow& r = parameters.pCindoParams[nRow];
            return {{r.dZetaS, r.dZetaP, r.dZetaD},
                    0.0,
                    1.0,
                    0.0,
                    {r.dHalfIpEaS, r.dHalfIpEaP, r.dHalfIpEaD}};
        }
        case Family::kZindo: {
            const ZindoRow& r = setup.pZindo[nRow];
            return {{r.dZetaS, r.dZetaP, r.dZetaD1},
                    r.dZetaD2,
                    r.dCoefD1,
                    r.dCoefD2,
                    {r.dIonisationS, r.dIonisationP, r.dIonisationD}};
        }
        case Family::kNddo: {  // the one-centre energies stand in pOrbitalU
            const NddoRow& r = setup.pNddo[nRow];
            return {{r.dZetaS, r.dZetaP, r.dZetaD}, 0.0, 1.0, 0.0, {}};
        }
        case Family::kNone:
            break;
    }
    return {{}, 0.0, 1.0, 0.0, {}};
}

void FillOrbitalsOfAtom(int nPosition, int nAtom, int nRow) {
    const Shells shells = ShellsOfRow(nRow);
    const int nFirst = setup.Map.pFirstOrbital[nPosition];
    const int nLast = setup.Map.pLastOrbital[nPosition];
    for (int k = 0; k <= nLast - nFirst; ++k) {
        const std::size_t i = Index(nFirst - 1 + k);
        const int l = AngularMomentum(k);
        setup.vZeta1[i] = shells.dZeta[l];
        setup.vZeta2[i] = l == 2 ? shells.dZetaD2 : 0.0;
        setup.vCoef1[i] = l == 2 ? shells.dCoefD1 : 1.0;
        setup.vCoef2[i] = l == 2 ? shells.dCoefD2 : 0.0;
        setup.vOrbitalEnergy0[i] = shells.dEnergy[l];
        setup.vOrbitalAtom[i] = nAtom;
        setup.vOrbitalType[i] = k + 1;
        setup.vOrbitalShell[i] =
            l == 2 ? DShellNumber(system.MethodId, nRow) : kPrincipalQuantum[nRow];
    }
}

/// Calls visit(position, atom number, row) for each position that has a row.
template <class Visit>
void ForEachPosition(Visit visit) {
    for (int i = 0; i < system.nSelected; ++i) {
        const AtomRecord& atom = AtomByNumber(AtomNumberAt(i));
        if (!IsDummy(atom)) visit(i, AtomNumberAt(i), RowOf(atom));
    }
}

}  // namespace

void NumberOrbitals() {
    OrbitalMap& map = setup.Map;
    const bool fHasBasis = FamilyOf(system.MethodId) != Family::kNone;
    map.nAtomsWithP = map.nAtomsWithD = 0;
    int nLast = 0;
    for (int i = 0; i < system.nSelected; ++i) {
        const AtomRecord& atom = AtomByNumber(AtomNumberAt(i));
        const int nCount = fHasBasis && !IsDummy(atom) ? OrbitalsOfRow(RowOf(atom)) : 0;
        const int nFirst = nLast + 1;
        nLast += nCount;
        map.pFirstOrbital[i] = nFirst;
        map.pLastOrbital[i] = nLast;
        map.pLastSpOrbital[i] = nCount == kSpdOrbitals ? nFirst + kSpOrbitals - 1 : nLast;
        map.nAtomsWithP += nCount == kSpOrbitals;
        map.nAtomsWithD += nCount == kSpdOrbitals;
    }
    setup.nOrbitals = nLast;
}

void BuildGuessVectors() {
    if (FamilyOf(system.MethodId) != Family::kNddo) return;
    OrbitalMap& map = setup.Map;
    map.pOrbitalU.Take(Index(setup.nOrbitals), kSetUp);
    map.pGuessDensity.Take(Index(setup.nOrbitals), kSetUp);
    ForEachPosition([&](int nPosition, int, int nRow) {
        const NddoRow& row = setup.pNddo[nRow];
        const double dU[] = {row.dUss, row.dUpp, row.dUdd};
        const int nFirst = map.pFirstOrbital[nPosition];
        const int nCount = map.pLastOrbital[nPosition] - nFirst + 1;
        for (int k = 0; k < nCount; ++k) {
            map.pOrbitalU[nFirst - 1 + k] = dU[AngularMomentum(k)];
            map.pGuessDensity[nFirst - 1 + k] =
                kCoreCharge[nRow] / nCount -
                static_cast<double>(options.nTotalCharge) / setup.nOrbitals;
        }
    });
}

void SetOrbitalBlocks() {
    const int n = setup.nOrbitals;
    setup.nEvenColumns = n + n % 2;
    results.Orbitals.nOrbitalValues = options.nSpinTreatment == 1 ? 2 * n : n;
    system.Layout.nOrbitalsOnNode = n;
    system.Layout.nOrbitalEstimate = n;
    ResetYield();
}

void BuildOrbitalArrays() {
    ForEachPosition(FillOrbitalsOfAtom);
}

}  // namespace qsolve
