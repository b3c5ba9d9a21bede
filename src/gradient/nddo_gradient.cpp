#include "gradient/nddo_gradient.h"

#include <algorithm>

#include "gradient/pair_forces.h"
#include "integrals/integrals.h"
#include "integrals/nddo_derivative_d.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Work charged for one pair.
constexpr std::size_t kChargePerPair = 50;

bool IsMindo() {
    return system.MethodId == kMindo3;
}

/// An atom and its density, which has the core charge in its first entry.
struct GradientAtom {
    NddoAtom Atom;
    Square4 D = {};  ///< of s and p; MINDO/3: electrons less core charge in the first entry
    int nKind = 0;   ///< number of its element among those of the job
};

/// What the loop over pairs reads.
struct PairTables {
    Array<GradientAtom> pAtoms;    ///< by position
    int nKinds = 0;                ///< elements
    Array<LocalCharges> pCharges;  ///< nKinds x nKinds; MINDO/3: none
    const double* mDensityT = nullptr;
    const double* mSpin[2] = {};  ///< densities that exchange
    int nSpins = 0;
    double dExchange = 0.0;  ///< how often each counts
};

int SpOrbitals(const NddoAtom& atom) {
    return std::min(atom.Listed.nOrbitals, kFirstD);
}

Square4 DensityOf(const NddoAtom& atom, const double* mDensityT) {
    Square4 D = {};
    const int nFirst = atom.Listed.nFirst, n = SpOrbitals(atom);
    for (int i = 0; i < n; ++i) {
        const double* row = Row(mDensityT, setup.nOrbitals, nFirst + i) + nFirst;
        if (IsMindo())
            D.r[0][0] += row[i];
        else
            for (int j = 0; j < n; ++j) D.r[i][j] = row[j];
    }
    D.r[0][0] -= atom.dCore;
    return D;
}

/// The density between two atoms, with zeros for orbitals that they have not.
void TakeSpin(const double* mDensity, const NddoAtom& a, const NddoAtom& b, Square4& P) {
    const int nA = SpOrbitals(a), nB = SpOrbitals(b);
    P = Square4{};
    for (int i = 0; i < nA; ++i) {
        const double* row = Row(mDensity, setup.nOrbitals, a.Listed.nFirst + i) + b.Listed.nFirst;
        if (nB == kFour)
            Load(row, P.r[i]);
        else
            P.r[i][0] = row[0];
    }
}

/// Fills the atoms and numbers their elements.
void TakeAtoms(const double* mDensityT, PairTables& tables) {
    const int nAtoms = system.nSelected;
    int vKindOfRow[kRows];
    std::fill_n(vKindOfRow, kRows, -1);
    tables.pAtoms.Take(static_cast<std::size_t>(nAtoms), kWork);
    for (int i = 0; i < nAtoms; ++i) {
        GradientAtom& a = tables.pAtoms[i];
        a.Atom = NddoAtomAt(i);
        if (a.Atom.IsDummy()) continue;
        a.D = DensityOf(a.Atom, mDensityT);
        int& nKind = vKindOfRow[a.Atom.Listed.Row()];
        if (nKind < 0) nKind = tables.nKinds++;
        a.nKind = nKind;
    }
}

/// The charges of all pairs of elements.
void TakeCharges(PairTables& tables) {
    const int nAtoms = system.nSelected, nKinds = tables.nKinds;
    Array<const NddoAtom*> pOfKind;
    pOfKind.Take(static_cast<std::size_t>(nKinds), kWork);
    for (int i = 0; i < nAtoms; ++i) {
        const GradientAtom& a = tables.pAtoms[i];
        if (!a.Atom.IsDummy()) pOfKind[a.nKind] = &a.Atom;
    }
    tables.pCharges.Take(static_cast<std::size_t>(nKinds), static_cast<std::size_t>(nKinds), kWork);
    for (int k = 0; k < nKinds; ++k)
        for (int l = 0; l < nKinds; ++l)
            MakeLocalCharges(*pOfKind[k], *pOfKind[l], tables.pCharges[k * nKinds + l]);
}

/// Part of a matrix between the orbitals of two atoms, with zeros for those that they have not.
void TakePart(const double* m, const NddoAtom& a, const NddoAtom& b, double* mPart) {
    std::fill_n(mPart, kAtomOrbitals * kAtomOrbitals, 0.0);
    for (int i = 0; i < a.Listed.nOrbitals; ++i)
        std::copy_n(Row(m, setup.nOrbitals, a.Listed.nFirst + i) + b.Listed.nFirst,
                    b.Listed.nOrbitals, mPart + i * kAtomOrbitals);
}

/// What the integrals of a pair with d orbitals give.
void DifferentiatePairD(const PairTables& tables, const NddoAtom& a, const NddoAtom& b,
                        const PairGeometry& geometry, PairDerivative& d) {
    PairDensityD density;
    TakePart(tables.mDensityT, a, a, density.mA);
    TakePart(tables.mDensityT, b, b, density.mB);
    density.mA[0] -= a.dCore;
    density.mB[0] -= b.dCore;
    density.nSpins = tables.nSpins;
    density.dExchange = tables.dExchange;
    for (int n = 0; n < tables.nSpins; ++n) TakePart(tables.mSpin[n], a, b, density.mSpin[n]);
    ComputePairDerivativesD(a, b, geometry, density, d);
}

