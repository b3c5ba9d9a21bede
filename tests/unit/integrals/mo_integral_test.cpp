#include "integrals/mo_integral.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "integrals/atom_list.h"
#include "integrals/nddo_store.h"
#include "integrals/one_centre.h"
#include "integrals/state.h"
#include "job/state.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/scf.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/repulsion.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Sums of some thousand integrals of magnitude 30 and below, eV.
constexpr double kRounding = 1e-11;

/// All integrals over the orbitals, each form in its own place.
class AllIntegrals {
  public:
    AllIntegrals() : n_(static_cast<std::size_t>(setup.nOrbitals)), v_(n_ * n_ * n_ * n_) {}
    double& At(int i, int j, int k, int l) {
        const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j),
                   c = static_cast<std::size_t>(k), d = static_cast<std::size_t>(l);
        return v_[((a * n_ + b) * n_ + c) * n_ + d];
    }
    /// Sets all forms of an integral that are equal.
    void Set(int i, int j, int k, int l, double v) {
        At(i, j, k, l) = At(j, i, k, l) = At(i, j, l, k) = At(j, i, l, k) = v;
        At(k, l, i, j) = At(l, k, i, j) = At(k, l, j, i) = At(l, k, j, i) = v;
    }
    /// (ab|cd) as the sum over all four orbitals.
    double Sum(const double* a, const double* b, const double* c, const double* d) {
        double dSum = 0.0;
        const int n = setup.nOrbitals;
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < n; ++k)
                    for (int l = 0; l < n; ++l) dSum += a[i] * b[j] * c[k] * d[l] * At(i, j, k, l);
        return dSum;
    }

  private:
    std::size_t n_;
    std::vector<double> v_;
};

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

AllIntegrals Generate() {
    AllIntegrals all;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        SetOneCentre(AtomAt(iA), all);
        for (int iB = 0; iB < iA; ++iB) SetPair(iA, iB, all);
    }
    return all;
}

class MoIntegrals : public FreshState, public testing::WithParamInterface<int> {
  protected:
    /// Fills the integrals of a molecule without symmetry, and four orbitals that are none of its.
    MoIntegrals() {
        const int nHeavy = GetParam() == kMndoD                     ? 16
                           : FamilyOf(GetParam()) == Family::kZindo ? 22
                                                                    : 6;
        EnergyOf(Molecule(
            GetParam(),
            {{nHeavy, 0, 0, 0}, {1, -0.6, 0, 0.8}, {8, 0.9, 1.1, 0.4}, {1, -0.2, -1, -0.5}}));
        mOrbitals = RandomMatrix(4, setup.nOrbitals, 7);
        vWork.resize(static_cast<std::size_t>(2 * MoProductSize()));
    }
    const double* Orbital(int k) { return Row(mOrbitals.Data(), setup.nOrbitals, k); }
    double Integral(int a, int b, int c, int d) {
        return MoIntegral(Orbital(a), Orbital(b), Orbital(c), Orbital(d), vWork.data());
    }
    /// (a b + b a) / 2 as a density.
    std::vector<double> ProductOf(int a, int b) {
        std::vector<double> m;
        for (int i = 0; i < setup.nOrbitals; ++i)
            for (int j = 0; j < setup.nOrbitals; ++j)
                m.push_back(0.5 * (Orbital(a)[i] * Orbital(b)[j] + Orbital(b)[i] * Orbital(a)[j]));
        return m;
    }
    double Element(const std::vector<double>& m, int a, int b) {
        double d = 0.0;
        for (int i = 0; i < setup.nOrbitals; ++i)
            for (int j = 0; j < setup.nOrbitals; ++j)
                d += Orbital(a)[i] * Row(m.data(), setup.nOrbitals, i)[j] * Orbital(b)[j];
        return d;
    }
    TestMatrix mOrbitals{0, 0};
    std::vector<double> vWork;
};
INSTANTIATE_TEST_SUITE_P(Methods, MoIntegrals,
                         testing::Values(kCndo, kIndo, kZindo1, kZindoS, kMindo3, kMndo, kAm1, kPm3,
                                         kMndoD));

TEST_P(MoIntegrals, AreTheSumsOverAllFourOrbitals) {
    AllIntegrals all = Generate();
    for (const auto& [a, b, c, d] :
         {std::array{0, 1, 2, 3}, {0, 0, 1, 1}, {0, 1, 0, 1}, {2, 2, 2, 2}, {3, 1, 1, 1}})
        EXPECT_NEAR(Integral(a, b, c, d), all.Sum(Orbital(a), Orbital(b), Orbital(c), Orbital(d)),
                    kRounding)
            << a << b << c << d;
}

TEST_P(MoIntegrals, AreTheSameInAllTheirForms) {
    const double d = Integral(0, 1, 2, 3);
    EXPECT_GT(std::abs(d), 1e-3);
    for (const auto& [i, j, k, l] : {std::array{1, 0, 2, 3},
                                     {0, 1, 3, 2},
                                     {1, 0, 3, 2},
                                     {2, 3, 0, 1},
                                     {3, 2, 0, 1},
                                     {2, 3, 1, 0},
                                     {3, 2, 1, 0}})
        EXPECT_NEAR(Integral(i, j, k, l), d, kRounding);
}

/// J and K of one product are what the Fock builders add for it. CNDO's Fock matrix has none of the
/// small exchange.
TEST_P(MoIntegrals, AreElementsOfTheCoulombAndExchangeMatrices) {
    const double dTolerance = GetParam() == kCndo ? 1e-4 : kRounding;
    const std::vector<double> mProduct = ProductOf(2, 3), mNone(mProduct.size());
    EXPECT_NEAR(Element(Repulsion(mProduct, mNone), 0, 1), Integral(0, 1, 2, 3), dTolerance);
    EXPECT_NEAR(-Element(Repulsion(mNone, mProduct), 0, 1),
                0.5 * (Integral(0, 2, 1, 3) + Integral(0, 3, 1, 2)), dTolerance);
}

TEST_P(MoIntegrals, ComeFromAProductAndAPotentialOfEachPair) {
    const int n = MoProductSize();
    const auto nSize = static_cast<std::size_t>(n);
    std::vector<double> vX(nSize), vY(nSize);
    FillMoProduct(Orbital(2), Orbital(3), vX.data());
    FillMoPotential(vX.data(), vY.data());
    for (int k = 0; k < 4; ++k) {
        FillMoProduct(Orbital(k), Orbital(1), vX.data());
        EXPECT_NEAR(Dot(n, vX.data(), vY.data()), Integral(2, 3, k, 1), kRounding);
    }
}

}  // namespace
}  // namespace qsolve
