#include "setup/parameter_intake.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/parameter_files.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class ParameterIntake : public FreshState {
  protected:
    ParameterIntake() { NewScriptedClient(); }

    /// A block in which every double is its own position, counted from 1.
    static std::vector<unsigned char> Numbered(int nMethod) {
        std::vector<unsigned char> bytes(static_cast<std::size_t>(ParameterBlockBytes(nMethod)));
        for (std::size_t i = 0; i < bytes.size() / 8; ++i) {
            const auto d = static_cast<double>(i + 1);
            std::memcpy(&bytes[8 * i], &d, 8);
        }
        return bytes;
    }

    static ParameterState Decoded(int nMethod) {
        ParameterState tables;
        DecodeParameterBlock(nMethod, Numbered(nMethod).data(), &tables);
        return tables;
    }

    static void ExpectNothingLoaded() {
        EXPECT_EQ(parameters.nParameterMethod, 0);
        EXPECT_FALSE(parameters.pCindoParams || parameters.pNddoParams || parameters.pZindoParams);
        EXPECT_FALSE(parameters.pGaussianParams || parameters.pMindoPairs);
    }
};

TEST_F(ParameterIntake, CindoRowsComeInTheOrderOfTheWire) {
    const ParameterState tables = Decoded(kCndo);
    const CindoRow& hydrogen = tables.pCindoParams[0];
    EXPECT_EQ(hydrogen.dZetaS, 1);
    EXPECT_EQ(hydrogen.dZetaP, 2);
    EXPECT_EQ(hydrogen.dZetaD, 3);
    EXPECT_EQ(hydrogen.dHalfIpEaS, 4);
    EXPECT_EQ(hydrogen.dHalfIpEaP, 5);
    EXPECT_EQ(hydrogen.dHalfIpEaD, 6);
    EXPECT_EQ(hydrogen.dBeta, 7);
    EXPECT_EQ(hydrogen.dSlaterF2, 8);
    EXPECT_EQ(hydrogen.dSlaterG1, 9);
    EXPECT_EQ(hydrogen.dAtomEnergyCndo, 10);
    EXPECT_EQ(hydrogen.dAtomEnergyIndo, 11);
    EXPECT_EQ(hydrogen.dHeatOfAtom, 12);
    EXPECT_EQ(tables.pCindoParams[53].dZetaS, 53 * 12 + 1);
    EXPECT_EQ(tables.pCindoParams[54].dZetaS, 0);
    EXPECT_EQ(tables.pCindoParams[105].dZetaS, 54 * 12 + 1);
    EXPECT_EQ(tables.pCindoParams[158].dHeatOfAtom, 108 * 12);
    EXPECT_EQ(tables.pCindoParams[159].dZetaS, 0);
}

TEST_F(ParameterIntake, NddoRowsComeInTwoSections) {
    const ParameterState tables = Decoded(kAm1);
    EXPECT_EQ(tables.pNddoParams[0].dUss, 1);
    EXPECT_EQ(tables.pNddoParams[1].dUss, 13);
    EXPECT_EQ(tables.pNddoParams[209].dHeatOfAtom, 210 * 12);
    EXPECT_EQ(tables.pNddoParams[0].dGss, 210 * 12 + 1);
    EXPECT_EQ(tables.pNddoParams[0].dGdd, 210 * 12 + 8);
    EXPECT_EQ(tables.pNddoParams[209].dRho2, 210 * 25);
    EXPECT_EQ(tables.pGaussianParams[0].dK[0], 210 * 25 + 1);
    EXPECT_EQ(tables.pGaussianParams[0].dL[0], 210 * 25 + 11);
    EXPECT_EQ(tables.pGaussianParams[209].dM[9], 210 * 55);
}

TEST_F(ParameterIntake, ZindoRowsComeInThreeOrFourSections) {
    const ParameterState tables = Decoded(kZindoS);
    EXPECT_EQ(tables.pZindoParams[0].dZetaS, 1);
    EXPECT_EQ(tables.pZindoParams[0].dCoefD2, 13);
    EXPECT_EQ(tables.pZindoParams[105].dZetaS, 54 * 13 + 1);
    EXPECT_EQ(tables.pZindoParams[0].dSlaterF2pp, 108 * 13 + 1);
    EXPECT_EQ(tables.pZindoParams[0].dHeatOfAtom, 108 * 13 + 10);
    EXPECT_EQ(tables.pZindoParams[0].dIonisation2[0], 108 * 23 + 1);
    EXPECT_EQ(tables.pZindoParams[158].dConfigMix[2], 108 * 32);
    EXPECT_EQ(tables.pZindosGamma[0].dGammaSS, 108 * 32 + 1);
    EXPECT_EQ(tables.pZindosGamma[158].dGammaDD, 108 * 35);
    EXPECT_EQ(tables.pZindoParams[54].dZetaS, 0);
    EXPECT_EQ(tables.pZindosGamma[159].dGammaSS, 0);
    EXPECT_FALSE(Decoded(kZindo1).pZindosGamma);
}

