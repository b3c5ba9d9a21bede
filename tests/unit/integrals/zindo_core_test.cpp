#include "integrals/zindo_core.h"

#include <gtest/gtest.h>

#include <cmath>

#include "integrals/coulomb_matrices.h"
#include "integrals/overlap_matrix.h"
#include "job/state.h"
#include "tests/unit/integrals/hand_made_molecule.h"

namespace qsolve {
namespace {

constexpr double c = 0.03674930900274282, k = 0.018375597;

class ZindoCore : public HandMadeMolecule {
  protected:
    ZindoCore() {
        UseMethod(kZindoS);
        Zindo(1) = {.dZetaS = 1.2, .dIonisationS = 13.06, .dBetaS = 12.0};
        Gamma(1) = {12.85, 0, 0};
        Zindo(6) = {.dZetaS = 1.625,
                    .dZetaP = 1.625,
                    .dIonisationS = 19.84,
                    .dIonisationP = 10.93,
                    .dBetaS = 17.0,
                    .dBetaP = 16.0,
                    .dSlaterF2pp = 4.51,
                    .dSlaterG1sp = 6.90};
        Gamma(6) = {11.11, 0, 0};
        Zindo(26) = {.dZetaS = 1.37,
                     .dZetaP = 1.38,
                     .dZetaD = 2.72,
                     .dIonisationS = 7.10,
                     .dIonisationP = 3.70,
                     .dIonisationD = 10.0,
                     .dBetaS = 1.0,
                     .dBetaP = 1.5,
                     .dBetaD = 23.0,
                     .dZetaD1 = 6.07,
                     .dCoefD1 = 0.404,
                     .dZetaD2 = 2.62,
                     .dCoefD2 = 0.72,
                     .dSlaterF2pp = 1.0,
                     .dSlaterG1sp = 3.0,
                     .dSlaterF2pd = 1.3,
                     .dSlaterF2dd = 8.0,
                     .dSlaterF4dd = 5.0,
                     .dSlaterG1pd = 0.7,
                     .dSlaterG2sd = 0.9,
                     .dSlaterG3pd = 0.5,
                     .dIonisation2 = {7.3, 4.1, 8.5},
                     .dConfigMix = {0.3, 0.7, 0.5}};
        Gamma(26) = {6.0, 8.5, 11.3};
        Zindo(44) = Zindo(26);
        Zindo(44).dConfigMix[0] = 0.1, Zindo(44).dConfigMix[1] = 0.3;
        Zindo(44).dConfigMix[2] = 0.6;
        Gamma(44) = Gamma(26);
    }
    double Build() {
        const int N = setup.nOrbitals;
        double dCoreEnergy = 1e9;
        BuildOverlapMatrix(scf.mCore.Data(), N, N);
        if (system.MethodId == kZindoS)
            BuildMatagaCoulombMatrix(integrals.pIntegrals.Data(), N, N);
        else
            BuildSlaterCoulombMatrix(integrals.pIntegrals.Data(), N, N);
        BuildZindoCore(scf.mCore.Data(), integrals.pIntegrals.Data(),
                       integrals.vCoreDiagonal.Data(), &dCoreEnergy, N, N);
        return dCoreEnergy;
    }
};

TEST_F(ZindoCore, OfCHIsWhatOneWritesDown) {
    Place({{6, 0, 0, 0}, {1, 0, 0, 2.1}});
    BuildOverlapMatrix(scf.mCore.Data(), setup.nOrbitals, setup.nOrbitals);
    const double dSs = Core(0, 4), dPz = Core(3, 4);
    const double dCoreEnergy = Build();
    const double g = 1.2 / (2.1 + 2.4 / ((12.85 + 11.11) * c)), gC = c * 11.11;
    EXPECT_NEAR(Core(0, 4), -29.0 * k * dSs, 1e-15);
    EXPECT_NEAR(Core(3, 4), -28.0 * k * dPz, 1e-15);
    // s2 p2: the other s electron and two p electrons; for p one p and two s electrons.
    EXPECT_NEAR(Core(0, 0), -c * 19.84 - gC - 2.0 * (gC - c * 6.90 / 6) - g, 1e-14);
    EXPECT_NEAR(Core(1, 1), -c * 10.93 - (gC - 0.08 * c * 4.51) - 2.0 * (gC - c * 6.90 / 6) - g,
                1e-14);
    EXPECT_NEAR(Core(4, 4), -c * 13.06 - 4.0 * g, 1e-14);
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[1], -c * 10.93);
    EXPECT_NEAR(dCoreEnergy, 4.0 * g, 1e-14);
}

TEST_F(ZindoCore, RepelsPointChargesInZindo1) {
    system.MethodId = kZindo1;
    Place({{6, 0, 0, 0}, {1, 0, 0, 2.1}});
    EXPECT_NEAR(Build(), 4.0 / 2.1, 1e-14);
    Place({{6, 0, 0, 0}, {1, 0, 0, 0.0}});
    EXPECT_NEAR(Build(), 4.0 / 0.001, 1e-10);
}

TEST_F(ZindoCore, OfOneAtomHasNoCoreEnergy) {
    Place({{26, 0, 0, 0}});
    EXPECT_EQ(Build(), 0.0);
}

TEST_F(ZindoCore, SpreadsTheCoreOfAMetalOverItsConfigurations) {
    for (int nMetal : {26, 44}) {
        Place({{nMetal, 0, 0, 0}, {1, 0, 0, 3.0}});
        Build();
        const double* m = Zindo(nMetal).dConfigMix;
        const double gs = Coulomb(9, 0), gd = Coulomb(9, 4), Z = 8.0;
        EXPECT_NE(gs, gd);
        double dAttraction = m[1] * (7 * gd + gs) + m[0] * (6 * gd + 2 * gs);
        if (nMetal == 44) dAttraction += m[2] * Z * gd;
        EXPECT_NEAR(Core(9, 9), -c * 13.06 - dAttraction, 1e-14) << nMetal;
    }
}

TEST_F(ZindoCore, MixesTheIonisationPotentialsOfTheFirstRowOnly) {
    Place({{26, 0, 0, 0}, {44, 0, 0, 5.0}});
    Build();
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[0], -c * (0.7 * 7.3 + 0.3 * 7.10));
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[2], -c * (0.7 * 4.1 + 0.3 * 3.70));
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[8], -c * (0.7 * 8.5 + 0.3 * 10.0));
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[9], -c * 7.10);
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[17], -c * 10.0);
}

