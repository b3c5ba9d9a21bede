#include "integrals/mo_integral.h"

#include <algorithm>

#include "integrals/atom_list.h"
#include "integrals/nddo_store.h"
#include "integrals/one_centre.h"
#include "integrals/state.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "numeric/vector_pairs.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kLithium = 3;

/// Stands for G1 and F2 in CNDO, hartree: the method has no exchange on an atom, and these keep
/// states apart that would be the same without any.
constexpr double kNoExchange = 1e-5;

/// What repels by one charge each.
enum class Monopole { kNone, kOrbital, kAtom };

Monopole MonopolesOf(int nMethod) {
    if (UsesAtomicUnits(nMethod)) return Monopole::kOrbital;
    return nMethod == kMindo3 ? Monopole::kAtom : Monopole::kNone;
}

int Monopoles() {
    switch (MonopolesOf(system.MethodId)) {
        case Monopole::kOrbital:
            return setup.nOrbitals;
        case Monopole::kAtom:
            return system.nSelected;
        case Monopole::kNone:
            break;
    }
    return 0;
}

int Products() {
    int n = 0;
    for (int i = 0; i < system.nSelected; ++i) n += ProductsOf(AtomAt(i).nOrbitals);
    return n;
}

/// One-centre integrals of s and p orbitals.
struct SpIntegrals {
    double dSS;    ///< (ss|ss)
    double dSP;    ///< (ss|pp)
    double dSPSP;  ///< (sp|sp)
    double dPP;    ///< (pp|pp)
    double dPQ;    ///< (pp|qq)
    double dPQPQ;  ///< (pq|pq)
};

/// The potential y of a product x on its own atom, of 1 or 4 orbitals.
void AddSpPotential(const SpIntegrals& g, int nOrbitals, const double* x, double* y) {
    y[0] += g.dSS * x[0];
    if (nOrbitals < 4) return;
    const double dSum = x[ProductNumber(1, 1)] + x[ProductNumber(2, 2)] + x[ProductNumber(3, 3)];
    y[0] += g.dSP * dSum;
    for (int p = 1; p <= 3; ++p) {
        const int pp = ProductNumber(p, p);
        y[ProductNumber(p, 0)] += g.dSPSP * x[ProductNumber(p, 0)];
        y[pp] += g.dSP * x[0] + g.dPP * x[pp] + g.dPQ * (dSum - x[pp]);
        for (int q = 1; q < p; ++q) y[ProductNumber(p, q)] += g.dPQPQ * x[ProductNumber(p, q)];
    }
}

/// The same from a list of integrals with the values W.
void AddListPotential(const OneCentreList& list, const double* W, const double* x, double* y) {
    for (int t = 0; t < list.nCount; ++t) {
        const OneCentreEntry& e = list.pEntries[t];
        const int ij = ProductNumber(e.i, e.j), kl = ProductNumber(e.k, e.l);
        y[ij] += W[e.nValue] * x[kl];
        if (ij != kl) y[kl] += W[e.nValue] * x[ij];
    }
}

/// CNDO and INDO: what the integrals of an atom have beside its Coulomb integral. dG1 and dF2,
/// hartree, stand for the constants of CNDO.
void AddCndoOneCentre(const ListedAtom& atom, double dG1, double dF2, const double* x, double* y) {
    if (atom.nElement < kLithium || !atom.HasP()) return;
    if (system.MethodId == kIndo) {
        const CindoRow& row = parameters.pCindoParams[atom.Row()];
        dG1 = kHartreePerEv * row.dSlaterG1;
        dF2 = kHartreePerEv * row.dSlaterF2;
    }
    const SpIntegrals g = {.dSS = 0.0,
                           .dSP = 0.0,
                           .dSPSP = dG1 / 3.0,
                           .dPP = 4.0 / 25.0 * dF2,
                           .dPQ = -2.0 / 25.0 * dF2,
                           .dPQPQ = 3.0 / 25.0 * dF2};
    AddSpPotential(g, 4, x, y);
}

