#include "integrals/coulomb_matrices.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/unit/integrals/hand_made_molecule.h"

namespace qsolve {
namespace {

constexpr double c = 0.03674930900274282;

class CoulombMatrices : public HandMadeMolecule {
  protected:
    void BuildSlater() {
        BuildSlaterCoulombMatrix(integrals.pIntegrals.Data(), setup.nOrbitals, setup.nOrbitals);
    }
    void BuildMataga() {
        BuildMatagaCoulombMatrix(integrals.pIntegrals.Data(), setup.nOrbitals, setup.nOrbitals);
    }
    void ExpectSymmetric() {
        for (int i = 0; i < setup.nOrbitals; ++i)
            for (int j = 0; j < i; ++j) EXPECT_EQ(Coulomb(i, j), Coulomb(j, i));
    }
};

TEST_F(CoulombMatrices, OfHydrogensFollowTheClosedForm) {
    UseMethod(kCndo);
    Cindo(1).dZetaS = 1.2;
    Place({{1, 0, 0, 0}, {1, 0, 1.4, 0}});
    BuildSlater();
    const double z = 1.2, R = 1.4, r = z * R;
    EXPECT_NEAR(Coulomb(0, 0), 0.75, 1e-14);
    EXPECT_NEAR(Coulomb(0, 1),
                1 / R - std::exp(-2 * r) * z * (1 / r + 11.0 / 8 + 0.75 * r + r * r / 6), 1e-12);
    ExpectSymmetric();
}

TEST_F(CoulombMatrices, HaveOneValueForSAndPAndOthersForD) {
    UseMethod(kZindo1);
    Zindo(6).dZetaS = Zindo(6).dZetaP = 1.625;
    Zindo(26).dZetaS = Zindo(26).dZetaP = 1.37;
    Zindo(26).dZetaD = 2.722;
    Place({{26, 0, 0, 0}, {6, 0, 0, 3.0}, {26, 0, 4.0, 0}});
    BuildSlater();
    ExpectSymmetric();
    const SlaterCloud s{4, 1.37}, d{3, 2.722}, carbon{2, 1.625};
    for (int i = 0; i < 9; ++i) {
        const SlaterCloud& mine = i < 4 ? s : d;
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(Coulomb(i, 9 + j), EvaluateSlaterCoulomb(mine, carbon, 3.0));
        for (int j = 0; j < 9; ++j) {
            EXPECT_NEAR(Coulomb(i, j), OneCentreCoulomb(mine, j < 4 ? s : d), 1e-9);
            EXPECT_EQ(Coulomb(i, 13 + j), EvaluateSlaterCoulomb(mine, j < 4 ? s : d, 4.0));
        }
    }
}

TEST_F(CoulombMatrices, OfSlaterCloudsStopAt100Bohr) {
    UseMethod(kIndo);
    Cindo(1).dZetaS = 1.2;
    Place({{1, 0, 0, 0}, {1, 0, 0, 100.0}, {1, 0, 0, -99.999}, {1, 0, 0, 0.0009}});
    BuildSlater();
    EXPECT_EQ(Coulomb(0, 1), 0.0);
    EXPECT_NEAR(Coulomb(0, 2), 1.0 / 99.999, 1e-12);
    EXPECT_EQ(Coulomb(0, 3), 0.0);
}

TEST_F(CoulombMatrices, OfZindoSAreDampedAndHaveNoCutOff) {
    UseMethod(kZindoS);
    Gamma(1) = {12.85, 0, 0};
    Gamma(26) = {6.0, 8.5, 11.3};
    Place({{1, 0, 0, 0}, {26, 0, 3.0, 4.0}, {1, 0, 0, 150.0}, {1, 0, 0, 0}, {26, 0, 9.0, 12.0}});
    BuildMataga();
    ExpectSymmetric();
    EXPECT_DOUBLE_EQ(Coulomb(0, 0), c * 12.85);
    EXPECT_DOUBLE_EQ(Coulomb(1, 2), c * 6.0);
    EXPECT_DOUBLE_EQ(Coulomb(2, 7), c * 8.5);
    EXPECT_DOUBLE_EQ(Coulomb(5, 7), c * 11.3);
    EXPECT_DOUBLE_EQ(Coulomb(0, 2), 1.2 / (5.0 + 2.4 / ((12.85 + 6.0) * c)));
    EXPECT_DOUBLE_EQ(Coulomb(0, 6), 1.2 / (5.0 + 2.4 / ((12.85 + 11.3) * c)));
    EXPECT_DOUBLE_EQ(Coulomb(4, 12 + 1), 1.2 / (10.0 + 2.4 / ((6.0 + 6.0) * c)));
    EXPECT_DOUBLE_EQ(Coulomb(4, 12 + 5), 1.2 / (10.0 + 2.4 / ((6.0 + 11.3) * c)));
    EXPECT_DOUBLE_EQ(Coulomb(9, 12 + 1), 1.2 / (10.0 + 2.4 / ((6.0 + 11.3) * c)));
    EXPECT_DOUBLE_EQ(Coulomb(9, 12 + 5), 1.2 / (10.0 + 2.4 / ((11.3 + 11.3) * c)));
    EXPECT_DOUBLE_EQ(Coulomb(0, 10), 1.2 / (150.0 + 2.4 / (25.7 * c)));
    // Two atoms in one place: the mean of the one-centre values.
    EXPECT_DOUBLE_EQ(Coulomb(0, 11), c * 12.85);
}

TEST_F(CoulombMatrices, OfDShellsWithoutParametersAreNextToNothing) {
    UseMethod(kZindoS);
    Gamma(26) = {6.0, 8.5, 0.0};
    Place({{26, 0, 0, 0}, {26, 0, 0, 4.0}});
    BuildMataga();
    EXPECT_EQ(Coulomb(5, 14), 1e-10);
    EXPECT_EQ(Coulomb(5, 6), 0.0);
}

TEST_F(CoulombMatrices, SkipDummies) {
    UseMethod(kCndo);
    Cindo(1).dZetaS = 1.2;
    Place({{0, 0, 0, 0}, {1, 0, 0, 0}, {0, 0, 0, 0}});
    BuildSlater();
    EXPECT_EQ(setup.nOrbitals, 1);
    EXPECT_NEAR(Coulomb(0, 0), 0.75, 1e-14);
}

}  // namespace
}  // namespace qsolve
