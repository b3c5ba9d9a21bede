#include <gtest/gtest.h>

#include "job/state.h"
#include "tests/unit/setup/parameter_fixture.h"

namespace qsolve {
namespace {

const ParameterCase kCindoCases[] = {
    {kIndo, kMsgCindoExponent, [] { parameters.pCindoParams[5].dZetaS = 0; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital "
     "s in cindo.abp is not positive."},
    {kIndo, kMsgCappingCindoExponent, [] { parameters.pCindoParams[111].dZetaS = 0; },
     "Capping atom 3 with atomic number 7: the Slater exponent of "
     "orbital s in cindo.abp is not positive.  Please correct it, "
     "or deselect all atoms to do a calculation."},
    {kIndo, kMsgCindoMean, [] { parameters.pCindoParams[5].dHalfIpEaS = 0; },
     "Atom 2 with atomic number 6: the mean of ionization "
     "potential and electron affinity of orbital s in cindo.abp "
     "is not negative."},
    {kIndo, kMsgCappingCindoMean, [] { parameters.pCindoParams[111].dHalfIpEaS = 0; },
     "Capping atom 3 with atomic number 7: the mean of ionization "
     "potential and electron affinity of orbital s in cindo.abp "
     "is not negative."},
    {kIndo, kMsgCindoBeta, [] { parameters.pCindoParams[5].dBeta = 0; },
     "Atom 2 with atomic number 6: the bonding parameter in "
     "cindo.abp is not positive."},
    {kIndo, kMsgCappingCindoBeta, [] { parameters.pCindoParams[111].dBeta = 0; },
     "Capping atom 3 with atomic number 7: the bonding parameter "
     "in cindo.abp is not positive."},
    {kIndo, kMsgCindoExponent, [] { parameters.pCindoParams[5].dZetaP = -1; },
     "Atom 2 with atomic number 6: the Slater exponent of orbital "
     "p in cindo.abp is not positive."},
    {kIndo, kMsgCappingCindoExponent, [] { parameters.pCindoParams[111].dZetaP = -1; },
     "Capping atom 3 with atomic number 7: the Slater exponent of "
     "orbital p in cindo.abp is not positive.  Please correct it, "
     "or deselect all atoms to do a calculation."},
    {kIndo, kMsgCindoMean, [] { parameters.pCindoParams[5].dHalfIpEaP = 0; },
     "Atom 2 with atomic number 6: the mean of ionization "
     "potential and electron affinity of orbital p in cindo.abp "
     "is not negative."},
    {kIndo, kMsgCappingCindoMean, [] { parameters.pCindoParams[111].dHalfIpEaP = 0; },
     "Capping atom 3 with atomic number 7: the mean of ionization "
     "potential and electron affinity of orbital p in cindo.abp "
     "is not negative."},
    {kIndo, kMsgCindoSlater, [] { parameters.pCindoParams[5].dSlaterG1 = 0; },
     "Atom 2 with atomic number 6: the Slater-Condon constant "
     "G1(s,p) in cindo.abp is not positive."},
    {kIndo, kMsgCindoSlater, [] { parameters.pCindoParams[5].dSlaterF2 = 0; },
     "Atom 2 with atomic number 6: the Slater-Condon constant "
     "F2(p,p) in cindo.abp is not positive."},
};

INSTANTIATE_TEST_SUITE_P(Cindo, ParameterTest, testing::ValuesIn(kCindoCases));

class CindoParameters : public JobTest {};

TEST_F(CindoParameters, OfPShellsDoNotMatterForHydrogenAndHelium) {
    UseMethod(kCndo);
    for (const int nRow : {0, 1}) {
        CindoRow& row = parameters.pCindoParams[nRow];
        row.dZetaP = row.dHalfIpEaP = row.dSlaterG1 = row.dSlaterF2 = 0;
    }
    UseAtoms({{1}, {1, 1, 0, 0}, {2, 5, 0, 0}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(CindoParameters, OfACappingHydrogenHaveAPShell) {
    UseMethod(kCndo);
    parameters.pCindoParams[kCappingOffset].dZetaP = 0;
    UseAtoms({{9}, {1, 1, 0, 0, kCapping}});
    EXPECT_EQ(TrySetUp(), kMsgCappingCindoExponent);
    EXPECT_EQ(OnlyError(),
              "Capping atom 2 with atomic number 1: the Slater exponent of orbital p in cindo.abp "
              "is not positive.  Please correct it, or deselect all atoms to do a calculation.");
}

TEST_F(CindoParameters, ExponentsOfClassicalAtomsAreNeededNothingElseOfThem) {
    UseMethod(kIndo);
    CindoRow& row = parameters.pCindoParams[7];
    row = CindoRow{};
    row.dZetaS = 1;
    UseAtoms({{1}, {1, 1, 0, 0}, {8, 3, 0, 0, kClassical}});
    EXPECT_EQ(TrySetUp(), kMsgCindoExponent);
    EXPECT_EQ(OnlyError(),
              "Atom 3 with atomic number 8: the Slater exponent of orbital p in cindo.abp is not "
              "positive.");
    row.dZetaP = 1;
    NewScriptedClient();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(CindoParameters, OfElementsThatAreNotThereDoNotMatter) {
    UseMethod(kCndo);
    parameters.pCindoParams[6] = CindoRow{};
    UseWater();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(CindoParameters, OfEveryAtomOfAnElementAreComplainedOf) {
    UseMethod(kCndo);
    parameters.pCindoParams[0].dBeta = 0;
    UseWater();
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(),
              (Lines{"Atom 2 with atomic number 1: the bonding parameter in cindo.abp is not "
                     "positive.",
                     "Atom 3 with atomic number 1: the bonding parameter in cindo.abp is not "
                     "positive."}));
    EXPECT_EQ(parameters.pCindoParams[0].dBeta, 0.0) << "it stays";
}

TEST_F(CindoParameters, ChecksGoFieldByField) {
    UseMethod(kCndo);
    parameters.pCindoParams[0].dBeta = parameters.pCindoParams[7].dBeta = 0;
    parameters.pCindoParams[0].dHalfIpEaS = 1;
    UseAtoms({{8}, {1, 1, 0, 0}});
    options.nTotalCharge = -1;
    EXPECT_EQ(TrySetUp(), 0);
    ASSERT_EQ(client.Warnings().size(), 3U);
    EXPECT_NE(client.Warnings()[0].find("mean of ionization"), std::string::npos);
    EXPECT_NE(client.Warnings()[1].find("Atom 1 with atomic number 8: the bonding"),
              std::string::npos);
}

TEST_F(CindoParameters, OfDummiesAreNotLookedAt) {
    UseMethod(kCndo);
    UseAtoms({{0}, {1}, {1, 1, 0, 0}, {0, 5, 0, 0, kClassical}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

}  // namespace
}  // namespace qsolve