void AddZindoOneCentre(const ListedAtom& atom, const double* x, double* y) {
    const int n = setup.nOrbitals, nD = atom.HasD() ? kFirstD : 0;
    const double* g = Row(integrals.pIntegrals.Data(), n, atom.nFirst) + atom.nFirst;
    double W[kOneCentreValues];
    BuildOneCentreIntegrals(atom.nElement, atom.nOrbitals, g[0], g[nD], Row(g, n, nD)[nD], W);
    AddListPotential(OneCentreIntegralsOf(atom.nOrbitals), W, x, y);
}

/// The potential of the orbitals' charges x, by orbital. In ZINDO an atom's own block is in its
/// one-centre integrals.
void AddOrbitalCharges(const double* x, double* y) {
    const int n = setup.nOrbitals;
    const bool fOwnBlock = FamilyOf(system.MethodId) == Family::kCndo;
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (atom.IsDummy()) continue;
        const int nEnd = atom.nFirst + atom.nOrbitals;
        for (int m = atom.nFirst; m < nEnd; ++m) {
            const double* g = Row(integrals.pIntegrals.Data(), n, m);
            y[m] = fOwnBlock ? Dot(n, g, x)
                             : Dot(atom.nFirst, g, x) + Dot(n - nEnd, g + nEnd, x + nEnd);
        }
        Yield(static_cast<std::size_t>(atom.nOrbitals) * static_cast<std::size_t>(n));
    }
}

void AddNddoOneCentre(const ListedAtom& atom, const double* x, double* y) {
    if (atom.HasD()) {
        double W[kOneCentreValuesNddo];
        BuildOneCentreIntegralsNddo(atom.nElement, atom.nOrbitals, W);
        AddListPotential(OneCentreIntegralsNddo(atom.nOrbitals), W, x, y);
        return;
    }
    const NddoRow& row = setup.pNddo[atom.Row()];
    const SpIntegrals g = {.dSS = row.dGss,
                           .dSP = row.dGsp,
                           .dSPSP = row.dHsp,
                           .dPP = row.dGpp,
                           .dPQ = row.dGp2,
                           .dPQPQ = 0.5 * (row.dGpp - row.dGp2)};
    AddSpPotential(g, atom.nOrbitals, x, y);
}

/// The potential of the charges x of the atoms in MINDO/3.
void AddAtomCharges(const double* x, double* y) {
    const int n = system.nSelected;
    for (int iA = 0; iA < n; ++iA) {
        for (int iB = 0; iB < n; ++iB) {
            const int nBlock = BlockOf(integrals.pPairIndex.Data(), n, iA, iB);
            if (nBlock != kNoBlock) y[iA] += integrals.pIntegrals[nBlock] * x[iB];
        }
        Yield(static_cast<std::size_t>(n));
    }
}

/// The potentials yA and yB of the products xA and xB of two atoms on each other. The block is
/// nA x nB; a row of it is read once for both atoms.
void AddPairPotential(int nA, int nB, const double* pBlock, const double* xA, const double* xB,
                      double* yA, double* yB) {
    for (int m = 0; m < nA; ++m) {
        const double* w = Row(pBlock, nB, m);
        double d = 0.0;
        for (int k = 0; k < nB; ++k) {
            d += w[k] * xB[k];
            yB[k] += w[k] * xA[m];
        }
        yA[m] += d;
    }
}

/// The potential of the products x of all atoms on other atoms.
void AddAtomProducts(const double* x, double* y) {
    int nPlaceA = 0;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const int nA = ProductsOf(AtomAt(iA).nOrbitals);
        if (nA == 0) continue;  // a dummy; there may be many
        int nPlaceB = 0;
        for (int iB = 0; iB < iA; ++iB) {
            const int nB = ProductsOf(AtomAt(iB).nOrbitals);
            const int nBlock = BlockOf(integrals.pPairIndex.Data(), system.nSelected, iA, iB);
            if (nBlock != kNoBlock)
                AddPairPotential(nA, nB, integrals.pIntegrals.Data() + nBlock, x + nPlaceA,
                                 x + nPlaceB, y + nPlaceA, y + nPlaceB);
            nPlaceB += nB;
        }
        nPlaceA += nA;
        Yield(static_cast<std::size_t>(nA) * static_cast<std::size_t>(nPlaceB));
    }
}