/// The same of s and p.
void DifferentiatePairSp(const PairTables& tables, const GradientAtom& a, const GradientAtom& b,
                         const PairGeometry& geometry, PairDerivative& d) {
    PairDensity density;
    density.pA = &a.D;
    density.pB = &b.D;
    density.nSpins = tables.nSpins;
    density.dExchange = tables.dExchange;
    for (int n = 0; n < tables.nSpins; ++n)
        TakeSpin(tables.mSpin[n], a.Atom, b.Atom, density.mSpin[n]);
    if (IsMindo())
        ComputePairDerivativesMindo(a.Atom, b.Atom, geometry, density, d);
    else
        ComputePairDerivativesSp(tables.pCharges[a.nKind * tables.nKinds + b.nKind], geometry,
                                 density, d);
}

/// The derivative of E_AB with respect to the position of A.
void DifferentiatePair(const PairTables& tables, const GradientAtom& a, const GradientAtom& b,
                       double* v) {
    const PairGeometry geometry = GeometryOf(a.Atom, b.Atom);
    PairDerivative d;
    if (a.Atom.HasD() || b.Atom.HasD())
        DifferentiatePairD(tables, a.Atom, b.Atom, geometry, d);
    else
        DifferentiatePairSp(tables, a, b, geometry, d);
    const double dExcess =
        IsMindo() ? MindoCoreExcessSlope(a.Atom, b.Atom, geometry.dDistance, d.dSs, d.dSsDerivative)
                  : NddoCoreExcessSlope(a.Atom, b.Atom, geometry.dDistance, d.dSs, d.dSsDerivative);
    for (int k = 0; k < 3; ++k) v[k] = d.vOfA[k] + dExcess * geometry.vDirection[k];
}

void AddPairs(const PairTables& tables, double* pGradient) {
    const std::size_t nUnits = kChargePerPair * static_cast<std::size_t>(system.nSelected + 1) / 2;
    AddPairForces(nUnits, pGradient, [&](int iA, int iB, double* v) {
        const GradientAtom &a = tables.pAtoms[iA], &b = tables.pAtoms[iB];
        if (a.Atom.IsDummy() || b.Atom.IsDummy() || AreInOnePlace(a.Atom, b.Atom)) return;
        DifferentiatePair(tables, a, b, v);
    });
}

/// Adds the push of one classical charge on one atom.
void AddCharge(const GradientAtom& a, const NddoAtom& p, double q, const double* pXyz,
               double* pGradient) {
    const ClassicalPlace place = ClassicalPlaceOf(a.Atom.Listed.pXyz, pXyz);
    PairGeometry geometry{place.dDistance, {}};
    std::copy_n(place.vDirection, 3, geometry.vDirection);
    Square4 charge = {};
    charge.r[0][0] = -q;
    PairDensity density;
    density.pA = &a.D;
    density.pB = &charge;
    PairDerivative d;
    double dExcess = 0.0;
    if (IsMindo()) {
        ComputePairDerivativesMindo(a.Atom, p, geometry, density, d);
        dExcess = ClassicalExcessSlopeMindo(a.Atom, p, place.dDistance, d.dSs, d.dSsDerivative);
    } else {
        LocalCharges charges;
        MakeLocalCharges(a.Atom, p, charges);
        ComputePairDerivativesSp(charges, geometry, density, d);
        dExcess = ClassicalExcessSlopeNddo(a.Atom, p, place.dDistance, d.dSs, d.dSsDerivative);
    }
    for (int k = 0; k < 3; ++k) pGradient[k] += d.vOfA[k] + dExcess * place.vDirection[k];
}

void AddClassicalCharges(const PairTables& tables, double* pGradient) {
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const GradientAtom& a = tables.pAtoms[iA];
        if (a.Atom.IsDummy()) continue;
        for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
            if (!IsClassicalCharge(nAtom)) continue;
            const AtomRecord& record = system.pAtoms[nAtom];
            AddCharge(a, NddoAtomOf(record.nAtomicNumber), static_cast<double>(record.flCharge),
                      Row(system.pCoords.Data(), 3, nAtom), pGradient + 3 * iA);
        }
        Yield(static_cast<std::size_t>(system.nAtoms));
    }
}

}  // namespace

void AddNddoGradient(const double* mDensityT, const double* mDensityA, const double* mDensityB,
                     double* pGradient) {
    PairTables tables;
    TakeAtoms(mDensityT, tables);
    if (!IsMindo()) TakeCharges(tables);
    tables.mDensityT = mDensityT;
    tables.mSpin[0] = mDensityA;
    tables.mSpin[1] = mDensityB;
    tables.nSpins = mDensityB ? 2 : 1;
    tables.dExchange = mDensityB ? 1.0 : 2.0;
    AddPairs(tables, pGradient);
    if (system.nSelected != system.nAtoms) AddClassicalCharges(tables, pGradient);
}

}  // namespace qsolve
