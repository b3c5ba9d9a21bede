#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "session/session.h"
#include "tests/support/fresh_state.h"
#include "tests/support/job_script.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Session : public FreshState {
  protected:
    Session() { NewScriptedClient(); }

    /// Plays a session with a client that has heard nothing yet.
    static void Play(const JobScript& script) {
        client.Sent.clear();
        client.nDemands = 0;
        PlaySession(script);
    }
};

JobScript Nothing() {
    JobScript script = Water();
    script.Options.fCalculate = 0;
    return script;
}

TEST_F(Session, FirstOneSendsTheNodeCountAndPullsTheParameters) {
    Play(Nothing());
    ASSERT_EQ(client.Sent.size(), 1u);
    EXPECT_EQ(client.Sent[0].Payload, (std::vector<unsigned char>{1, 0, 0, 0}));
    EXPECT_EQ(client.nDemands, 6);
    EXPECT_TRUE(parameters.fLoaded);
    EXPECT_TRUE(client.fSessionEnded);
    EXPECT_FALSE(link.fInSession);
}

TEST_F(Session, LaterOnesPullNoParameters) {
    Play(Nothing());
    Play(Nothing());
    EXPECT_TRUE(client.Sent.empty());
    EXPECT_EQ(client.nDemands, 3);
}

TEST_F(Session, UnknownKindsOfJobRunNothingAndEndNormally) {
    for (const int nKind : {3, 9, 1000, -1}) {
        JobScript script = Water();
        script.Job.nCalcKind = nKind;
        Play(script);
        EXPECT_TRUE(client.Errors().empty()) << nKind;
        EXPECT_TRUE(client.Log().empty()) << nKind;
        EXPECT_TRUE(client.Script.empty()) << nKind;
    }
}

TEST_F(Session, DynamicsOfAnUnknownKindOnlySetUp) {
    JobScript script = Water();
    script.Job.nCalcKind = kMolecularDynamics;
    script.Job.nMdKind = 3;
    Play(script);
    EXPECT_TRUE(client.Errors().empty());
    EXPECT_FALSE(client.Log().empty());
}

TEST_F(Session, VibrationsOnAStoredMatrixNeedOne) {
    JobScript script = Water();
    script.Job.nCalcKind = kVibrations;
    Play(script);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgForceMatrixMissing)});
}

TEST_F(Session, PlotWithoutACalculationIsRefused) {
    JobScript script = Nothing();
    script.Options.fPlot = 1;
    Play(script);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgNothingToPlot)});
}

TEST_F(Session, FailedJobStillRunsThePlotStep) {
    JobScript script = Water();
    script.Options.nMultiplicity = 2;
    script.Options.fPlot = 1;
    Play(script);
    ASSERT_EQ(client.Errors().size(), 2u);
    EXPECT_EQ(client.Errors()[1], MessageText(kMsgNothingToPlot));
}

TEST_F(Session, AnErrorThatNobodyForesawIsToldAndTheNextOneStartsClean) {
    client.DuringPump = [] { throw 42; };
    Play(Water());
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgFatalError)});
    client.DuringPump = nullptr;
    client.Script.clear();
    Play(Nothing());
    EXPECT_TRUE(client.Errors().empty());
}

TEST_F(Session, FailedIntakeFreesTheMoleculeAndTheNextOneStartsClean) {
    JobScript script = Water();
    script.Atoms[1].flX = 1e30F;
    Play(script);
    EXPECT_EQ(client.Errors().size(), 1u);
    EXPECT_FALSE(system.pAtoms);
    client.Script.clear();
    Play(Nothing());
    EXPECT_TRUE(client.Errors().empty());
}

TEST_F(Session, RemembersTheOptionsThatTheNextIntakeOverwrites) {
    JobScript script = Water();
    script.Options.nSpinTreatment = 1;
    script.Options.fDiis = 1;
    script.Options.nCiKind = 2;
    script.Job.nCalcKind = kVibrations;
    Play(script);
    EXPECT_EQ(session.nPrevSpinTreatment, 1);
    EXPECT_EQ(session.nPrevDiis, 1);
    EXPECT_EQ(session.nPrevCiKind, 2);
    EXPECT_EQ(session.nPrevCalcKind, kVibrations);
}

TEST_F(Session, AnotherMethodThanTheLoadedOneIsRefused) {
    Play(Nothing());
    Play(Water(kPm3));
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_NE(client.Errors()[0].find('6'), std::string::npos);
}

