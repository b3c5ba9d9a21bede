#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "tests/unit/setup/parameter_fixture.h"

namespace qsolve {
namespace {

const ParameterCase kZindoCases[] = {
    {kZindo1, kMsgZindoExponent, [] { parameters.pZindoParams[5].dZetaS = 0; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital s in zindo1_1.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoExponent, [] { parameters.pZindoParams[111].dZetaS = 0; },
     "Capping atom 3 with atomic number 7: the Slater exponent of orbital s in zindo1_1.abp is not "
     "positive.  Please correct it, or deselect all atoms to do a calculation."},
    {kZindo1, kMsgZindoExponent, [] { parameters.pZindoParams[5].dZetaP = 0; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital p in zindo1_1.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoExponent, [] { parameters.pZindoParams[111].dZetaP = 0; },
     "Capping atom 3 with atomic number 7: the Slater exponent of orbital p in zindo1_1.abp is not "
     "positive.  Please correct it, or deselect all atoms to do a calculation."},
    {kZindo1, kMsgZindoIonisation, [] { parameters.pZindoParams[5].dIonisationS = 0; },
     "Atom 2 with atomic number 6: the ionization potential of orbital s in zindo1_1.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoIonisation, [] { parameters.pZindoParams[111].dIonisationS = 0; },
     "Capping atom 3 with atomic number 7: the ionization potential of orbital s in zindo1_1.abp "
     "is not positive."},
    {kZindo1, kMsgZindoIonisation, [] { parameters.pZindoParams[5].dIonisationP = 0; },
     "Atom 2 with atomic number 6: the ionization potential of orbital p in zindo1_1.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoIonisation, [] { parameters.pZindoParams[111].dIonisationP = 0; },
     "Capping atom 3 with atomic number 7: the ionization potential of orbital p in zindo1_1.abp "
     "is not positive."},
    {kZindo1, kMsgZindoBeta, [] { parameters.pZindoParams[5].dBetaS = 0; },
     "Atom 2 with atomic number 6: the bonding parameter of orbital s in zindo1_1.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoBeta, [] { parameters.pZindoParams[111].dBetaS = 0; },
     "Capping atom 3 with atomic number 7: the bonding parameter of orbital s in zindo1_1.abp is "
     "not positive."},
    {kZindo1, kMsgZindoBeta, [] { parameters.pZindoParams[5].dBetaP = 0; },
     "Atom 2 with atomic number 6: the bonding parameter of orbital p in zindo1_1.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoBeta, [] { parameters.pZindoParams[111].dBetaP = 0; },
     "Capping atom 3 with atomic number 7: the bonding parameter of orbital p in zindo1_1.abp is "
     "not positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[5].dSlaterF2pp = 0; },
     "Atom 2 with atomic number 6: the Slater-Condon constant F2(p,p) in zindo1_2.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoSlater, [] { parameters.pZindoParams[111].dSlaterF2pp = 0; },
     "Capping atom 3 with atomic number 7: the Slater-Condon constant F2(p,p) in zindo1_2.abp is "
     "not positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[5].dSlaterG1sp = 0; },
     "Atom 2 with atomic number 6: the Slater-Condon constant G1(s,p) in zindo1_2.abp is not "
     "positive."},
    {kZindo1, kMsgCappingZindoSlater, [] { parameters.pZindoParams[111].dSlaterG1sp = 0; },
     "Capping atom 3 with atomic number 7: the Slater-Condon constant G1(s,p) in zindo1_2.abp is "
     "not positive."},
    {kZindoS, kMsgCoulombZero, [] { parameters.pZindosGamma[5].dGammaSS = 0; },
     "Atom 2 with atomic number 6: the two-electron Coulomb parameter ss in zindos_4.abp is zero."},
    {kZindoS, kMsgCappingCoulombZero, [] { parameters.pZindosGamma[111].dGammaSS = 0; },
     "Capping atom 3 with atomic number 7: the two-electron Coulomb parameter ss in zindos_4.abp "
     "is zero."},
    {kZindoS, kMsgFirstDExponent, [] { parameters.pZindoParams[25].dZetaD1 = 0; },
     "Atom 4 with atomic number 26: the first exponent of the double-zeta d function in "
     "zindos_1.abp is not positive."},
    {kZindoS, kMsgSecondDExponent, [] { parameters.pZindoParams[25].dCoefD2 = 0.1; },
     "Atom 4 with atomic number 26: the second exponent of the double-zeta d function in "
     "zindos_1.abp is not positive."},
    {kZindo1, kMsgCoulombDExponent, [] { parameters.pZindoParams[25].dZetaD = 0; },
     "Atom 4 with atomic number 26: the exponent of orbital d for the Coulomb integrals in "
     "zindo1_1.abp is not positive."},
    {kZindoS, kMsgZindoIonisation, [] { parameters.pZindoParams[25].dIonisationD = 0; },
     "Atom 4 with atomic number 26: the ionization potential of orbital d in zindos_1.abp is not "
     "positive."},
    {kZindoS, kMsgZindoBeta, [] { parameters.pZindoParams[25].dBetaD = 0; },
     "Atom 4 with atomic number 26: the bonding parameter of orbital d in zindos_1.abp is not "
     "positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[25].dSlaterF2pd = 0; },
     "Atom 4 with atomic number 26: the Slater-Condon constant F2(p,d) in zindo1_2.abp is not "
     "positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[25].dSlaterF2dd = 0; },
     "Atom 4 with atomic number 26: the Slater-Condon constant F2(d,d) in zindo1_2.abp is not "
     "positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[25].dSlaterF4dd = 0; },
     "Atom 4 with atomic number 26: the Slater-Condon constant F4(d,d) in zindo1_2.abp is not "
     "positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[25].dSlaterG1pd = 0; },
     "Atom 4 with atomic number 26: the Slater-Condon constant G1(p,d) in zindo1_2.abp is not "
     "positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[25].dSlaterG2sd = 0; },
     "Atom 4 with atomic number 26: the Slater-Condon constant G2(s,d) in zindo1_2.abp is not "
     "positive."},
    {kZindo1, kMsgZindoSlater, [] { parameters.pZindoParams[25].dSlaterG3pd = 0; },
     "Atom 4 with atomic number 26: the Slater-Condon constant G3(p,d) in zindo1_2.abp is not "
     "positive."},
    {kZindoS, kMsgCoulombZero, [] { parameters.pZindosGamma[25].dGammaSD = 0; },
     "Atom 4 with atomic number 26: the two-electron Coulomb parameter sd in zindos_4.abp is "
     "zero."},
    {kZindoS, kMsgCoulombZero, [] { parameters.pZindosGamma[25].dGammaDD = 0; },
     "Atom 4 with atomic number 26: the two-electron Coulomb parameter dd in zindos_4.abp is "
     "zero."},
    {kZindo1, kMsgConfigurationMix, [] { parameters.pZindoParams[25].dConfigMix[0] = 1.1; },
     "Atom 4 with atomic number 26: the coefficients mixing the "
     "configurations of ground state of the transition metal are "
     "not normalized."},
};

INSTANTIATE_TEST_SUITE_P(Zindo, ParameterTest, testing::ValuesIn(kZindoCases));

/// Integral of the square of a double-zeta 3d function over space, by the midpoint rule.
double SelfOverlap(const ZindoRow& row, double dFarthest = 30.0) {
    constexpr double kStep = 1e-3;
    const auto radial = [](double dZeta, double r) {
        return std::sqrt(std::pow(2 * dZeta, 7) / 720.0) * r * r * std::exp(-dZeta * r);
    };
    double dSum = 0.0;
    for (double r = kStep / 2; r < dFarthest; r += kStep) {
        const double f =
            row.dCoefD1 * radial(row.dZetaD1, r) + row.dCoefD2 * radial(row.dZetaD2, r);
        dSum += f * f * r * r * kStep;
    }
    return dSum;
}

class ZindoParameters : public JobTest {
  protected:
    static void UseIron() { UseAtoms({{26}, {26, 3, 0, 0}}); }
};

TEST_F(ZindoParameters, WeightsOfTheConfigurationsMayNotAllBeZero) {
    UseMethod(kZindoS);
    parameters.pZindoParams[25].dConfigMix[0] = 0;
    UseIron();
    EXPECT_EQ(TrySetUp(), kMsgConfigurationMixZero);
    EXPECT_EQ(OnlyError(),
              "Atom 1 with atomic number 26: the coefficients mixing the configurations of ground "
              "state of the transition metal are all zero.");
    EXPECT_EQ(client.Warnings().size(), 1U) << "they are not normalised either";
}

TEST_F(ZindoParameters, WeightsAreTwoInTheFirstAndThreeInTheSecondTransitionRow) {
    UseMethod(kZindo1);
    for (const int nRow : {25, 43}) {
        double* w = parameters.pZindoParams[nRow].dConfigMix;
        w[0] = 0.7, w[1] = 0, w[2] = 0.3;
    }
    UseAtoms({{26}, {44, 3, 0, 0}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(),
              Lines{"Atom 1 with atomic number 26: the coefficients mixing the configurations of "
                    "ground state of the transition metal are not normalized."});
}

TEST_F(ZindoParameters, WeightsAreThoseOfScandiumToCopperAndOfYttriumToSilver) {
    for (const auto& [nElement, fWeighed] : {std::pair{20, false},
                                             {21, true},
                                             {29, true},
                                             {30, false},
                                             {38, false},
                                             {39, true},
                                             {47, true},
                                             {48, false}}) {
        NewScriptedClient();
        UseMethod(kZindoS);
        for (double& w : parameters.pZindoParams[nElement - 1].dConfigMix) w = 0;
        UseAtoms({{nElement}, {nElement, 3, 0, 0}});
        EXPECT_EQ(TrySetUp() == kMsgConfigurationMixZero, fWeighed) << nElement;
    }
}

TEST_F(ZindoParameters, OfASecondConfigurationWithoutWeightDoNotMatter) {
    UseMethod(kZindo1);
    ZindoRow& row = parameters.pZindoParams[25];
    row.dConfigMix[0] = 1, row.dConfigMix[1] = 0;
    for (double& d : row.dIonisation2) d = 0;
    UseIron();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(ZindoParameters, WeightsWithinARoundingOfOneAreNormalised) {
    UseMethod(kZindo1);
    parameters.pZindoParams[25].dConfigMix[0] = 1.000009;
    UseIron();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(ZindoParameters, OfASecondConfigurationWithWeightAreItsIonisationPotentials) {
    UseMethod(kZindo1);
    ZindoRow& row = parameters.pZindoParams[25];
    row.dConfigMix[0] = 0.6, row.dConfigMix[1] = 0.4;
    row.dIonisation2[0] = row.dIonisation2[2] = 9;
    UseAtoms({{26}, {8, 2, 0, 0}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(),
              Lines{"Atom 1 with atomic number 26: the ionization potential of orbital p for the "
                    "second configuration in zindo1_3.abp is not positive."});
}

TEST_F(ZindoParameters, CoulombParameterOfZeroIsReplacedForTheJob) {
    UseMethod(kZindoS);
    parameters.pZindosGamma[0].dGammaSS = 0;
    UseWater();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings().size(), 1U) << "the second hydrogen finds it replaced";
    EXPECT_EQ(setup.pGamma[0].dGammaSS, 1e-10);
    EXPECT_EQ(parameters.pZindosGamma[0].dGammaSS, 0.0);
}

TEST_F(ZindoParameters, OfTheDShellDoNotMatterBesideTransitionMetals) {
    UseMethod(kZindoS);
    ZindoRow& row = parameters.pZindoParams[7];
    row.dZetaD = row.dZetaD1 = row.dIonisationD = row.dBetaD = row.dSlaterF2dd = 0;
    parameters.pZindosGamma[7].dGammaSD = parameters.pZindosGamma[7].dGammaDD = 0;
    row.dConfigMix[0] = 0;
    UseWater();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(ZindoParameters, SingleDExponentMattersForZindo1Alone) {
    UseMethod(kZindoS);
    parameters.pZindoParams[25].dZetaD = 0;
    UseIron();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(ZindoParameters, OfDoubleZetaFunctionsAreNormalisedForTheJobAndSaidOncePerProcess) {
    UseMethod(kZindoS);
    ZindoRow& wire = parameters.pZindoParams[25];
    wire.dZetaD1 = 6, wire.dZetaD2 = 2.5, wire.dCoefD1 = 0.6, wire.dCoefD2 = 0.6;
    for (int nJob = 0; nJob < 2; ++nJob) {
        NewScriptedClient();
        UseIron();
        EXPECT_EQ(TrySetUp(), 0);
        ASSERT_EQ(client.Warnings().size(), nJob == 0 ? 1U : 0U);
        if (nJob == 0) {
            EXPECT_EQ(client.Warnings()[0],
                      "The double-zeta d function of the element Fe is not normalized; it has "
                      "been normalized.");
        }
        const ZindoRow& row = setup.pZindo[25];
        EXPECT_EQ(row.dCoefD1, row.dCoefD2);
        EXPECT_NEAR(SelfOverlap(row), 1.0, 1e-6);
    }
    EXPECT_EQ(wire.dCoefD1, 0.6) << "what the client sent stays";
}

/// From the first metal of either row to the last.
TEST_F(ZindoParameters, OfAllDoubleZetaFunctionsAreNormalised) {
    UseMethod(kZindoS);
    for (const int nElement : {21, 29, 39, 47}) {
        ZindoRow& wire = parameters.pZindoParams[nElement - 1];
        wire.dZetaD1 = 6, wire.dZetaD2 = 2.5, wire.dCoefD1 = 0.6, wire.dCoefD2 = 0.6;
        UseAtoms({{nElement}, {nElement, 3, 0, 0}});
        EXPECT_EQ(TrySetUp(), 0) << nElement;
        const ZindoRow& row = setup.pZindo[nElement - 1];
        EXPECT_EQ(row.dCoefD1, row.dCoefD2);
        EXPECT_GT(std::abs(row.dCoefD1 - 0.6), 1e-3) << nElement;
    }
}

TEST_F(ZindoParameters, OfDoubleZetaFunctionsStayWhenTheNormIsCloseToOne) {
    UseMethod(kZindoS);
    parameters.pZindoParams[25].dCoefD1 = 1.00009;
    UseIron();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
    EXPECT_EQ(setup.pZindo[25].dCoefD1, 1.00009);
}

TEST_F(ZindoParameters, OfWideDoubleZetaFunctionsAreNormalisedAsNarrowOnes) {
    UseMethod(kZindoS);
    ZindoRow& wire = parameters.pZindoParams[25];
    UseIron();
    for (const auto& [dZeta1, dZeta2] : {std::pair(0.09, 0.6), std::pair(0.6, 0.09)}) {
        wire.dZetaD1 = dZeta1, wire.dZetaD2 = dZeta2, wire.dCoefD1 = 0.6, wire.dCoefD2 = 0.5;
        EXPECT_EQ(TrySetUp(), 0);
        EXPECT_NEAR(SelfOverlap(setup.pZindo[25], 300.0), 1.0, 1e-5) << dZeta1;
    }
}

TEST_F(ZindoParameters, OfAnEmptyDoubleZetaFunctionStayEmpty) {
    UseMethod(kZindoS);
    parameters.pZindoParams[25].dCoefD1 = 0;
    UseIron();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.pZindo[25].dCoefD1, 0.0);
}

TEST_F(ZindoParameters, OfDoubleZetaFunctionsBesideTheMoleculeStayAsTheyAre) {
    UseMethod(kZindoS);
    parameters.pZindoParams[26].dCoefD1 = 3;
    UseAtoms({{26}, {26, 3, 0, 0}, {27, 9, 0, 0, kClassical}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
    EXPECT_EQ(setup.pZindo[26].dCoefD1, 3.0);
}

}  // namespace
}  // namespace qsolve
