#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "ci/state.h"
#include "exchange/results.h"
#include "exchange/section_block.h"
#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr int kAllSections = static_cast<int>(kSectionsMark | 0x7FFFFF);

class Sections : public FreshState {
  protected:
    using Found = std::map<int, std::vector<double>>;

    Sections() { NewScriptedClient(); }

    static int Word(unsigned nBits) { return static_cast<int>(kSectionsMark | nBits); }

    /// All bytes that came, which must be of one block.
    static std::vector<unsigned char> Bytes() {
        std::vector<unsigned char> bytes;
        for (const SentPacket& packet : client.Sent) {
            EXPECT_EQ(packet.nType, 30);
            bytes.insert(bytes.end(), packet.Payload.begin(), packet.Payload.end());
        }
        return bytes;
    }
    static int WordAt(const std::vector<unsigned char>& bytes, std::size_t nOffset) {
        int nWord = 0;
        EXPECT_LE(nOffset + sizeof nWord, bytes.size());
        std::memcpy(&nWord, bytes.data() + nOffset, sizeof nWord);
        return nWord;
    }

    /// The sections of what came, read by the rules of the wire alone.
    static Found Read() {
        const std::vector<unsigned char> bytes = Bytes();
        EXPECT_EQ(WordAt(bytes, 0), 2);
        Found found;
        std::size_t nAt = 8;
        for (int i = 0; i < WordAt(bytes, 4); ++i) {
            const int nKind = WordAt(bytes, nAt), nBytes = WordAt(bytes, nAt + 4);
            std::vector<double> values(static_cast<std::size_t>(nBytes) / 8);
            EXPECT_LE(nAt + 8 + 8 * values.size(), bytes.size());
            if (!values.empty())
                std::memcpy(values.data(), bytes.data() + nAt + 8, 8 * values.size());
            EXPECT_TRUE(found.emplace(nKind, values).second) << "twice";
            nAt += 8 + 8 * values.size();
        }
        EXPECT_EQ(nAt, bytes.size());
        client.Sent.clear();
        return found;
    }

    static Found Send(int nExtensions) {
        client.Sent.clear();
        options.nExtensions = nExtensions;
        SendPreciseResults();
        return Read();
    }

    static void BuildThree(int nMethod) {
        Build({.Atoms = {{1, 1, 1, 2, 3}, {1, 1, 4, 5, 6}, {8, 4, 7, 8, 1.0 / 3}},
               .Selection = {3, 1},
               .nMethod = nMethod});
        gradient.pGradient.Take(6, kIntake);
        for (int i = 0; i < 6; ++i) gradient.pGradient[i] = i + 1;
        gradient.fComputed = scf.fResultsValid = true;
    }
};

TEST_F(Sections, AreThoseOfTheBitsAndNoOthers) {
    BuildThree(kPm3);
    for (unsigned nBits = 0; nBits < 128; ++nBits) {
        const Found found = Send(Word(nBits));
        for (int nKind = 0; nKind < 7; ++nKind)
            EXPECT_EQ(found.count(nKind), nBits >> nKind & 1) << nBits;
    }
    EXPECT_EQ(Send(kAllSections).size(), 7u);
    EXPECT_TRUE(Send(Word(kFurtherOptionsBit)).empty());
}

TEST_F(Sections, OfForcesComeToThoseWhoAskForTheGradientOfTheState) {
    BuildThree(kPm3);
    scf.Force = {.nWhy = kForceEqualLevels, .nOfMean = 3, .nWhyFirst = 1, .nProducts = 7};
    EXPECT_TRUE(Send(Word(1U << 10)).empty());
    further.Scf.fStateGradient = 1;
    const std::vector<double> values = Send(Word(1U << 10)).at(10);
    ASSERT_EQ(values.size(), 2u);
    ForceRecord record;
    std::memcpy(static_cast<void*>(&record), values.data(), sizeof record);
    EXPECT_EQ(record.nWhy, kForceEqualLevels);
    EXPECT_EQ(record.nOfMean, 3);
    EXPECT_EQ(record.nWhyFirst, kForceNoMinimum);
    EXPECT_EQ(record.nProducts, 7);
    gradient.fComputed = false;
    EXPECT_TRUE(Send(Word(1U << 10)).empty());
}

