#include "integrals/mo_integral.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "job/state.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/scf.h"
#include "setup/state.h"
#include "tests/support/all_integrals.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/repulsion.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Sums of some thousand integrals of magnitude 30 and below, eV.
constexpr double kRounding = 1e-11;

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
    const AllIntegrals all;
    for (const auto& [a, b, c, d] :
         {std::array{0, 1, 2, 3}, {0, 0, 1, 1}, {0, 1, 0, 1}, {2, 2, 2, 2}, {3, 1, 1, 1}})
        EXPECT_NEAR(Integral(a, b, c, d), all.Sum(Orbital(a), Orbital(b), Orbital(c), Orbital(d)),
                    kRounding)
            << a << b << c << d;
}

/// Products of several orbitals with several ones, each in a column, are those of each pair.
TEST_P(MoIntegrals, ProductsInColumnsAreThoseOfEachPair) {
    const int n = MoProductSize();
    const TestMatrix orbitals = NaiveTransposed(mOrbitals);  // one a column
    ASSERT_EQ(orbitals.nRows, setup.nOrbitals);
    for (const Triangle triangle : {Triangle::kWhole, Triangle::kLower}) {
        TestMatrix products(n, 11, 7.0);
        FillMoProducts({orbitals.Data() + 1, 4, 3}, {orbitals.Data() + 1, 4, 3}, triangle,
                       products.Data() + 1, 11);
        std::vector<double> product(static_cast<std::size_t>(n));
        int nColumn = 1;
        for (int p = 0; p < 3; ++p)
            for (int q = 0; q < (triangle == Triangle::kLower ? p + 1 : 3); ++q, ++nColumn) {
                FillMoProduct(Orbital(1 + p), Orbital(1 + q), product.data());
                for (int i = 0; i < n; ++i)
                    EXPECT_NEAR(products(i, nColumn), product[static_cast<std::size_t>(i)], 1e-14);
            }
        for (int i = 0; i < n; ++i)
            EXPECT_TRUE(products(i, 0) == 7.0 && products(i, nColumn) == 7.0);
    }
}

/// The repulsion of all entries, against the sums over all integrals between orbitals of atoms.
TEST_P(MoIntegrals, RepulsionOfAllEntriesGivesThemToo) {
    const AllIntegrals all;
    const int n = MoProductSize();
    TestMatrix repulsion(n, n, 7.0);
    FillMoRepulsion(repulsion.Data());
    // CNDO's own repulsion is without what keeps states apart: 1e-5 hartree times some products.
    const double dError = GetParam() == kCndo ? 1e-4 : kRounding;
    std::vector<double> x(static_cast<std::size_t>(n)), y(x);
    for (const auto& [a, b, c, d] : {std::array{0, 1, 2, 3}, {0, 0, 1, 1}, {3, 1, 1, 1}}) {
        FillMoProduct(Orbital(a), Orbital(b), x.data());
        FillMoProduct(Orbital(c), Orbital(d), y.data());
        double dSum = 0.0;
        for (int i = 0; i < n; ++i)
            dSum += x[static_cast<std::size_t>(i)] * Dot(n, Row(repulsion.Data(), n, i), y.data());
        EXPECT_NEAR(dSum, all.Sum(Orbital(a), Orbital(b), Orbital(c), Orbital(d)), dError);
    }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j) EXPECT_EQ(repulsion(i, j), repulsion(j, i));
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
