#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "job/state.h"
#include "link/packets.h"
#include "scf/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Vibrations of water on its own, and then once more from the matrix that they have left.
class KeptForceMatrix : public FreshState {
  protected:
    KeptForceMatrix() : script(Water(kAm1)) {
        script.Job.nCalcKind = kVibrations;
        script.Options.fComputeForceMatrix = 1;
        script.Options.flConvergenceLimit = 1e-8F;
        NewScriptedClient();
        PlaySession(script);
        first = Frequencies();
        NewScriptedClient();
        script.Options.fComputeForceMatrix = 0;
    }

    /// Of the modes that were sent, 1/cm, without the motions of the whole.
    static std::vector<float> Frequencies() {
        std::vector<float> found;
        for (const SentPacket& packet : client.Sent) {
            if (packet.Payload.size() != 9 * sizeof(ModeRecord)) continue;
            for (int i = 0; i < 3; ++i) {
                ModeRecord record;
                std::memcpy(&record, packet.Payload.data() + i * sizeof record, sizeof record);
                found.push_back(record.flFrequency);
            }
        }
        return found;
    }

    JobScript script;
    std::vector<float> first;
};

TEST_F(KeptForceMatrix, HasTheSameModesAndNoScfIsRun) {
    ASSERT_EQ(first.size(), 3u);
    const int nRuns = scf.nScfRuns;
    PlaySession(script);
    EXPECT_TRUE(client.Errors().empty());
    EXPECT_EQ(Frequencies(), first);
    EXPECT_EQ(scf.nScfRuns, nRuns);
}

TEST_F(KeptForceMatrix, OfAtomsFourTimesAsHeavyHasHalfTheFrequencies) {
    for (AtomRecord& atom : script.Atoms) atom.flMass *= 4.0F;
    PlaySession(script);
    const std::vector<float> halved = Frequencies();
    ASSERT_EQ(halved.size(), first.size());
    for (std::size_t i = 0; i < first.size(); ++i) EXPECT_FLOAT_EQ(halved[i], 0.5F * first[i]);
}

}  // namespace
}  // namespace qsolve
