#include "integrals/classical_charges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "integrals/cndo_core.h"
#include "integrals/coulomb_matrices.h"
#include "job/state.h"
#include "tests/unit/integrals/hand_made_molecule.h"

namespace qsolve {
namespace {

constexpr double c = 0.03674930900274282;

class ClassicalCharges : public HandMadeMolecule {
  protected:
    ClassicalCharges() {
        UseMethod(kCndo);
        Cindo(1).dZetaS = 1.2;
        Cindo(8).dZetaS = Cindo(8).dZetaP = 2.275;
        Cindo(19).dZetaS = 0.9;
        Zindo(8).dZetaS = Zindo(8).dZetaP = 2.275;
        Zindo(26).dZetaS = Zindo(26).dZetaP = 1.37;
        Zindo(26).dZetaD = 2.7;
        Gamma(8) = {13.0, 0, 0};
        Gamma(26) = {6.0, 8.5, 11.3};
    }
    /// AddClassicalCharges on a matrix of zeros.
    double Add() {
        std::fill(scf.mCore.begin(), scf.mCore.end(), 0.0);
        return AddClassicalCharges(scf.mCore.Data(), setup.nOrbitals);
    }
};

TEST_F(ClassicalCharges, ActOnTheDiagonalAndOnTheCores) {
    Place({{8, 0, 0, 0}, {1, 0, 0, 3.0, kClassical, 0.25}});
    const double g = EvaluateSlaterCoulomb({2, 2.275}, {1, 1.2}, 3.0);
    const double q = 0.25;
    EXPECT_NEAR(Add(), 6.0 * (1.0 / 3.0 - (1.0 - q) * g), 1e-14);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) EXPECT_NEAR(Core(i, j), i == j ? -q * g : 0.0, 1e-15);
}

TEST_F(ClassicalCharges, ChangeTheirFormulaWithTheDistance) {
    const SlaterCloud a{2, 2.275}, p{1, 1.2};
    const double dReach = ClassicalReach(a, p);
    EXPECT_NEAR(dReach, 2.5 / 2.275, 1e-15);  // the smaller of 2.5 / 2.275 and 1.5 / 1.2
    const double dBorder = 6.0 * dReach;
    const auto g = [&](double R) { return ClassicalSlaterCoulomb(a, p, dReach, R); };
    EXPECT_EQ(g(0.99 * dBorder), EvaluateSlaterCoulomb(a, p, 0.99 * dBorder));
    EXPECT_EQ(g(dBorder), EvaluateSlaterCoulomb({1, 2.275}, p, dBorder));
    EXPECT_EQ(g(99.9), EvaluateSlaterCoulomb({1, 2.275}, p, 99.9));
    EXPECT_EQ(g(100.0), 0.01);
    EXPECT_EQ(g(0.001), 1.0 / 0.001);
    EXPECT_LT(g(0.0011), 2.0);
    EXPECT_EQ(g(0.0), 1e6);
}

TEST_F(ClassicalCharges, BeyondTheThirdShellAreNeverInReach) {
    const SlaterCloud a{2, 2.275}, p{4, 0.9};
    EXPECT_EQ(ClassicalReach(a, p), 0.0);
    for (double R : {0.0, 1e-4, 2.0})
        EXPECT_EQ(ClassicalSlaterCoulomb(a, p, 0.0, R),
                  EvaluateSlaterCoulomb({1, 2.275}, {1, 0.9}, R));
    // A selected atom beyond it has its radius.
    EXPECT_NEAR(ClassicalReach({4, 1.5}, {1, 0.1}), 3.0, 1e-15);
}

TEST_F(ClassicalCharges, HaveTheSlopesOfTheirRepulsions) {
    const SlaterCloud a{2, 1.6}, p{1, 1.2};
    const double dReach = ClassicalReach(a, p), h = 1e-4;
    for (double R : {0.5, 3.0, 20.0, 130.0}) {
        const RadialValue g = ClassicalSlaterCoulombSlope(a, p, dReach, R);
        EXPECT_EQ(g.dValue, ClassicalSlaterCoulomb(a, p, dReach, R));
        EXPECT_NEAR(g.dSlope,
                    (ClassicalSlaterCoulomb(a, p, dReach, R + h) -
                     ClassicalSlaterCoulomb(a, p, dReach, R - h)) /
                        (2 * h),
                    1e-8);
        const RadialValue m = ClassicalMatagaCoulomb(9.0, 12.0, R);
        EXPECT_NEAR(m.dSlope,
                    (ClassicalMatagaCoulomb(9.0, 12.0, R + h).dValue -
                     ClassicalMatagaCoulomb(9.0, 12.0, R - h).dValue) /
                        (2 * h),
                    1e-8);
        EXPECT_NEAR(ClassicalPointCharge(R).dSlope * R * R, -1.0, 1e-12);
    }
    EXPECT_EQ(ClassicalPointCharge(1e-9).dValue, 1e6);
    EXPECT_NEAR(ClassicalPointCharge(1e-9).dSlope, -1e9, 1e-3);
}

TEST_F(ClassicalCharges, ThatAreTinyOrNotClassicalCountForNothing) {
    Place({{8, 0, 0, 0},
           {1, 0, 0, 3.0, kClassical, 9e-6},
           {1, 0, 3.0, 0, kClassical, 0.0},
           {0, 3.0, 0, 0, kClassical, 0.5},
           {111, 0, 4, 4, kClassical, 0.5},
           {1, 5.0, 0, 0, kSelected, 0.5}});
    EXPECT_EQ(Add(), 0.0);
    for (int i = 0; i < setup.nOrbitals; ++i) EXPECT_EQ(Core(i, i), 0.0);
    // A capping atom is in the basis, and never a point charge as well.
    system.pAtoms[1].nState = kCapping;
    system.pAtoms[1].flCharge = 0.5f;
    EXPECT_EQ(Add(), 0.0);
}

TEST_F(ClassicalCharges, ReachDShellsByTheirOwnClouds) {
    system.MethodId = kZindo1;
    Place({{26, 0, 0, 0}, {8, 0, 0, 4.0, kClassical, -0.5}});
    const double gS = EvaluateSlaterCoulomb({4, 1.37}, {2, 2.275}, 4.0);
    const double gD = EvaluateSlaterCoulomb({3, 2.7}, {2, 2.275}, 4.0);
    EXPECT_NEAR(Add(), 8.0 * (6.0 / 4.0 - 6.5 * gS), 1e-13);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(Core(i, i), 0.5 * (i < 4 ? gS : gD), 1e-15);
}

TEST_F(ClassicalCharges, AreDampedInZindoS) {
    system.MethodId = kZindoS;
    Place({{26, 0, 0, 0}, {8, 0, 0, 4.0, kClassical, -0.5}});
    const double gS = 1.2 / (4.0 + 2.4 / (c * 19.0)), gD = 1.2 / (4.0 + 2.4 / (c * 24.3));
    EXPECT_NEAR(Add(), 8.0 * (6.0 / 4.0 - 6.5 * gS), 1e-13);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(Core(i, i), 0.5 * (i < 4 ? gS : gD), 1e-15);
}

TEST_F(ClassicalCharges, StayFiniteInOnePlaceWithTheMolecule) {
    for (int nMethod : {kCndo, kIndo, kZindo1, kZindoS}) {
        system.MethodId = nMethod;
        Cindo(26) = {.dZetaS = 1.37, .dZetaP = 1.37};
        Place({{8, 0, 0, 0}, {8, 0, 0, 0, kClassical, 0.5}, {26, 0, 0, 0, kClassical, 0.5}});
        EXPECT_TRUE(std::isfinite(Add())) << nMethod;
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(std::isfinite(Core(i, i))) << nMethod;
    }
}

TEST_F(ClassicalCharges, EnterTheCoreEnergyOfAPartialSelection) {
    Place({{1, 0, 0, 0}, {1, 0, 0, 1.4}, {8, 0, 0, 6.0, kClassical, -0.4}});
    const double dClassical = Add();
    double dCoreEnergy = 0.0;
    BuildSlaterCoulombMatrix(integrals.pIntegrals.Data(), 2, 2);
    BuildCndoCore(scf.mCore.Data(), integrals.pIntegrals.Data(), integrals.vCoreDiagonal.Data(),
                  &dCoreEnergy, 2, 2);
    EXPECT_NEAR(dCoreEnergy, 1.0 / 1.4 + dClassical, 1e-14);
}

}  // namespace
}  // namespace qsolve