void AddOneCentre(const ListedAtom& atom, const double* x, double* y) {
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            return AddCndoOneCentre(atom, kNoExchange, kNoExchange, x, y);
        case Family::kZindo:
            return AddZindoOneCentre(atom, x, y);
        case Family::kNddo:
            return AddNddoOneCentre(atom, x, y);
        case Family::kNone:
            return;
    }
}

/// The potential of a product on other atoms; in CNDO and INDO also the Coulomb integral of its
/// own.
void AddOtherAtoms(const double* vProduct, double* vPotential) {
    const int nProducts = Products();
    switch (MonopolesOf(system.MethodId)) {
        case Monopole::kOrbital:
            return AddOrbitalCharges(vProduct + nProducts, vPotential + nProducts);
        case Monopole::kAtom:
            return AddAtomCharges(vProduct + nProducts, vPotential + nProducts);
        case Monopole::kNone:
            return AddAtomProducts(vProduct, vPotential);
    }
}

/// The entry of the repulsion at two places and its mirror image.
void SetBoth(int nSize, int i, int j, double d, double* m) {
    Row(m, nSize, i)[j] = Row(m, nSize, j)[i] = d;
}

/// What the products of an atom repel each other by, from nFirst on: its potential of each.
void FillOwnRepulsion(const ListedAtom& atom, int nSize, int nFirst, double* m) {
    const int nProducts = ProductsOf(atom.nOrbitals);
    double vUnit[kMostProducts] = {};
    for (int t = 0; t < nProducts; ++t) {
        vUnit[t] = 1.0;
        double* y = Row(m, nSize, nFirst + t) + nFirst;
        if (FamilyOf(system.MethodId) == Family::kCndo)
            AddCndoOneCentre(atom, 0.0, 0.0, vUnit, y);
        else
            AddOneCentre(atom, vUnit, y);
        vUnit[t] = 0.0;
    }
}

/// The repulsion of the charges of the orbitals, or of the atoms in MINDO/3.
void FillChargeRepulsion(int nSize, int nFirst, double* m) {
    const int nAtoms = system.nSelected, n = setup.nOrbitals;
    const bool fOwnBlock = FamilyOf(system.MethodId) == Family::kCndo;
    for (int iA = 0; iA < nAtoms; ++iA)
        for (int iB = 0; iB <= iA; ++iB) {
            if (MonopolesOf(system.MethodId) == Monopole::kAtom) {
                const int nBlock = BlockOf(integrals.pPairIndex.Data(), nAtoms, iA, iB);
                if (nBlock != kNoBlock)
                    SetBoth(nSize, nFirst + iA, nFirst + iB, integrals.pIntegrals[nBlock], m);
                continue;
            }
            if (iA == iB && !fOwnBlock) continue;
            const ListedAtom a = AtomAt(iA), b = AtomAt(iB);
            for (int i = a.nFirst; i < a.nFirst + a.nOrbitals; ++i)
                for (int k = b.nFirst; k < b.nFirst + b.nOrbitals; ++k)
                    SetBoth(nSize, nFirst + i, nFirst + k,
                            Row(integrals.pIntegrals.Data(), n, i)[k], m);
        }
}

/// The repulsion of the products of one atom, from nFirst on, with those of all before it.
void FillProductRepulsion(int iA, int nSize, int nFirst, double* m) {
    const int nAtoms = system.nSelected, nA = ProductsOf(AtomAt(iA).nOrbitals);
    for (int iB = 0, nPlaceB = 0; iB < iA; ++iB) {
        const int nB = ProductsOf(AtomAt(iB).nOrbitals);
        const int nBlock = BlockOf(integrals.pPairIndex.Data(), nAtoms, iA, iB);
        for (int s = 0; s < nA && nB > 0 && nBlock != kNoBlock; ++s) {
            const double* w = Row(integrals.pIntegrals.Data() + nBlock, nB, s);
            for (int t = 0; t < nB; ++t) SetBoth(nSize, nFirst + s, nPlaceB + t, w[t], m);
        }
        nPlaceB += nB;
    }
}

}  // namespace

int MoProductSize() {
    return Products() + Monopoles();
}

