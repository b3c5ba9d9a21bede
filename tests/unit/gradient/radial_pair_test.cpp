#include "gradient/radial_pair.h"

#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

using RadialPair = FreshState;

TEST_F(RadialPair, PopulationsAreSumsOfTheDiagonalByShell) {
    setup.nOrbitals = 12;
    TestMatrix m = RandomSymmetric(12, 3);
    ListedAtom atom;
    atom.nFirst = 2;
    atom.nOrbitals = 9;
    const ShellPopulations q = PopulationsOf(atom, m.Data());
    EXPECT_NEAR(q.dSp, m(2, 2) + m(3, 3) + m(4, 4) + m(5, 5), 1e-15);
    EXPECT_NEAR(q.dD, m(6, 6) + m(7, 7) + m(8, 8) + m(9, 9) + m(10, 10), 1e-15);
    atom.nOrbitals = 0;
    EXPECT_EQ(PopulationsOf(atom, m.Data()).dSp, 0.0);
}

TEST_F(RadialPair, GradientPointsAlongTheAxisWithTheLengthOfTheSlope) {
    const double a[3] = {3.0, 0.0, 4.0}, b[3] = {};
    double g[3] = {1.0, 1.0, 1.0};
    AddRadial(a, b, 5.0, -2.0, g);
    EXPECT_NEAR(g[0], 1.0 - 1.2, 1e-15);
    EXPECT_NEAR(g[1], 1.0, 1e-15);
    EXPECT_NEAR(g[2], 1.0 - 1.6, 1e-15);
}

}  // namespace
}  // namespace qsolve
