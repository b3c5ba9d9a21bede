#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "exchange/results.h"
#include "job/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class ModeDelivery : public FreshState {
  protected:
    ModeDelivery() { NewScriptedClient(); }
    static int Word(std::size_t nPacket) {
        int n = -1;
        EXPECT_EQ(client.Sent.at(nPacket).Payload.size(), sizeof n);
        std::memcpy(&n, client.Sent[nPacket].Payload.data(), sizeof n);
        return n;
    }
};

TEST_F(ModeDelivery, SendsTwoCountsOfZeroWhereThereAreNoModes) {
    SendVibrations();
    ASSERT_EQ(client.Sent.size(), 2u);
    EXPECT_EQ(Word(0), 0);
    EXPECT_EQ(Word(1), 0);
}

TEST_F(ModeDelivery, SendsRecordsAndRowsInTheOrderOfTheAtoms) {
    Build({.Atoms = {{1, 1}, {8, 4}, {6, 4}}, .Selection = {2, 1, 3}});
    system.pAtoms[2].nState = kCapping;
    system.nCapping = 1;
    job.nCalcKind = kVibrations;
    ModeResults& modes = results.Modes;
    modes.nModes = 6;
    modes.Records.Take(6, kWork);
    modes.mModes.Take(6, 6, kWork);
    for (int p = 0; p < 6; ++p) {
        modes.Records[p] = {.flFrequency = 100.0F * static_cast<float>(p),
                            .nIndex = p,
                            .flIntensity = 1.0F,

                            .nSymmetryIndex = p + 1,
                            .sSymmetryLabel = {'A', '1', 0, 0}};
        for (int i = 0; i < 6; ++i) modes.mModes[6 * p + i] = 10.0 * p + i;
    }
    SendVibrations();
    ASSERT_EQ(client.Sent.size(), 4u);
    EXPECT_EQ(Word(0), 6);
    EXPECT_EQ(Word(2), 6);
    ASSERT_EQ(client.Sent[1].Payload.size(), 6 * 32u);
    ModeRecord record;
    std::memcpy(&record, client.Sent[1].Payload.data() + 4 * 32, sizeof record);
    EXPECT_EQ(record.flFrequency, 400.0F);
    EXPECT_EQ(record.nIndex, 4);
    EXPECT_EQ(record.nSymmetryIndex, 5);
    EXPECT_STREQ(record.sSymmetryLabel, "A1");
    ASSERT_EQ(client.Sent[3].Payload.size(), 36 * sizeof(float));
    float row[6];
    std::memcpy(row, client.Sent[3].Payload.data() + 5 * sizeof row, sizeof row);
    const float expected[] = {53, 54, 55, 50, 51, 52};  // the first atom stands second in the list
    for (int i = 0; i < 6; ++i) EXPECT_EQ(row[i], expected[i]) << i;
}

}  // namespace
}  // namespace qsolve