TEST_F(Sections, OfStatesAreTheHeadTheStatesAndTheirConfigurations) {
    BuildThree(kPm3);
    EXPECT_TRUE(Send(Word(1U << 8)).empty());
    scf.nCiKind = 1;
    ci.Details.nConfigs = 9;
    ci.Details.nFirstLevel = 4;
    ci.Details.nLevels = 5;
    ci.Details.nAlpha = 3;
    ci.Details.nBeta = 2;
    ci.Details.nWanted = 1;
    ci.Details.States.Take(2, kWork);
    ci.Details.States[1] = {7, 1, 1.5, 2.5, 3.5, 4.5, {5.5, 6.5, 7.5}, {8.5, 9.5, 10.5}};
    ci.Details.Contributions.Take(1, kWork);
    ci.Details.Contributions[0] = {1, 4, 6, 0, 0.25};
    EXPECT_TRUE(Send(Word(0x3F)).count(8) == 0) << "not asked for";
    const std::vector<double> values = Send(Word(1U << 8)).at(8);
    ASSERT_EQ(values.size(), 5u + 2 * 11 + 3);
    int nHead[10], nState[2], nContribution[4];
    std::memcpy(nHead, values.data(), sizeof nHead);
    const int wanted[10] = {1, 9, 2, 1, 4, 5, 3, 2, 1, 0};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(nHead[i], wanted[i]) << i;
    std::memcpy(nState, &values[16], sizeof nState);
    EXPECT_EQ(nState[0], 7);
    EXPECT_EQ(nState[1], 1);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(values[17 + i], i + 1.5);
    std::memcpy(nContribution, &values[27], sizeof nContribution);
    EXPECT_EQ(nContribution[0], 1);
    EXPECT_EQ(nContribution[1], 4);
    EXPECT_EQ(nContribution[2], 6);
    EXPECT_EQ(values[29], 0.25);
}

TEST_F(Sections, OfModesAreInTheOrderOfTheAtoms) {
    BuildThree(kPm3);  // the third atom is the first of the selection
    EXPECT_TRUE(Send(Word(1U << 9)).empty()) << "there are none";
    const auto fill = [](Array<double>& a, double d) {
        for (double& x : a) x = d++;
    };
    results.Modes.mForces.Take(6, 6, kWork);
    results.Modes.mDipoles.Take(6, 3, kWork);
    results.Modes.nModes = 6;
    results.Modes.nExternalModes = 5;
    results.Modes.vFrequencies.Take(6, kWork);
    results.Modes.vIntensities.Take(6, kWork);
    results.Modes.mModes.Take(6, 6, kWork);
    fill(results.Modes.mForces, 0);
    fill(results.Modes.mDipoles, 0);
    fill(results.Modes.vFrequencies, 100);
    fill(results.Modes.vIntensities, 200);
    fill(results.Modes.mModes, 300);
    results.Modes.nPoints = 12;
    results.Modes.nCycles = 77;
    results.Modes.nUnconverged = 3;
    results.Modes.nWorkers = 2;
    EXPECT_TRUE(Send(Word(0x1FF)).count(9) == 0) << "not asked for";
    const std::vector<double> values = Send(Word(1U << 9)).at(9);
    ASSERT_EQ(values.size(), 4u + 36 + 18 + 6 + 6 + 36);
    int nHead[6];
    long long nCycles = 0;
    std::memcpy(nHead, values.data(), sizeof nHead);
    std::memcpy(&nCycles, &values[3], sizeof nCycles);
    const int wanted[6] = {6, 5, 12, 3, 2, 0};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(nHead[i], wanted[i]) << i;
    EXPECT_EQ(nCycles, 77);
    const int place[6] = {3, 4, 5, 0, 1, 2};
    for (std::size_t i = 0; i < 6; ++i) {
        for (std::size_t j = 0; j < 6; ++j) {
            EXPECT_EQ(values[4 + 6 * i + j], 6 * place[i] + place[j]);
            EXPECT_EQ(values[70 + 6 * i + j], 300.0 + 6.0 * static_cast<double>(i) + place[j]);
        }
        for (std::size_t c = 0; c < 3; ++c)
            EXPECT_EQ(values[40 + 3 * i + c], 3.0 * place[i] + static_cast<double>(c));
        EXPECT_EQ(values[58 + i], 100.0 + static_cast<double>(i));
        EXPECT_EQ(values[64 + i], 200.0 + static_cast<double>(i));
    }
}

TEST_F(Sections, AreSentForTheirMarkAlone) {
    BuildThree(kPm3);
    for (const int nWord :
         {0, 1, -1, 0x7FFFFF, 0x3358524F, 0x31FFFFFF, static_cast<int>(0xB200003F)}) {
        options.nExtensions = nWord;
        SendPreciseResults();
        EXPECT_TRUE(client.Sent.empty()) << nWord;
    }
}

