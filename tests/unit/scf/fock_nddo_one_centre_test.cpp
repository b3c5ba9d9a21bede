#include "scf/fock_nddo_one_centre.h"

#include <gtest/gtest.h>

#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

using FockOneCentre = FreshState;

/// (ij|kl) of s and p orbitals on one atom.
double Integral(const NddoRow& g, int i, int j, int k, int l) {
    if (i == j && k == l) {
        if (i == 0 && k == 0) return g.dGss;
        if (i == 0 || k == 0) return g.dGsp;
        return i == k ? g.dGpp : g.dGp2;
    }
    const bool fExchange = i != j && ((i == k && j == l) || (i == l && j == k));
    if (!fExchange) return 0.0;
    return i == 0 || j == 0 ? g.dHsp : 0.5 * (g.dGpp - g.dGp2);
}

TEST_F(FockOneCentre, IsTheSumOverAllIntegralsOfTheAtom) {
    SetUpJob(Molecule(kPm3, {{1, 0, 0, 0}, {8, 1, 0, 0}, {1, 0, 1, 0}}));
    const TestMatrix P = RandomSymmetric(6, 1), Q = RandomSymmetric(6, 2);
    TestMatrix O = P, F(6, 6);
    for (std::size_t t = 0; t < O.v.size(); ++t) O.v[t] -= Q.v[t];
    BuildFockOneCentreSp(F.Data(), P.Data(), Q.Data(), O.Data(), 6);
    const NddoRow& g = setup.pNddo[7];
    TestMatrix expected(6, 6);
    for (const int h : {0, 5}) expected(h, h) = (P(h, h) - Q(h, h)) * setup.pNddo[0].dGss;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k)
                for (int l = 0; l < 4; ++l)
                    expected(1 + i, 1 + j) += P(1 + k, 1 + l) * Integral(g, i, j, k, l) -
                                              Q(1 + k, 1 + l) * Integral(g, i, k, j, l);
    EXPECT_LT(LargestDifference(F, expected), 1e-12);
}

TEST_F(FockOneCentre, IsTheOrdinaryFockMatrixWhereTheSpinsShareTheDensity) {
    // For one s electron pair the electrons repel by Gss once: F = Gss P / 2.
    SetUpJob(Molecule(kMndo, {{1, 0, 0, 0}, {1, 0.7, 0, 0}}));
    TestMatrix P(2, 2), Q(2, 2), F(2, 2);
    P(0, 0) = 1.3;
    Q(0, 0) = 0.65;
    BuildFockOneCentreSp(F.Data(), P.Data(), Q.Data(), Q.Data(), 2);
    EXPECT_NEAR(F(0, 0), 0.65 * setup.pNddo[0].dGss, 1e-14);
    EXPECT_EQ(F(1, 1), 0.0);
}

}  // namespace
}  // namespace qsolve