TEST_F(Session, CndoAndIndoShareTheirTables) {
    JobScript script = Water(kCndo);
    script.Job.nCalcKind = kMolecularDynamics;
    script.Job.nMdKind = 3;
    Play(script);
    script.nMethod = kIndo;
    Play(script);
    EXPECT_TRUE(client.Errors().empty());
}

TEST_F(Session, AskedForDuringASessionFollowsIt) {
    client.DuringPump = [] { HandleProcessMessage(Message::kStartSession); };
    client.fSessionEnded = false;
    Play(Water());
    EXPECT_FALSE(link.fStartDeferred);
    EXPECT_FALSE(client.fSessionEnded) << "the client hears of no end before the second session";
}

TEST_F(Session, LostClientEndsItWithoutAText) {
    for (int nFetch = 0; nFetch < 8; ++nFetch) {
        ResetAllState();
        NewScriptedClient();
        client.nHangUpAfter = nFetch;
        EXPECT_THROW(PlaySession(Water()), LinkStop) << nFetch;
        EXPECT_TRUE(client.Printed.empty());
        EXPECT_FALSE(link.fInSession);
        EXPECT_FALSE(link.fPacketPending);
        EXPECT_EQ(link.pReceiveBuffer, nullptr);
    }
}

TEST_F(Session, LinkLostEndsTheProcess) {
    HandleProcessMessage(Message::kLinkLost);
    EXPECT_TRUE(link.fQuit);
    EXPECT_TRUE(link.fLinkDown);
}

/// What a client hears of a session: kinds and bytes of all packets.
std::vector<std::pair<int, std::vector<unsigned char>>> Heard() {
    std::vector<std::pair<int, std::vector<unsigned char>>> heard;
    for (const SentPacket& packet : client.Sent) heard.emplace_back(packet.nType, packet.Payload);
    return heard;
}

class AllocationFailure : public Session, public testing::WithParamInterface<int> {};

/// Plays the job with allocation n failing; whether there was such an allocation. The texts of the
/// failure must be those of memory, nothing may stay behind, and the same job played again must
/// give what a fresh process gives.
bool FailAllocation(const JobScript& script, long long n, bool fFromThenOn,
                    const decltype(Heard())& expected) {
    ResetAllState();
    NewScriptedClient();
    memory.nFailAt = n;
    memory.fFailFromThenOn = fFromThenOn;
    PlaySession(script);
    const bool fFailed = memory.nTaken > n;
    memory.nFailAt = -1;
    if (!fFailed) return false;
    bool fMemoryText = false;
    for (const std::string& sText : client.Errors())
        for (const MessageId id :
             {kMsgOutOfMemorySetUp, kMsgOutOfMemory, kMsgOutOfMemoryRestraints})
            fMemoryText = fMemoryText || sText == MessageText(id);
    EXPECT_TRUE(fMemoryText) << "allocation " << n;
    NewScriptedClient();
    const bool fTables = parameters.fLoaded;
    PlaySession(script);
    auto heard = Heard();
    if (fTables) heard.insert(heard.begin(), expected.front());  // the node count came before
    EXPECT_EQ(heard, expected) << "after the failure of allocation " << n;
    return true;
}

/// Lets every allocation of a job fail, one by one.
void FailAllAllocations(const JobScript& script) {
    ResetAllState();
    NewScriptedClient();
    PlaySession(script);
    const auto expected = Heard();
    for (const bool fFromThenOn : {false, true}) {
        long long n = 0;
        while (FailAllocation(script, n, fFromThenOn, expected)) ++n;
        EXPECT_GT(n, 20);
    }
    ResetAllState();
    EXPECT_EQ(memory.nBytesHeld, 0u);
}

TEST_P(AllocationFailure, IsReportedLeavesNothingAndSparesTheNextSession) {
    JobScript script = Water(GetParam());
    script.Options.nSpinTreatment = 1;
    script.Job.fRestraints = 1;
    RestraintRecord stretch;
    stretch.nKind = kStretch;
    stretch.nAtom[1] = 1;
    script.Restraints[kStretch].push_back(stretch);
    FailAllAllocations(script);
}

INSTANTIATE_TEST_SUITE_P(Methods, AllocationFailure, testing::Range(1, 10));

TEST_F(Session, FailedAllocationOfAnInteractionSparesTheNextSession) {
    for (const int nCiKind : {kSingles, kMicrostates}) {
        JobScript script = Water(kZindoS);
        script.Options.nCiKind = nCiKind;
        script.Options.nCiSelection = script.Options.nCiOccupied = script.Options.nCiUnoccupied = 1;
        script.Options.fNextLowestState = 1;
        FailAllAllocations(script);
    }
}

}  // namespace
}  // namespace qsolve