TEST_F(ZindoCore, TakesTheEnergiesOfAConfigurationFromItsOtherElectrons) {
    const AtomCoulomb g = {0.30, 0.35, 0.45};
    const double gsp = 0.30 - c * 3.0 / 6, gsd = 0.35 - c * 0.9 / 10;
    const double gpd = 0.35 - c * 0.7 / 15 - c * 0.5 * 3 / 70;
    const double gpp = 0.30 - 0.08 * c, gdd = 0.45 - c * 13.0 / 31.5;
    const AtomCoreEnergies e = AtomCoreTerms(26, g, 1.5, 0.5, 6.0);
    EXPECT_NEAR(e.dS, -0.5 * 0.30 - 0.5 * gsp - 6.0 * gsd, 1e-14);
    EXPECT_NEAR(e.dP, 0.5 * gpp - 1.5 * gsp - 6.0 * gpd, 1e-14);
    EXPECT_NEAR(e.dD, -5.0 * gdd - 1.5 * gsd - 0.5 * gpd, 1e-14);
}

TEST_F(ZindoCore, AveragesTheGroundConfigurationsOfAMetal) {
    const AtomCoulomb g = {0.30, 0.35, 0.45};
    const auto Terms = [&](double s, double p, double d) { return AtomCoreTerms(26, g, s, p, d); };
    AtomCoreEnergies e = GroundStateCoreTerms(26, g);
    EXPECT_NEAR(e.dS, 0.3 * Terms(2, 0, 6).dS + 0.7 * Terms(1, 0, 7).dS, 1e-14);
    EXPECT_NEAR(e.dP, 0.3 * Terms(1, 1, 6).dP + 0.7 * Terms(0, 1, 7).dP, 1e-14);
    EXPECT_NEAR(e.dD, 0.3 * Terms(2, 0, 6).dD + 0.7 * Terms(1, 0, 7).dD, 1e-14);
    e = GroundStateCoreTerms(44, g);
    EXPECT_NEAR(e.dS, (0.1 * Terms(2, 0, 6).dS + 0.3 * Terms(1, 0, 7).dS) / 0.4, 1e-14);
    EXPECT_NEAR(e.dP, (0.1 * Terms(1, 1, 6).dP + 0.3 * Terms(0, 1, 7).dP) / 0.4, 1e-14);
    EXPECT_NEAR(e.dD, 0.1 * Terms(2, 0, 6).dD + 0.3 * Terms(1, 0, 7).dD + 0.6 * Terms(0, 0, 8).dD,
                1e-14);
}

TEST_F(ZindoCore, StaysFiniteWhereOnlyTheDConfigurationHasWeight) {
    Zindo(44).dConfigMix[0] = Zindo(44).dConfigMix[1] = 0.0;
    Zindo(44).dConfigMix[2] = 1.0;
    const AtomCoulomb g = {0.30, 0.35, 0.45};
    const AtomCoreEnergies e = GroundStateCoreTerms(44, g);
    EXPECT_EQ(e.dS, AtomCoreTerms(44, g, 1, 0, 7).dS);
    EXPECT_EQ(e.dP, AtomCoreTerms(44, g, 0, 1, 7).dP);
    EXPECT_NEAR(e.dD, AtomCoreTerms(44, g, 0, 0, 8).dD, 1e-15);
}

TEST_F(ZindoCore, PutsUpToTwoElectronsOfAMainGroupAtomIntoS) {
    const AtomCoulomb g = {0.4, 0.0, 0.0};
    EXPECT_EQ(GroundStateCoreTerms(1, g).dS, 0.0);
    EXPECT_NEAR(GroundStateCoreTerms(12, g).dS, -0.4, 1e-15);
    EXPECT_NEAR(GroundStateCoreTerms(12, g).dP, 0.4 - 0.8, 1e-15);
    EXPECT_NEAR(GroundStateCoreTerms(13, g).dP, -0.8, 1e-15);
}

TEST_F(ZindoCore, IsSymmetricAndFiniteForAtomsInOnePlace) {
    for (int nMethod : {kZindo1, kZindoS}) {
        system.MethodId = nMethod;
        Place({{26, 0, 0, 0}, {6, 0, 0, 0}, {44, 1, 2, 3}});
        EXPECT_TRUE(std::isfinite(Build()));
        for (int i = 0; i < setup.nOrbitals; ++i)
            for (int j = 0; j <= i; ++j) {
                EXPECT_TRUE(std::isfinite(Core(i, j)));
                EXPECT_EQ(Core(i, j), Core(j, i));
            }
    }
}

}  // namespace
}  // namespace qsolve
