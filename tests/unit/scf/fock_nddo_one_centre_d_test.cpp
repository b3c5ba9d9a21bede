#include "scf/fock_nddo_one_centre_d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "integrals/integrals.h"
#include "integrals/nddo_store.h"
#include "integrals/one_centre.h"
#include "integrals/state.h"
#include "job/state.h"
#include "numeric/row.h"
#include "scf/fock_nddo_one_centre.h"
#include "scf/fock_nddo_two_centre.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

using Matrix = std::vector<double>;

/// A symmetric matrix of random numbers.
Matrix RandomDensity(int n, unsigned nSeed) {
    std::mt19937 engine(nSeed);
    std::uniform_real_distribution<double> number(-1.0, 1.0);
    Matrix m(static_cast<std::size_t>(n * n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j)
            Row(m.data(), n, i)[j] = Row(m.data(), n, j)[i] = number(engine);
    return m;
}

/// All two-electron integrals of a molecule, (ij|kl) for i and j on one atom and k and l on one.
class Integrals {
  public:
    Integrals() : n_(setup.nOrbitals), m_(static_cast<std::size_t>(n_ * n_ * n_ * n_)) {
        for (int iA = 0; iA < system.nSelected; ++iA)
            for (int iB = 0; iB < system.nSelected; ++iB) {
                if (iA == iB)
                    TakeAtom(AtomAt(iA));
                else
                    TakePair(AtomAt(iA), AtomAt(iB),
                             BlockOf(integrals.pPairIndex.Data(), system.nSelected, iA, iB));
            }
    }
    double operator()(int i, int j, int k, int l) const { return m_[Place(i, j, k, l)]; }

    /// Sum of 1/2 P_ij P_kl (ij|kl) - 1/2 (A_ik A_jl + B_ik B_jl) (ij|kl), P = A + B.
    double Energy(const Matrix& a, const Matrix& b) const {
        double d = 0.0;
        const auto At = [this](const Matrix& m, int i, int j) { return Row(m.data(), n_, i)[j]; };
        for (int i = 0; i < n_; ++i)
            for (int j = 0; j < n_; ++j)
                for (int k = 0; k < n_; ++k)
                    for (int l = 0; l < n_; ++l) {
                        const double dTotal =
                            (At(a, i, j) + At(b, i, j)) * (At(a, k, l) + At(b, k, l));
                        const double dSame = At(a, i, k) * At(a, j, l) + At(b, i, k) * At(b, j, l);
                        d += 0.5 * (dTotal - dSame) * (*this)(i, j, k, l);
                    }
        return d;
    }

  private:
    std::size_t Place(int i, int j, int k, int l) const {
        return static_cast<std::size_t>(((i * n_ + j) * n_ + k) * n_ + l);
    }
    void Set(int i, int j, int k, int l, double d) {
        for (const auto& [a, b] : {std::pair{i, j}, {j, i}})
            m_[Place(a, b, k, l)] = m_[Place(a, b, l, k)] = d;
    }
    void TakePair(const ListedAtom& a, const ListedAtom& b, int nBlock) {
        const double* w = integrals.pIntegrals.Data() + nBlock;
        for (int i = 0; i < a.nOrbitals; ++i)
            for (int j = 0; j <= i; ++j)
                for (int k = 0; k < b.nOrbitals; ++k)
                    for (int l = 0; l <= k; ++l)
                        Set(a.nFirst + i, a.nFirst + j, b.nFirst + k, b.nFirst + l, *w++);
    }
    void TakeAtom(const ListedAtom& atom) {
        double W[kOneCentreValuesNddo];
        BuildOneCentreIntegralsNddo(atom.nElement, atom.nOrbitals, W);
        const OneCentreList list = OneCentreIntegralsNddo(atom.nOrbitals);
        for (int t = 0; t < list.nCount; ++t) {
            const OneCentreEntry& e = list.pEntries[t];
            const int i = atom.nFirst + e.i, j = atom.nFirst + e.j;
            const int k = atom.nFirst + e.k, l = atom.nFirst + e.l;
            Set(i, j, k, l, W[e.nValue]);
            Set(k, l, i, j, W[e.nValue]);
        }
    }

    int n_;
    std::vector<double> m_;
};

/// The electrons' part of a Fock matrix.
Matrix FockOf(const Matrix& spin, const Matrix& other) {
    const int n = setup.nOrbitals;
    Matrix total(spin.size()), f(spin.size(), 0.0);
    for (std::size_t t = 0; t < spin.size(); ++t) total[t] = spin[t] + other[t];
    BuildFockTwoCentre(f.data(), total.data(), spin.data(), integrals.pIntegrals.Data(),
                       integrals.pPairIndex.Data(), n);
    BuildFockOneCentreSp(f.data(), total.data(), spin.data(), other.data(), n);
    BuildFockOneCentreD(f.data(), total.data(), spin.data(), n);
    return f;
}

const std::vector<Place> kMolecule = {
    {16, 0.0, 0.1, 0.2}, {1, 0.9, 0.8, -0.4}, {6, -1.1, 1.2, 0.5}, {17, 1.0, -1.1, 1.7}};

void SetUpIntegrals(const std::vector<Place>& places) {
    SetUpJob(Molecule(kMndoD, places));
    SetPositions(PositionsOf(places));
    double dCoreEnergy = 0.0;
    BuildNddoCore(scf.mCore.Data(), integrals.pIntegrals.Data(), integrals.pPairIndex.Data(),
                  &dCoreEnergy, setup.nOrbitals, setup.nOrbitals);
}

TEST(FockNddoOneCentreD, FockMatrixIsTheDerivativeOfTheEnergy) {
    SetUpIntegrals(kMolecule);
    const int n = setup.nOrbitals;
    const Integrals g;
    const Matrix a = RandomDensity(n, 1), b = RandomDensity(n, 2), f = FockOf(a, b);
    for (unsigned nSeed = 3; nSeed < 9; ++nSeed) {
        const Matrix direction = RandomDensity(n, nSeed);
        // The energy is a quadratic form: a long step has no error but rounding.
        double vEnergy[2], dExpected = 0.0;
        for (int k = 0; k < 2; ++k) {
            Matrix moved = a;
            for (std::size_t t = 0; t < a.size(); ++t)
                moved[t] += (k == 0 ? 0.5 : -0.5) * direction[t];
            vEnergy[k] = g.Energy(moved, b);
        }
        for (std::size_t t = 0; t < a.size(); ++t) dExpected += f[t] * direction[t];
        EXPECT_NEAR(vEnergy[0] - vEnergy[1], dExpected, 1e-8);
    }
}

TEST(FockNddoOneCentreD, AtomsWithoutDAreLeftAlone) {
    SetUpIntegrals(kMolecule);
    const int n = setup.nOrbitals;
    const Matrix a = RandomDensity(n, 1);
    Matrix f(a.size(), 0.0);
    BuildFockOneCentreD(f.data(), a.data(), a.data(), n);
    std::size_t nChanged = 0;
    for (const double d : f) nChanged += d != 0.0 ? 1 : 0;
    EXPECT_EQ(nChanged, 2u * 81u);
    for (const int nPosition : {1, 2}) {
        const ListedAtom atom = AtomAt(nPosition);
        EXPECT_EQ(Row(f.data(), n, atom.nFirst)[atom.nFirst], 0.0);
    }
}

/// The s orbital of an atom with one electron in it repels that of the other spin by F0(ss), p by
/// F0(sp) - G1(sp)/3 for its own and F0(sp) for the other spin, d by F0(sd) - G2(sd)/5 and F0(sd).
TEST(FockNddoOneCentreD, OneElectronInSActsOnEachShell) {
    SetUpIntegrals({{17, 0, 0, 0}, {1, 0, 0, 1.3}});
    const int n = setup.nOrbitals, s = AtomAt(0).nFirst;
    Matrix total(static_cast<std::size_t>(n * n), 0.0), none = total, own = total, other = total;
    Row(total.data(), n, s)[s] = 1.0;
    BuildFockOneCentreD(own.data(), total.data(), total.data(), n);
    BuildFockOneCentreD(other.data(), total.data(), none.data(), n);
    const NddoExtended& x = setup.pExtended[16];
    const auto At = [&](const Matrix& f, int i) { return Row(f.data(), n, s + i)[s + i]; };
    EXPECT_NEAR(At(own, 0), 0.0, 1e-12);
    EXPECT_NEAR(At(other, 0), x.dF0ss, 1e-12);
    for (int i = 1; i < 4; ++i) {
        EXPECT_NEAR(At(own, i), x.dF0sp - x.dG1sp / 3, 1e-12);
        EXPECT_NEAR(At(other, i), x.dF0sp, 1e-12);
    }
    for (int i = 4; i < 9; ++i) {
        EXPECT_NEAR(At(own, i), x.dF0sd - x.dG2sd / 5, 1e-12);
        EXPECT_NEAR(At(other, i), x.dF0sd, 1e-12);
    }
}

}  // namespace
}  // namespace qsolve