TEST_F(ParameterIntake, NumbersThatAreNoneBecomeZero) {
    auto bytes = Numbered(kMndo);
    for (const double d : {kNan, kInfinity, -kInfinity}) {
        std::memcpy(&bytes[0], &d, 8);
        ParameterState tables;
        DecodeParameterBlock(kMndo, bytes.data(), &tables);
        EXPECT_EQ(tables.pNddoParams[0].dUss, 0);
        EXPECT_EQ(tables.pNddoParams[0].dUpp, 2);
    }
}

TEST_F(ParameterIntake, AFullIntakeBringsTheTablesOfEveryMethod) {
    for (int nMethod = kCndo; nMethod <= kMndoD; ++nMethod) {
        ResetAllState();
        NewScriptedClient();
        PokeParameters(nMethod);
        ReadParameters();
        EXPECT_TRUE(client.Script.empty()) << nMethod;
        EXPECT_TRUE(client.Errors().empty()) << nMethod;
        EXPECT_EQ(parameters.nParameterMethod, nMethod);
        EXPECT_FALSE(parameters.fForeignWordSize);
        EXPECT_FALSE(parameters.fLoaded);
        const Family family = FamilyOf(nMethod);
        EXPECT_EQ(static_cast<bool>(parameters.pCindoParams), family == Family::kCndo);
        EXPECT_EQ(static_cast<bool>(parameters.pNddoParams), family == Family::kNddo);
        EXPECT_EQ(static_cast<bool>(parameters.pZindoParams), family == Family::kZindo);
        EXPECT_EQ(static_cast<bool>(parameters.pGaussianParams),
                  nMethod == kAm1 || nMethod == kPm3);
        EXPECT_EQ(static_cast<bool>(parameters.pMindoPairs), nMethod == kMindo3);
        EXPECT_EQ(static_cast<bool>(parameters.pZindosGamma), nMethod == kZindoS);
    }
}

TEST_F(ParameterIntake, ExtendedHueckelHasNoTables) {
    EXPECT_EQ(ParameterBlockBytes(kExtendedHueckel), 0);
    client.Poke(8);
    client.Poke(static_cast<int>(kExtendedHueckel));
    ReadParameters();
    EXPECT_EQ(client.nDemands, 2);
    EXPECT_TRUE(parameters.fForeignWordSize);
    ExpectNothingLoaded();
}

