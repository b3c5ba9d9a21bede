#include <gtest/gtest.h>

#include "job/state.h"
#include "tests/unit/setup/parameter_fixture.h"

namespace qsolve {
namespace {

const ParameterCase kNddoCases[] = {
    {kAm1, kMsgCoreAttraction, [] { parameters.pNddoParams[5].dUss = 1; },
     "Atom 2 with atomic number 6: the one-center core-electron attraction Uss in am1_1.abp is "
     "positive."},
    {kAm1, kMsgCappingCoreAttraction, [] { parameters.pNddoParams[111].dUss = 1; },
     "Capping atom 3 with atomic number 7: the one-center core-electron attraction Uss in "
     "am1_1.abp is positive."},
    {kAm1, kMsgNddoExponent, [] { parameters.pNddoParams[5].dZetaS = 0; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital s in am1_1.abp is not positive."},
    {kAm1, kMsgCappingNddoExponent, [] { parameters.pNddoParams[111].dZetaS = 0; },
     "Capping atom 3 with atomic number 7: the Slater exponent of orbital s in am1_1.abp is not "
     "positive.  Please correct it, or deselect all atoms to do a calculation."},
    {kAm1, kMsgOneCentre, [] { parameters.pNddoParams[5].dGss = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(ss) in am1_2.abp is "
     "negative."},
    {kAm1, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGss = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(ss) in am1_2.abp "
     "is negative."},
    {kAm1, kMsgNddoExponent, [] { parameters.pNddoParams[5].dZetaP = 0; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital p in am1_1.abp is not positive."},
    {kAm1, kMsgCappingNddoExponent, [] { parameters.pNddoParams[111].dZetaP = 0; },
     "Capping atom 3 with atomic number 7: the Slater exponent of orbital p in am1_1.abp is not "
     "positive.  Please correct it, or deselect all atoms to do a calculation."},
    {kAm1, kMsgOneCentre, [] { parameters.pNddoParams[5].dGsp = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(sp) in am1_2.abp is "
     "negative."},
    {kAm1, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGsp = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(sp) in am1_2.abp "
     "is negative."},
    {kAm1, kMsgOneCentre, [] { parameters.pNddoParams[5].dGpp = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(pp) in am1_2.abp is "
     "negative."},
    {kAm1, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGpp = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(pp) in am1_2.abp "
     "is negative."},
    {kAm1, kMsgOneCentre, [] { parameters.pNddoParams[5].dGp2 = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(p2) in am1_2.abp is "
     "negative."},
    {kAm1, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGp2 = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(p2) in am1_2.abp "
     "is negative."},
    {kAm1, kMsgOneCentre, [] { parameters.pNddoParams[5].dHsp = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral H(sp) in am1_2.abp is "
     "negative."},
    {kAm1, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dHsp = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral H(sp) in am1_2.abp "
     "is negative."},
    {kAm1, kMsgCoreAlpha, [] { parameters.pNddoParams[5].dAlpha = 0; },
     "Atom 2 with atomic number 6: the core-core repulsion parameter alpha in am1_1.abp is not "
     "positive."},
    {kAm1, kMsgCappingCoreAlpha, [] { parameters.pNddoParams[111].dAlpha = 0; },
     "Capping atom 3 with atomic number 7: the core-core repulsion parameter alpha in am1_1.abp is "
     "not positive."},
    {kAm1, kMsgMonopole, [] { parameters.pNddoParams[5].dRho0 = -1; },
     "Atom 2 with atomic number 6: the monopole parameter in am1_2.abp is not positive."},
    {kAm1, kMsgCappingMonopole, [] { parameters.pNddoParams[111].dRho0 = -1; },
     "Capping atom 3 with atomic number 7: the monopole parameter in am1_2.abp is not positive."},
    {kAm1, kMsgNddoBeta, [] { parameters.pNddoParams[5].dBetaS = 0; },
     "Atom 2 with atomic number 6: the bonding parameter beta of orbital s in am1_1.abp is not "
     "negative."},
    {kAm1, kMsgCappingNddoBeta, [] { parameters.pNddoParams[111].dBetaS = 0; },
     "Capping atom 3 with atomic number 7: the bonding parameter beta of orbital s in am1_1.abp is "
     "not negative."},
    {kAm1, kMsgNddoBeta, [] { parameters.pNddoParams[5].dBetaP = 0; },
     "Atom 2 with atomic number 6: the bonding parameter beta of orbital p in am1_1.abp is not "
     "negative."},
    {kAm1, kMsgCappingNddoBeta, [] { parameters.pNddoParams[111].dBetaP = 0; },
     "Capping atom 3 with atomic number 7: the bonding parameter beta of orbital p in am1_1.abp is "
     "not negative."},
    {kAm1, kMsgDipoleParameter, [] { parameters.pNddoParams[5].dRho1 = -1; },
     "Atom 2 with atomic number 6: the dipole parameter in am1_2.abp is not positive."},
    {kAm1, kMsgCappingDipoleParameter, [] { parameters.pNddoParams[111].dRho1 = -1; },
     "Capping atom 3 with atomic number 7: the dipole parameter in am1_2.abp is not positive."},
    {kAm1, kMsgQuadrupoleParameter, [] { parameters.pNddoParams[5].dRho2 = -1; },
     "Atom 2 with atomic number 6: the quadrupole parameter in am1_2.abp is not positive."},
    {kAm1, kMsgCappingQuadrupoleParameter, [] { parameters.pNddoParams[111].dRho2 = -1; },
     "Capping atom 3 with atomic number 7: the quadrupole parameter in am1_2.abp is not positive."},
    {kAm1, kMsgDipoleDistance, [] { parameters.pNddoParams[5].dDipoleDistance = -1; },
     "Atom 2 with atomic number 6: the dipole charge separation in am1_2.abp is not positive."},
    {kAm1, kMsgCappingDipoleDistance, [] { parameters.pNddoParams[111].dDipoleDistance = -1; },
     "Capping atom 3 with atomic number 7: the dipole charge separation in am1_2.abp is not "
     "positive."},
    {kAm1, kMsgQuadrupoleDistance, [] { parameters.pNddoParams[5].dQuadDistance = -1; },
     "Atom 2 with atomic number 6: the quadrupole charge separation in am1_2.abp is not positive."},
    {kAm1, kMsgCappingQuadrupoleDistance, [] { parameters.pNddoParams[111].dQuadDistance = -1; },
     "Capping atom 3 with atomic number 7: the quadrupole charge separation in am1_2.abp is not "
     "positive."},
    {kMindo3, kMsgCoreAttraction, [] { parameters.pNddoParams[5].dUss = 1; },
     "Atom 2 with atomic number 6: the one-center core-electron attraction Uss in mindo3_1.abp is "
     "positive."},
    {kMindo3, kMsgCappingCoreAttraction, [] { parameters.pNddoParams[111].dUss = 1; },
     "Capping atom 3 with atomic number 7: the one-center core-electron attraction Uss in "
     "mindo3_1.abp is positive."},
    {kMindo3, kMsgNddoExponent, [] { parameters.pNddoParams[5].dZetaS = 0; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital s in mindo3_1.abp is not "
     "positive."},
    {kMindo3, kMsgCappingNddoExponent, [] { parameters.pNddoParams[111].dZetaS = 0; },
     "Capping atom 3 with atomic number 7: the Slater exponent of orbital s in mindo3_1.abp is not "
     "positive.  Please correct it, or deselect all atoms to do a calculation."},
    {kMindo3, kMsgOneCentre, [] { parameters.pNddoParams[5].dGss = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(ss) in mindo3_2.abp is "
     "negative."},
    {kMindo3, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGss = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(ss) in "
     "mindo3_2.abp is negative."},
    {kMindo3, kMsgNddoExponent, [] { parameters.pNddoParams[5].dZetaP = 0; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital p in mindo3_1.abp is not "
     "positive."},
    {kMindo3, kMsgCappingNddoExponent, [] { parameters.pNddoParams[111].dZetaP = 0; },
     "Capping atom 3 with atomic number 7: the Slater exponent of orbital p in mindo3_1.abp is not "
     "positive.  Please correct it, or deselect all atoms to do a calculation."},
    {kMindo3, kMsgOneCentre, [] { parameters.pNddoParams[5].dGsp = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(sp) in mindo3_2.abp is "
     "negative."},
    {kMindo3, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGsp = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(sp) in "
     "mindo3_2.abp is negative."},
    {kMindo3, kMsgOneCentre, [] { parameters.pNddoParams[5].dGpp = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(pp) in mindo3_2.abp is "
     "negative."},
    {kMindo3, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGpp = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(pp) in "
     "mindo3_2.abp is negative."},
    {kMindo3, kMsgOneCentre, [] { parameters.pNddoParams[5].dGp2 = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral G(p2) in mindo3_2.abp is "
     "negative."},
    {kMindo3, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dGp2 = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral G(p2) in "
     "mindo3_2.abp is negative."},
    {kMindo3, kMsgOneCentre, [] { parameters.pNddoParams[5].dHsp = -1; },
     "Atom 2 with atomic number 6: the one-center two-electron integral H(sp) in mindo3_2.abp is "
     "negative."},
    {kMindo3, kMsgCappingOneCentre, [] { parameters.pNddoParams[111].dHsp = -1; },
     "Capping atom 3 with atomic number 7: the one-center two-electron integral H(sp) in "
     "mindo3_2.abp is negative."},
    {kMindo3, kMsgOneCentreAverage, [] { parameters.pNddoParams[5].dRho1 = 0; },
     "Atom 2 with atomic number 6: the averaged one-center two-electron integral in mindo3_2.abp "
     "is zero."},
    {kMindo3, kMsgCappingOneCentreAverage, [] { parameters.pNddoParams[111].dRho1 = 0; },
     "Capping atom 3 with atomic number 7: the averaged one-center two-electron integral in "
     "mindo3_2.abp is zero."},
    {kMindo3, kMsgMindoIonisation, [] { parameters.pNddoParams[5].dDipoleDistance = 0; },
     "Atom 2 with atomic number 6: the ionization energy of orbital s in mindo3_2.abp is not "
     "negative."},
    {kMindo3, kMsgCappingMindoIonisation, [] { parameters.pNddoParams[111].dDipoleDistance = 0; },
     "Capping atom 3 with atomic number 7: the ionization energy of orbital s in mindo3_2.abp is "
     "not negative."},
    {kMindo3, kMsgMindoIonisation, [] { parameters.pNddoParams[5].dQuadDistance = 0; },
     "Atom 2 with atomic number 6: the ionization energy of orbital p in mindo3_2.abp is not "
     "negative."},
    {kMindo3, kMsgCappingMindoIonisation, [] { parameters.pNddoParams[111].dQuadDistance = 0; },
     "Capping atom 3 with atomic number 7: the ionization energy of orbital p in mindo3_2.abp is "
     "not negative."},
};

INSTANTIATE_TEST_SUITE_P(Nddo, ParameterTest, testing::ValuesIn(kNddoCases));

class NddoParameters : public JobTest {};

TEST_F(NddoParameters, OfPShellsDoNotMatterForHydrogen) {
    for (const int nMethod : {kMindo3, kMndo, kAm1, kPm3, kMndoD}) {
        UseMethod(nMethod);
        NddoRow& row = parameters.pNddoParams[0];
        row.dUpp = 1, row.dZetaP = 0, row.dGsp = row.dGpp = row.dGp2 = row.dHsp = -1;
        row.dBetaP = 0, row.dRho2 = 0, row.dQuadDistance = 0;
        if (nMethod != kMindo3) row.dRho1 = 0, row.dDipoleDistance = 0;
        UseAtoms({{1}, {1, 1, 0, 0}});
        EXPECT_EQ(TrySetUp(), 0);
        EXPECT_EQ(client.Warnings(), Lines());
    }
}

TEST_F(NddoParameters, OfMultipolesDoNotMatterForMindo3) {
    UseMethod(kMindo3);
    NddoRow& row = parameters.pNddoParams[7];
    row.dAlpha = row.dRho0 = row.dRho2 = row.dBetaS = row.dBetaP = 0;
    UseWater();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(NddoParameters, OfZeroAreAllowedForOneCentreIntegrals) {
    UseMethod(kAm1);
    parameters.pNddoParams[7].dHsp = parameters.pNddoParams[7].dUss = 0;
    UseWater();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(WithoutDerivationWarning(client.Warnings()), Lines());
}

TEST_F(NddoParameters, AverageOfZeroIsReplacedForTheJobAndSaidOncePerElement) {
    UseMethod(kMindo3);
    parameters.pNddoParams[0].dRho1 = 0;
    for (int nJob = 0; nJob < 2; ++nJob) {
        NewScriptedClient();
        UseWater();
        EXPECT_EQ(TrySetUp(), 0);
        EXPECT_EQ(client.Warnings(), Lines{"Atom 2 with atomic number 1: the averaged one-center "
                                           "two-electron integral in mindo3_2.abp is zero."});
        EXPECT_EQ(setup.pNddo[0].dRho1, 1e-10);
    }
    EXPECT_EQ(parameters.pNddoParams[0].dRho1, 0.0) << "what the client sent stays";
}

TEST_F(NddoParameters, OfBondPairsInUseMustBePositive) {
    UseMethod(kMindo3);
    UseWater();
    parameters.pMindoPairs[MindoPairIndex(1, 8)] = {0, -1};
    parameters.pMindoPairs[MindoPairIndex(8, 8)] = {0, 0};
    parameters.pMindoPairs[MindoPairIndex(1, 6)] = {0, 0};
    EXPECT_EQ(TrySetUp(), 0);
    const std::string sPair = "Atom 1 with atomic number 8 and atom 2 with atomic number 1: ";
    EXPECT_EQ(client.Warnings(),
              (Lines{sPair + "the bond parameter alpha(AB) in mindo3_3.abp is not positive.",
                     sPair + "the bond parameter beta(AB) in mindo3_3.abp is not positive."}));
}

TEST_F(NddoParameters, OfABondPairOfOneElementNeedTwoAtomsOfIt) {
    UseMethod(kMindo3);
    UseWater();
    parameters.pMindoPairs[MindoPairIndex(1, 1)].dBetaAB = 0;
    parameters.pMindoPairs[MindoPairIndex(8, 8)].dBetaAB = 0;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(),
              Lines{"Atom 2 with atomic number 1 and atom 3 with atomic number 1: the bond "
                    "parameter beta(AB) in mindo3_3.abp is not positive."});
}

TEST_F(NddoParameters, OfBondPairsSayWhichAtomIsACappingAtom) {
    UseMethod(kMindo3);
    const int nCappingN = kCappingOffset + 7;
    parameters.pMindoPairs[MindoPairIndex(1, nCappingN)].dAlphaAB = 0;
    parameters.pMindoPairs[MindoPairIndex(nCappingN, nCappingN)].dAlphaAB = 0;
    const std::string sEnd = "the bond parameter alpha(AB) in mindo3_3.abp is not positive.";

    UseAtoms({{1}, {7, 1, 0, 0, kCapping}, {7, 0, 1, 0, kCapping}});
    options.nTotalCharge = 1;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(),
              (Lines{"Atom 1 with atomic number 1 and capping atom 2 with atomic number 7: " + sEnd,
                     "Capping atom 2 with atomic number 7 and capping atom 3 with atomic number "
                     "7: " +
                         sEnd}));

    NewScriptedClient();
    UseAtoms({{7, 1, 0, 0, kCapping}, {1}});
    options.nTotalCharge = 0;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(
        client.Warnings(),
        Lines{"Capping atom 1 with atomic number 7 and atom 2 with atomic number 1: " + sEnd});
}

TEST_F(NddoParameters, OfClassicalAtomsAreTheirExponents) {
    UseMethod(kPm3);
    parameters.pNddoParams[10] = NddoRow{};
    UseAtoms({{1}, {1, 1, 0, 0}, {11, 3, 0, 0, kClassical}});
    EXPECT_EQ(TrySetUp(), kMsgNddoExponent);
    EXPECT_EQ(OnlyError(),
              "Atom 3 with atomic number 11: the Slater exponent of orbital s in pm3_1.abp is not "
              "positive.");
}

TEST_F(NddoParameters, OfPAndDMayAttractUpwards) {
    UseMethod(kPm3);
    parameters.pNddoParams[7].dUpp = parameters.pNddoParams[7].dUdd = 5;
    UseWater();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(NddoParameters, UraniumWithoutARowIsRefusedAfterTheRemarkAboutActinides) {
    UseMethod(kAm1);
    parameters.pNddoParams[91] = NddoRow{};
    UseAtoms({{92}});
    EXPECT_EQ(TrySetUp(), kMsgNddoExponent);
    EXPECT_EQ(client.Errors().size(), 2U);
}

}  // namespace
}  // namespace qsolve
