#include "tests/support/all_integrals.h"

#include <array>

#include "integrals/atom_list.h"
#include "integrals/nddo_store.h"
#include "integrals/one_centre.h"
#include "integrals/state.h"
#include "job/methods.h"
#include "job/state.h"
#include "numeric/row.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// s and p of an atom; the Coulomb integrals are g + what is given.
struct SpValues {
    double ss, sp, spsp, pp, pq, pqpq;
};
void SetSp(const ListedAtom& atom, const SpValues& v, AllIntegrals& all) {
    const int s = atom.nFirst;
    all.Set(s, s, s, s, v.ss);
    if (!atom.HasP()) return;
    for (int p = s + 1; p <= s + 3; ++p) {
        all.Set(s, s, p, p, v.sp);
        all.Set(s, p, s, p, v.spsp);
        for (int q = s + 1; q <= s + 3; ++q) {
            all.Set(p, p, q, q, p == q ? v.pp : v.pq);
            if (p != q) all.Set(p, q, p, q, v.pqpq);
        }
    }
}

void SetList(const ListedAtom& atom, const OneCentreList& list, const double* W,
             AllIntegrals& all) {
    const int s = atom.nFirst;
    for (int t = 0; t < list.nCount; ++t) {
        const auto [i, j, k, l, nValue] = list.pEntries[t];
        all.Set(s + i, s + j, s + k, s + l, W[nValue]);
    }
}

double Coulomb(int i, int j) {
    return Row(integrals.pIntegrals.Data(), setup.nOrbitals, i)[j];
}

void SetOneCentre(const ListedAtom& atom, AllIntegrals& all) {
    const double g = UsesAtomicUnits(system.MethodId) ? Coulomb(atom.nFirst, atom.nFirst) : 0.0;
    const double dHartree = 1 / 27.211396;
    if (system.MethodId == kCndo) {
        SetSp(atom, {g, g, 3.3333333333333333e-6, g + 1.6e-6, g - 8e-7, 1.2e-6}, all);
    } else if (system.MethodId == kIndo) {
        const CindoRow& row = parameters.pCindoParams[atom.Row()];
        const double G1 = row.dSlaterG1 * dHartree, F2 = row.dSlaterF2 * dHartree;
        SetSp(atom, {g, g, G1 / 3, g + 4 * F2 / 25, g - 2 * F2 / 25, 3 * F2 / 25}, all);
    } else if (FamilyOf(system.MethodId) == Family::kNddo && atom.HasD()) {
        double W[kOneCentreValuesNddo];
        BuildOneCentreIntegralsNddo(atom.nElement, atom.nOrbitals, W);
        SetList(atom, OneCentreIntegralsNddo(atom.nOrbitals), W, all);
    } else if (FamilyOf(system.MethodId) == Family::kNddo) {
        const NddoRow& r = setup.pNddo[atom.Row()];
        SetSp(atom, {r.dGss, r.dGsp, r.dHsp, r.dGpp, r.dGp2, (r.dGpp - r.dGp2) / 2}, all);
    } else {
        const int s = atom.nFirst, d = s + (atom.HasD() ? kFirstD : 0);
        double W[kOneCentreValues];
        BuildOneCentreIntegrals(atom.nElement, atom.nOrbitals, g, Coulomb(s, d), Coulomb(d, d), W);
        SetList(atom, OneCentreIntegralsOf(atom.nOrbitals), W, all);
    }
}

void SetPair(int iA, int iB, AllIntegrals& all) {
    const ListedAtom a = AtomAt(iA), b = AtomAt(iB);
    for (int i = 0; i < a.nOrbitals; ++i)
        for (int j = 0; j <= i; ++j)
            for (int k = 0; k < b.nOrbitals; ++k)
                for (int l = 0; l <= k; ++l) {
                    const bool fDiagonal = i == j && k == l;
                    double v = 0.0;
                    if (UsesAtomicUnits(system.MethodId)) {
                        if (fDiagonal) v = Coulomb(a.nFirst + i, b.nFirst + k);
                    } else {
                        const double* p =
                            integrals.pIntegrals.Data() +
                            BlockOf(integrals.pPairIndex.Data(), system.nSelected, iA, iB);
                        if (system.MethodId != kMindo3)
                            v = p[ProductNumber(i, j) * ProductsOf(b.nOrbitals) +
                                  ProductNumber(k, l)];
                        else if (fDiagonal)
                            v = *p;
                    }
                    all.Set(a.nFirst + i, a.nFirst + j, b.nFirst + k, b.nFirst + l, v);
                }
}

}  // namespace

AllIntegrals::AllIntegrals()
    : n_(static_cast<std::size_t>(setup.nOrbitals)), v_(n_ * n_ * n_ * n_) {
    for (int iA = 0; iA < system.nSelected; ++iA) {
        SetOneCentre(AtomAt(iA), *this);
        for (int iB = 0; iB < iA; ++iB) SetPair(iA, iB, *this);
    }
}

std::size_t AllIntegrals::PlaceOf(int i, int j, int k, int l) const {
    const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j),
               c = static_cast<std::size_t>(k), d = static_cast<std::size_t>(l);
    return ((a * n_ + b) * n_ + c) * n_ + d;
}

void AllIntegrals::Set(int i, int j, int k, int l, double v) {
    for (const auto& [a, b] : {std::array{i, j}, std::array{j, i}})
        for (const auto& [c, d] : {std::array{k, l}, std::array{l, k}})
            v_[PlaceOf(a, b, c, d)] = v_[PlaceOf(c, d, a, b)] = v;
}

double AllIntegrals::Sum(const double* a, const double* b, const double* c, const double* d) const {
    double dSum = 0.0;
    const int n = setup.nOrbitals;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < n; ++k)
                for (int l = 0; l < n; ++l) dSum += a[i] * b[j] * c[k] * d[l] * At(i, j, k, l);
    return dSum;
}

}  // namespace qsolve