TEST_F(ParameterIntake, AMethodOutOfRangeIsRefused) {
    for (const int nMethod :
         {-1, 10, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        NewScriptedClient();
        client.Poke(4);
        client.Poke(nMethod);
        try {
            ReadParameters();
            ADD_FAILURE() << nMethod;
        } catch (const Unwinding& failure) {
            EXPECT_EQ(failure.nId, kMsgParameterMethod);
        }
        EXPECT_EQ(client.nDemands, 2);
        ExpectNothingLoaded();
    }
}

TEST_F(ParameterIntake, AShortBlockIsRefusedAndLeavesNothing) {
    client.Poke(4);
    client.Poke(static_cast<int>(kAm1));
    const auto bytes = Numbered(kAm1);
    client.Poke(bytes.data(), bytes.size() - 1);
    try {
        ReadParameters();
        ADD_FAILURE();
    } catch (const Unwinding& failure) {
        EXPECT_EQ(failure.nId, kMsgPacketShort);
    }
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_NE(client.Errors()[0].find("92399"), std::string::npos);
    EXPECT_NE(client.Errors()[0].find("92400"), std::string::npos);
    ExpectNothingLoaded();
}

TEST_F(ParameterIntake, AClientThatLeavesAtAnyStepLeavesNothing) {
    for (int nKept = 0; nKept < 5; ++nKept) {
        ResetAllState();
        NewScriptedClient();
        PokeParameters(kMindo3);
        ASSERT_EQ(client.Script.size(), 5u);
        client.Script.resize(static_cast<std::size_t>(nKept));
        EXPECT_THROW(ReadParameters(), LinkStop) << nKept;
        ExpectNothingLoaded();
    }
}

TEST_F(ParameterIntake, EveryAllocationThatFailsIsReportedAndLeavesNothing) {
    for (const int nMethod : {kCndo, kMindo3, kAm1, kZindoS}) {
        for (int nFailAt = 0;; ++nFailAt) {
            ResetAllState();
            NewScriptedClient();
            PokeParameters(nMethod);
            const std::size_t nBefore = memory.nBytesHeld;
            memory.nTaken = 0;
            memory.nFailAt = nFailAt;
            try {
                ReadParameters();
                EXPECT_GE(nFailAt, 2);
                break;
            } catch (const Unwinding& failure) {
                EXPECT_EQ(failure.nId, kMsgOutOfMemorySetUp);
            }
            ExpectNothingLoaded();
            EXPECT_EQ(memory.nBytesHeld, nBefore);
        }
    }
}

TEST_F(ParameterIntake, CountsOfPairsOutOfRangeAreRefused) {
    const auto bytes = Numbered(kMindo3);
    for (const int nPairs : {-1, kMindoPairs + 1, std::numeric_limits<int>::max()}) {
        NewScriptedClient();
        client.Poke(4);
        client.Poke(static_cast<int>(kMindo3));
        client.Poke(bytes.data(), bytes.size());
        client.Poke(nPairs);
        try {
            ReadParameters();
            ADD_FAILURE() << nPairs;
        } catch (const Unwinding& failure) {
            EXPECT_EQ(failure.nId, kMsgPairCount);
        }
        ExpectNothingLoaded();
    }
}

TEST_F(ParameterIntake, BadPairsAreReportedAndLeftOut) {
    const auto bytes = Numbered(kMindo3);
    const MindoPairRecord pairs[] = {{6, 1, 1.5, 0.3},      {0, 1, 9, 9},      {105, 1, 9, 9},
                                     {1, -105, 9, 9},       {kNan, 1, 9, 9},   {1, kInfinity, 9, 9},
                                     {1e300, -1e300, 9, 9}, {104.5, 1, 9, 9},  {0.4, 1, 9, 9},
                                     {-6, 1.2, kNan, 0.5},  {-104, -104, 2, 3}};
    client.Poke(4);
    client.Poke(static_cast<int>(kMindo3));
    client.Poke(bytes.data(), bytes.size());
    client.Poke(static_cast<int>(std::size(pairs)));
    client.Poke(pairs, sizeof pairs);
    ReadParameters();
    const auto errors = client.Errors();
    ASSERT_EQ(errors.size(), 8u);
    for (const auto& sText : errors) EXPECT_EQ(sText, "Invalid parameter(s) in mindo3_3.abp");

    const auto& table = parameters.pMindoPairs;
    EXPECT_EQ(table[MindoPairIndex(1, 6)].dAlphaAB, 1.5);
    EXPECT_EQ(table[MindoPairIndex(111, 1)].dAlphaAB, 0.0);  // capping carbon with hydrogen
    EXPECT_EQ(table[MindoPairIndex(111, 1)].dBetaAB, 0.5);
    EXPECT_EQ(table[MindoPairIndex(209, 209)].dBetaAB, 3.0);
    int nStored = 0;
    for (const MindoPair& pair : table) nStored += pair.dAlphaAB != 0 || pair.dBetaAB != 0;
    EXPECT_EQ(nStored, 3);
}

TEST_F(ParameterIntake, EveryPairOfRowsHasItsOwnPlace) {
    std::vector<int> counts(kMindoPairs);
    for (int a = 1; a <= kRows; ++a)
        for (int b = 1; b <= a; ++b) {
            const int i = MindoPairIndex(a, b);
            ASSERT_EQ(i, MindoPairIndex(b, a));
            ++counts.at(static_cast<std::size_t>(i));
        }
    for (const int n : counts) EXPECT_EQ(n, 1);
}

TEST_F(ParameterIntake, NoPacketFollowsACountOfZeroPairs) {
    const auto bytes = Numbered(kMindo3);
    client.Poke(4);
    client.Poke(static_cast<int>(kMindo3));
    client.Poke(bytes.data(), bytes.size());
    client.Poke(0);
    ReadParameters();
    EXPECT_EQ(client.nDemands, 4);
    EXPECT_TRUE(parameters.pMindoPairs);
}

}  // namespace
}  // namespace qsolve
