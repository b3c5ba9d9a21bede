#include "integrals/overlap_matrix.h"

#include <gtest/gtest.h>

#include <cmath>

#include "job/state.h"
#include "link/link.h"
#include "tests/support/scripted_client.h"
#include "tests/unit/integrals/hand_made_molecule.h"

namespace qsolve {
namespace {

class OverlapMatrix : public HandMadeMolecule {
  protected:
    void Build() { BuildOverlapMatrix(scf.mCore.Data(), setup.nOrbitals, setup.nOrbitals); }
    void UseIronCarbonHydrogen() {
        UseMethod(kZindoS);
        Zindo(1).dZetaS = 1.2;
        Zindo(6).dZetaS = Zindo(6).dZetaP = 1.625;
        ZindoRow& iron = Zindo(26);
        iron.dZetaS = iron.dZetaP = 1.37;
        iron.dZetaD1 = 6.068, iron.dCoefD1 = 0.40379;
        iron.dZetaD2 = 2.618, iron.dCoefD2 = 0.71984;
    }
};

TEST_F(OverlapMatrix, OfTwoHydrogensIsTheTextbookOverlap) {
    UseMethod(kCndo);
    Cindo(1).dZetaS = 1.2;
    Place({{1, 0, 0, 0}, {1, 0.6, -0.8, 1.0}});
    Build();
    const double p = 1.2 * std::sqrt(2.0);
    EXPECT_EQ(Core(0, 0), 1.0);
    EXPECT_EQ(Core(1, 1), 1.0);
    EXPECT_NEAR(Core(1, 0), std::exp(-p) * (1.0 + p + p * p / 3.0), 1e-13);
    EXPECT_EQ(Core(0, 1), Core(1, 0));
}

TEST_F(OverlapMatrix, IsSymmetricWithOrthogonalOrbitalsOnEachAtom) {
    UseIronCarbonHydrogen();
    Place({{6, 0, 0, 0}, {26, 1.5, -2.0, 2.5}, {1, 0.5, 1.8, 0.2}});
    scf.mCore[7] = 12345.0;  // what was there before does not matter
    Build();
    for (int i = 0; i < setup.nOrbitals; ++i)
        for (int j = 0; j < setup.nOrbitals; ++j) {
            EXPECT_EQ(Core(i, j), Core(j, i));
            const auto AtomOf = [](int k) { return k < 4 ? 0 : k < 13 ? 1 : 2; };
            if (AtomOf(i) == AtomOf(j)) {
                EXPECT_EQ(Core(i, j), i == j ? 1.0 : 0.0);
            } else {
                EXPECT_LT(std::abs(Core(i, j)), 1.0);
            }
        }
    EXPECT_NE(Core(4 + 4, 0), 0.0);
}

TEST_F(OverlapMatrix, ContractsDoubleZetaDFunctionsTermByTerm) {
    UseIronCarbonHydrogen();
    Place({{6, 0, 0, 0}, {26, 1.5, -2.0, 2.5}, {26, -1.0, 3.0, 3.5}});
    Build();
    const double d11 = Core(4 + 5, 13 + 6), dSp = Core(4, 13 + 3), dSd = Core(0, 13 + 4);
    const double c[2] = {Zindo(26).dCoefD1, Zindo(26).dCoefD2};
    const double z[2] = {Zindo(26).dZetaD1, Zindo(26).dZetaD2};

    // The same from single-zeta atoms of two elements, Fe for one exponent and Co for the other.
    Zindo(27) = Zindo(26);
    double dSumDd = 0.0, dSumSd = 0.0;
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
            Zindo(26).dZetaD1 = z[i], Zindo(26).dCoefD1 = 1.0, Zindo(26).dCoefD2 = 0.0;
            Zindo(27).dZetaD1 = z[j], Zindo(27).dCoefD1 = 1.0, Zindo(27).dCoefD2 = 0.0;
            Place({{6, 0, 0, 0}, {26, 1.5, -2.0, 2.5}, {27, -1.0, 3.0, 3.5}});
            Build();
            dSumDd += c[i] * c[j] * Core(4 + 5, 13 + 6);
            if (i == 0) dSumSd += c[j] * Core(0, 13 + 4);
            EXPECT_EQ(Core(4, 13 + 3), dSp);
        }
    EXPECT_NEAR(d11, dSumDd, 1e-15);
    EXPECT_NEAR(dSd, dSumSd, 1e-15);
}

TEST_F(OverlapMatrix, GivesADummyAtomNoRow) {
    UseMethod(kCndo);
    Cindo(1).dZetaS = 1.2;
    Place({{1, 0, 0, 0}, {0, 0, 0, 0.7}, {1, 0, 0, 1.4}});
    Build();
    ASSERT_EQ(setup.nOrbitals, 2);
    EXPECT_NEAR(Core(0, 1), std::exp(-1.68) * (1.0 + 1.68 + 1.68 * 1.68 / 3.0), 1e-13);
}

TEST_F(OverlapMatrix, TakesTheWeightsOfTheOptionsInZindoAlone) {
    UseIronCarbonHydrogen();
    Cindo(6).dZetaS = Cindo(6).dZetaP = 1.625;
    for (int nMethod : {kZindo1, kZindoS, kIndo}) {
        system.MethodId = nMethod;
        options.flOverlapSigma = options.flOverlapPi = 1.0f;
        Place({{6, 0, 0, 0}, {6, 0, 0, 2.6}});
        Build();
        const double dSigma = Core(3, 7), dPi = Core(1, 5), dSp = Core(0, 7);
        options.flOverlapSigma = 1.25f;
        options.flOverlapPi = 0.5f;
        Build();
        const bool fWeighted = nMethod != kIndo;
        EXPECT_NEAR(Core(3, 7), dSigma * (fWeighted ? 1.25 : 1.0), 1e-14);
        EXPECT_NEAR(Core(1, 5), dPi * (fWeighted ? 0.5 : 1.0), 1e-14);
        EXPECT_EQ(Core(0, 7), dSp);
    }
}

TEST_F(OverlapMatrix, TurnsAngstromIntoBohrForNddoMethods) {
    UseMethod(kAm1);
    setup.pNddo[0].dZetaS = 1.2;
    Place({{1, 0, 0, 0}, {1, 0, 0, 0.74}});
    Build();
    const double p = 1.2 * 0.74 * 1.889725985;
    EXPECT_NEAR(Core(0, 1), std::exp(-p) * (1.0 + p + p * p / 3.0), 1e-13);
}

TEST_F(OverlapMatrix, SurvivesAtomsInOnePlaceAndFarApart) {
    UseIronCarbonHydrogen();
    Place({{6, 0, 0, 0}, {26, 0, 0, 0}, {1, 0, 100.0, 0}, {1, 0, 1e300, 0}});
    Build();
    for (int i = 0; i < setup.nOrbitals; ++i)
        for (int j = 0; j < setup.nOrbitals; ++j) EXPECT_EQ(Core(i, j), i == j ? 1.0 : 0.0);
}

TEST_F(OverlapMatrix, IsEmptyForAnEmptyMolecule) {
    UseMethod(kCndo);
    Place({});
    Build();
    EXPECT_EQ(setup.nOrbitals, 0);
}

TEST_F(OverlapMatrix, StopsWithoutMemoryForItsTable) {
    UseMethod(kCndo);
    Cindo(1).dZetaS = 1.2;
    Place({{1, 0, 0, 0}, {1, 0, 0, 1.4}});
    NewScriptedClient();
    memory.nTaken = 0;
    memory.nFailAt = 0;
    EXPECT_THROW(Build(), Unwinding);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(client.Errors()[0], "This application has exhausted all available memory.");
}

}  // namespace
}  // namespace qsolve