void FillMoProduct(const double* vA, const double* vB, double* vProduct) {
    const Monopole monopole = MonopolesOf(system.MethodId);
    double* x = vProduct;
    double* vMonopole = vProduct + Products();
    std::fill_n(vMonopole, Monopoles(), 0.0);
    for (int nAtom = 0; nAtom < system.nSelected; ++nAtom) {
        const ListedAtom atom = AtomAt(nAtom);
        const double *a = vA + atom.nFirst, *b = vB + atom.nFirst;
        for (int i = 0; i < atom.nOrbitals; ++i) {
            for (int j = 0; j < i; ++j) *x++ = a[i] * b[j] + a[j] * b[i];
            *x++ = a[i] * b[i];
            if (monopole == Monopole::kOrbital) vMonopole[atom.nFirst + i] = a[i] * b[i];
            if (monopole == Monopole::kAtom) vMonopole[nAtom] += a[i] * b[i];
        }
    }
}

void FillMoProducts(const OrbitalColumns& a, const OrbitalColumns& b, Triangle triangle,
                    double* mProducts, int nStep) {
    const Monopole monopole = MonopolesOf(system.MethodId);
    const bool fTriangle = triangle == Triangle::kLower;
    const int nPairs = fTriangle ? a.nCount * (a.nCount + 1) / 2 : a.nCount * b.nCount;
    double* x = mProducts;
    double* mMonopole = Row(mProducts, nStep, Products());
    for (int k = 0; k < Monopoles(); ++k) std::fill_n(Row(mMonopole, nStep, k), nPairs, 0.0);
    for (int nAtom = 0; nAtom < system.nSelected; ++nAtom) {
        const ListedAtom atom = AtomAt(nAtom);
        for (int i = atom.nFirst; i < atom.nFirst + atom.nOrbitals; ++i) {
            const double* vOfA = Row(a.mOrbitals, a.nStep, i);
            const double* vOfB = Row(b.mOrbitals, b.nStep, i);
            for (int j = atom.nFirst; j <= i; ++j, x += nStep)
                FillVectorPairs({.nFirst = a.nCount,
                                 .nSecond = b.nCount,
                                 .fTriangle = fTriangle,
                                 .vFirstI = vOfA,
                                 .vFirstJ = Row(a.mOrbitals, a.nStep, j),
                                 .vSecondI = vOfB,
                                 .vSecondJ = Row(b.mOrbitals, b.nStep, j)},
                                x);
            if (monopole == Monopole::kNone) continue;
            const bool fAtom = monopole == Monopole::kAtom;
            double* y = Row(mMonopole, nStep, fAtom ? nAtom : i);
            for (int k = 0; k < nPairs; ++k) y[k] += (x - nStep)[k];
        }
    }
}

void FillMoRepulsion(double* mRepulsion) {
    const int nSize = MoProductSize();
    std::fill_n(mRepulsion, Row(mRepulsion, nSize, nSize) - mRepulsion, 0.0);
    int nFirst = 0;
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (!atom.IsDummy()) FillOwnRepulsion(atom, nSize, nFirst, mRepulsion);
        if (Monopoles() == 0) FillProductRepulsion(i, nSize, nFirst, mRepulsion);
        nFirst += ProductsOf(atom.nOrbitals);
    }
    if (Monopoles() > 0) FillChargeRepulsion(nSize, nFirst, mRepulsion);
}

void FillMoPotential(const double* vProduct, double* vPotential) {
    std::fill_n(vPotential, MoProductSize(), 0.0);
    const double* x = vProduct;
    double* y = vPotential;
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (!atom.IsDummy()) AddOneCentre(atom, x, y);
        x += ProductsOf(atom.nOrbitals);
        y += ProductsOf(atom.nOrbitals);
    }
    AddOtherAtoms(vProduct, vPotential);
}

double MoIntegral(const double* vA, const double* vB, const double* vC, const double* vD,
                  double* vWork) {
    const int n = MoProductSize();
    FillMoProduct(vC, vD, vWork);
    FillMoPotential(vWork, vWork + n);
    FillMoProduct(vA, vB, vWork);
    return Dot(n, vWork, vWork + n);
}

}  // namespace qsolve
