#include "integrals/local_charges.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

class LocalChargeTerms : public FreshState {
  protected:
    LocalChargeTerms() {
        SetUpJob(Molecule(kAm1, {{6, 0, 0, 0}, {8, 0, 0, 1.2}, {1, 1, 0, 0}, {1, 0, 1, 0}}));
    }
};

TEST_F(LocalChargeTerms, OfAnyDistanceHaveTheSquaresOfEach) {
    for (int iA = 0; iA < 3; ++iA)
        for (int iB = 0; iB < 3; ++iB) {
            const NddoAtom a = NddoAtomAt(iA), b = NddoAtomAt(iB);
            ChargeTerm vTerms[kMostTerms];
            FillSquares(a, b, ChargeShift{}, vTerms);
            for (const double r : {0.0, 1.7, 5.0}) {
                double v[kMostTerms];
                FillSquares(a, b, r, v);
                for (int n = 0; n < TermsOf(a, b); ++n)
                    EXPECT_NEAR(Square(r + vTerms[n].dShift) + vTerms[n].dConstant, v[n],
                                1e-13 * (1 + v[n]))
                        << n;
            }
        }
}

TEST_F(LocalChargeTerms, OfEqualQuotientsSumToMonopoles) {
    // Where all quotients are one, a product of an orbital with itself is as a monopole, and any
    // other is nothing.
    double f[kMostTerms], g[kLocalIntegrals];
    std::fill_n(f, kMostTerms, 3.0);
    SumTerms(true, true, f, g);
    for (const int n : {0, 2, 3, 10, 11, 15, 16, 17, 18, 20}) EXPECT_DOUBLE_EQ(g[n], 3.0) << n;
    for (const int n : {1, 4, 5, 6, 7, 8, 9, 12, 13, 14, 19, 21})
        EXPECT_NEAR(g[n], 0.0, 1e-15) << n;
}

}  // namespace
}  // namespace qsolve