TEST_F(Sections, OfEnergiesHaveEachInItsPlace) {
    BuildThree(kPm3);
    scf.dTotalEnergy = -1.0 / 3;
    scf.dElectronic = 2;
    scf.dCoreRepulsion = 3;
    setup.dAtomicEnergy = 4;
    scf.dBinding = 5;
    scf.dHeatOfFormation = 6;
    scf.dStateCorrection = 7;
    for (int i = 0; i < 4; ++i) gradient.dRestraintEnergy[i] = 8 + i;
    gradient.dRmsGradient = 12;
    const std::vector<double> expected = {-1.0 / 3, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(Send(Word(1))[0], expected);
}

TEST_F(Sections, OfAGradientAndOfPlacesAreInAngstromByAtom) {
    for (const int nMethod : {kPm3, kZindo1}) {
        BuildThree(nMethod);
        Found found = Send(kAllSections);
        const double f = nMethod == kPm3 ? 1 : 1.889725985, a = nMethod == kPm3 ? 1 : 1.889726;
        const double expected[] = {4, 5, 6, 0, 0, 0, 1, 2, 3};
        const double xyz[] = {1, 2, 3, 4, 5, 6, 7, 8, 1.0 / 3};
        ASSERT_EQ(found[1].size(), 9u);
        ASSERT_EQ(found[3].size(), 9u);
        for (std::size_t i = 0; i < 9; ++i) {
            EXPECT_DOUBLE_EQ(found[1][i], f * expected[i]);
            EXPECT_DOUBLE_EQ(found[3][i], xyz[i] / a);
        }
    }
}

TEST_F(Sections, OfADipoleAreItsParts) {
    BuildThree(kPm3);
    std::vector<double> expected;
    for (auto& row : properties.dDipoleTable)
        for (double& d : row) expected.push_back(d = 0.1 + static_cast<double>(expected.size()));
    EXPECT_EQ(Send(Word(4))[2], expected);
}

TEST_F(Sections, OfChargesAreTheComputedOnesAndOutsideThoseThatCame) {
    BuildThree(kPm3);
    system.pAtoms[1].flCharge = -0.25F;
    properties.vCharge[0] = 0.1;
    properties.vCharge[1] = 0.2;
    EXPECT_EQ(Send(Word(16))[4], (std::vector<double>{0.2, -0.25, 0.1}));
}

TEST_F(Sections, ThatAreNotThereAreLeftOut) {
    Build({.Atoms = {{1, 1}}});
    const Found found = Send(kAllSections);
    EXPECT_EQ(found.count(kGradientSection), 0u);
    EXPECT_EQ(found.count(kDipoleSection), 0u) << "of a single atom";
    EXPECT_EQ(found.size(), 5u);
    BuildThree(kPm3);
    gradient.fComputed = false;
    EXPECT_EQ(Send(kAllSections).count(kGradientSection), 0u);
}

TEST_F(Sections, OfTheScfStartTheNextCount) {
    BuildThree(kPm3);
    ScfRecord& account = scf.Account;
    account.fConverged = account.nTest = 1;
    account.nCycles = 17;
    account.nRuns = 9;
    account.nUnconverged = 5;
    account.nRunsSince = 4;
    account.nUnconvergedSince = 3;
    account.dDifference = 0.25;
    account.dLimit = 0.5;
    account.dFinalDifference = 0.125;
    account.dWorstDifference = 12;
    Send(Word(1));  // not a section of the SCF
    const std::vector<double> values = Send(Word(32))[5];
    ASSERT_EQ(values.size(), 8u);
    int words[8];
    std::memcpy(words, values.data(), sizeof words);
    const int expected[] = {1, 1, 17, 9, 5, 4, 3, 0};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(words[i], expected[i]) << i;
    EXPECT_EQ(std::vector<double>(values.begin() + 4, values.end()),
              (std::vector<double>{0.25, 0.5, 0.125, 12}));
    EXPECT_EQ(account.nRuns, 9);
    EXPECT_EQ(account.nUnconverged, 5);
    EXPECT_EQ(account.nRunsSince, 0);
    EXPECT_EQ(account.nUnconvergedSince, 0);
    EXPECT_EQ(account.dWorstDifference, 0.0);
}

TEST_F(Sections, ComeInPacketsOfTheLargestPayload) {
    SectionBlock block;
    double* p = block.Add(77, 5000);
    for (int i = 0; i < 5000; ++i) p[i] = i;
    block.Add(78, 0);
    block.AddRecord(79, EnergyRecord{.dTotal = 1.5});
    block.Send();
    ASSERT_EQ(client.Sent.size(), 3u);
    EXPECT_EQ(client.Sent[0].Payload.size(), 16384u);
    EXPECT_EQ(client.Sent[1].Payload.size(), 16384u);
    Found found = Read();
    ASSERT_EQ(found.size(), 3u);
    for (std::size_t i = 0; i < 5000; ++i) EXPECT_EQ(found[77][i], static_cast<double>(i));
    EXPECT_TRUE(found[78].empty());
    EXPECT_EQ(found[79][0], 1.5);
    EXPECT_EQ(found[79].size(), 12u);
}

TEST_F(Sections, TooLongForTheirWordAreNoSections) {
    SectionBlock block;
    EXPECT_EQ(block.Add(1, std::size_t{1} << 28), nullptr);
    EXPECT_EQ(block.Add(1, static_cast<std::size_t>(-1)), nullptr);
    block.Send();
    EXPECT_TRUE(Read().empty());
}

TEST_F(Sections, SayThatMemoryIsExhausted) {
    SectionBlock block;
    const std::size_t nBefore = memory.nBytesHeld;
    memory = MemoryState{.nFailAt = 0, .nBytesHeld = nBefore};
    EXPECT_THROW(block.Add(1, 1000), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgOutOfMemory)});
    EXPECT_EQ(memory.nBytesHeld, nBefore);
    block.Send();
    EXPECT_EQ(client.Sent.back().Payload.size(), 8u) << "what was there stays";
}

}  // namespace
}  // namespace qsolve
