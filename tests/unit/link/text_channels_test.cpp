#include <gtest/gtest.h>

#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class TextChannels : public FreshState {
  protected:
    TextChannels() { NewScriptedClient(); }
};

TEST_F(TextChannels, EachHasItsPacketAndTheTextItsNul) {
    link.fShowWarnings = true;
    LogLine("log");
    StatusLine("status");
    WarningLine("warning");
    ErrorLine("error");
    DebugLine("debug");
    ASSERT_EQ(client.Sent.size(), 5u);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(client.Sent[i].nType, kPacketLogLine + static_cast<int>(i));
        EXPECT_EQ(client.Sent[i].Payload.back(), 0);
    }
    EXPECT_EQ(client.Log(), std::vector<std::string>{"log"});
}

TEST_F(TextChannels, WarningsAreSilentUnlessShown) {
    Warn(kMsgLargeCi);
    EXPECT_TRUE(client.Sent.empty());
    link.fShowWarnings = true;
    Warn(kMsgLargeCi);
    EXPECT_EQ(client.Warnings().size(), 1u);
}

TEST_F(TextChannels, LogFormatIsSilentUnlessReportsAreWanted) {
    LogFormat(kMsgElectrons, 10);
    EXPECT_TRUE(client.Sent.empty());
    link.fLogReports = true;
    LogFormat(kMsgElectrons, 10);
    EXPECT_EQ(client.Log(), std::vector<std::string>{"Number of electrons = 10"});
}

TEST_F(TextChannels, TextGoesToStandardOutputWhileTheLinkIsDown) {
    link.fLinkDown = true;
    LogLine("log");
    ErrorLine("error");
    EXPECT_EQ(client.Printed, (std::vector<std::string>{"log", "error"}));
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(TextChannels, ALineLongerThanAPacketIsCut) {
    LogLine(std::string(20000, 'x').c_str());
    ASSERT_EQ(client.Sent.size(), 1u);
    EXPECT_EQ(client.Sent[0].Payload.size(), std::size_t{kMaxPayload});
    EXPECT_EQ(client.Sent[0].Payload.back(), 0);
}

TEST_F(TextChannels, FatalSaysItsTextOnceAndUnwindsWithItsNumber) {
    try {
        Fatal(kMsgMassTooSmall, 3, 0.5);
        FAIL();
    } catch (const Unwinding& unwinding) {
        EXPECT_EQ(unwinding.nId, 24736);
    }
    EXPECT_EQ(client.Errors(),
              std::vector<std::string>{"The mass for atom 3 is too small (0.500000)."});
    EXPECT_FALSE(link.fInFatal);
}

TEST_F(TextChannels, FatalInsideTheReportOfAFailureIsNotReported) {
    link.fInFatal = true;
    EXPECT_THROW(Fatal(kMsgOutOfMemory), Unwinding);
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(TextChannels, FatalWithoutAClientBecomesTheSilentStop) {
    client.nHangUpAfter = 0;
    EXPECT_THROW(Fatal(kMsgOutOfMemory), LinkStop);
    EXPECT_FALSE(link.fInFatal);
}

}  // namespace
}  // namespace qsolve
