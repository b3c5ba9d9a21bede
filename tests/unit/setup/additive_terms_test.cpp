#include "setup/additive_terms.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/point_charges.h"

namespace qsolve {
namespace {

TEST(AdditiveTerms, GiveTheDipoleItsSelfInteraction) {
    for (const double d : {0.3, 0.8, 2.1})
        for (const double p : {0.01, 0.05, 0.2}) {
            const double x = DipoleAdditiveTerm(d, p);
            EXPECT_NEAR(SelfInteraction(Dipole(d), x), p, 1e-8) << d << " " << p;
        }
}

TEST(AdditiveTerms, GiveTheQuadrupoleItsSelfInteraction) {
    for (const double d : {0.3, 0.8, 2.1})
        for (const double p : {0.003, 0.02, 0.1}) {
            const double x = QuadrupoleAdditiveTerm(d, p);
            EXPECT_NEAR(SelfInteraction(SquareQuadrupole(d), x), p, 1e-8) << d << " " << p;
        }
}

TEST(AdditiveTerms, AreZeroWhereThereIsNone) {
    const double dNan = std::numeric_limits<double>::quiet_NaN();
    const double dHuge = std::numeric_limits<double>::infinity();
    for (const double dBad : {0.0, -0.5, dNan, dHuge}) {
        EXPECT_EQ(DipoleAdditiveTerm(dBad, 0.1), 0.0);
        EXPECT_EQ(DipoleAdditiveTerm(1.0, dBad), 0.0);
        EXPECT_EQ(QuadrupoleAdditiveTerm(dBad, 0.1), 0.0);
        EXPECT_EQ(QuadrupoleAdditiveTerm(1.0, dBad), 0.0);
    }
}

TEST(AdditiveTerms, AreZeroWhereAThousandIterationsDoNotReachThem) {
    // So weak a self-interaction that the way from 0 to its term is too long.
    EXPECT_EQ(QuadrupoleAdditiveTerm(0.5, 1e-11), 0.0);
}

}  // namespace
}  // namespace qsolve
