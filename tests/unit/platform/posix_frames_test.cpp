#include "platform/posix_frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "link/conversation.h"
#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr std::uint32_t kStrange = 0x1234;

class Frames : public FreshState {
  protected:
    Frames() {
        NewScriptedClient();
        link.fConversation = false;
    }
    void Feed(std::uint32_t nCode, const std::string& sBody) {
        FeedHead(nCode, static_cast<std::uint32_t>(sBody.size()));
        stream.In.insert(stream.In.end(), sBody.begin(), sBody.end());
    }
    void FeedHead(std::uint32_t nCode, std::uint32_t nBytes) {
        const std::uint32_t words[2] = {nCode, nBytes};
        const auto* p = reinterpret_cast<const unsigned char*>(words);
        stream.In.insert(stream.In.end(), p, p + sizeof words);
    }
    void Connect() {
        Feed(kTransactionConnect, std::string("qsolve\0CalcBackend\0", 19));
        ASSERT_EQ(HandleFrame(stream), FrameResult::kHandled);
        stream.Out.clear();
    }
    /// A packet of so many bytes waits to be fetched.
    static void Offer(int nLength) {
        link.SendBuffer.Header = {nLength, kPacketData, 1, 0, 0};
        link.fPacketPending = true;
    }
    /// Word i of what has been answered.
    std::uint32_t Word(std::size_t i) const {
        std::uint32_t n = 0;
        EXPECT_LE((i + 1) * 4, stream.Out.size());
        if ((i + 1) * 4 <= stream.Out.size()) std::memcpy(&n, stream.Out.data() + 4 * i, 4);
        return n;
    }
    FrameStream stream;
};

TEST_F(Frames, ConnectIsAnsweredWithOneOrZero) {
    Feed(kTransactionConnect, std::string("qsolve\0CalcBackend\0", 19));
    Feed(kTransactionConnect, std::string("qsolve\0CalcBackend\0", 19));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(Word(0), kTransactionConnect);
    EXPECT_EQ(Word(1), 4u);
    EXPECT_EQ(Word(2), 1u);
    EXPECT_EQ(Word(5), 0u);
    EXPECT_TRUE(link.fConversation);
}

TEST_F(Frames, AFrameIsHandledOnlyWhenItHasComeWhole) {
    Feed(kTransactionConnect, std::string("qsolve\0CalcBackend\0", 19));
    const std::vector<unsigned char> whole = stream.In;
    for (std::size_t n = 0; n < whole.size(); ++n) {
        stream.In.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        EXPECT_EQ(HandleFrame(stream), FrameResult::kNothing) << n << " bytes";
    }
    EXPECT_TRUE(stream.Out.empty());
}

TEST_F(Frames, NothingButConnectIsUnderstoodWithoutAConversation) {
    for (const std::uint32_t nCode : {kTransactionRequest, kTransactionPoke, kTransactionExecute}) {
        stream = FrameStream{};
        Feed(nCode, std::string("Packet\0", 7));
        EXPECT_EQ(HandleFrame(stream), FrameResult::kViolation) << nCode;
    }
}

TEST_F(Frames, StrangeCodesAndMissingNamesAreViolations) {
    Connect();
    Feed(kStrange, "");
    EXPECT_EQ(HandleFrame(stream), FrameResult::kViolation);
    Feed(kTransactionPoke, "Packet without its end");
    EXPECT_EQ(HandleFrame(stream), FrameResult::kViolation);
}

TEST_F(Frames, AnnouncedSizeIsBoundedByWhatTheSessionAsksFor) {
    Connect();
    const auto nSmall = static_cast<std::uint32_t>(FrameBound());
    EXPECT_GE(nSmall, 92400u + 20u + 7u);
    FeedHead(kTransactionPoke, nSmall + 1);
    EXPECT_EQ(HandleFrame(stream), FrameResult::kViolation);

    link.nReceiveCapacity = 1 << 20;
    EXPECT_GE(FrameBound(), std::size_t{1 << 20} + 20 + 7);
    link.nReceiveCapacity = 2000000000;
    EXPECT_EQ(FrameBound(), kFrameCeiling);
    stream = FrameStream{};
    FeedHead(kTransactionPoke, 0xFFFFFFFF);
    EXPECT_EQ(HandleFrame(stream), FrameResult::kViolation);
}

TEST_F(Frames, RequestOutsideASessionIsAnsweredAtOnceWithIdle) {
    Connect();
    Feed(kTransactionRequest, std::string("Packet\0", 7));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(Word(1), 4u);
    EXPECT_EQ(Word(2), 0u);
}

TEST_F(Frames, RequestInASessionIsHeldUntilThereIsAPacket) {
    Connect();
    link.fInSession = true;
    Feed(kTransactionRequest, std::string("Packet\0", 7));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_TRUE(stream.fRequestHeld);
    EXPECT_TRUE(stream.Out.empty());

    link.SendBuffer.Header = {3, kPacketLogLine, 1, 0, 0};
    std::memcpy(link.SendBuffer.Payload, "ab", 3);
    link.fPacketPending = true;
    AnswerWithPacket(stream);
    EXPECT_FALSE(stream.fRequestHeld);
    EXPECT_FALSE(link.fPacketPending);
    EXPECT_EQ(Word(1), 23u);
    EXPECT_EQ(Word(2), 3u);
    EXPECT_EQ(Word(3), static_cast<std::uint32_t>(kPacketLogLine));
    EXPECT_EQ(stream.Out.size(), 8u + 23u);
}

TEST_F(Frames, RequestOfAnotherItemTellsTheSessionAndKeepsThePacket) {
    Connect();
    link.fInSession = link.fPacketPending = true;
    Feed(kTransactionRequest, std::string("Parcel\0", 7));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(Word(2), 1u);
    EXPECT_TRUE(link.fPacketPending);
}

TEST_F(Frames, HeldRequestIsAnsweredIdleWhenTheSessionEnds) {
    Connect();
    link.fInSession = true;
    Feed(kTransactionRequest, std::string("Packet\0", 7));
    HandleFrame(stream);
    link.fInSession = false;
    AnswerIdle(stream);
    EXPECT_EQ(Word(2), 0u);
    stream.Out.clear();
    AnswerIdle(stream);
    EXPECT_TRUE(stream.Out.empty());
}

TEST_F(Frames, AFloodOfRequestsWaitsBehindTheHeldOne) {
    Connect();
    link.fInSession = true;
    for (int i = 0; i < 3; ++i) Feed(kTransactionRequest, std::string("Packet\0", 7));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_TRUE(IsBlocked(stream));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kNothing);
}

TEST_F(Frames, ARequestForTheSessionBringsAllPacketsAndTheEnd) {
    Connect();
    link.fInSession = true;
    Feed(kTransactionRequest, std::string("session\0", 8));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    for (int i = 1; i <= 3; ++i) {
        Offer(i);
        EXPECT_TRUE(AnswerWithPacket(stream));
        EXPECT_FALSE(link.fPacketPending);
        EXPECT_EQ(Word(1), sizeof(PacketHeader) + static_cast<std::uint32_t>(i));
        EXPECT_TRUE(HasMoreCome(stream)) << "the next packet may join it";
        stream.Out.clear();
    }
    EXPECT_FALSE(AnswerWithPacket(stream)) << "none is pending";
    AnswerIdle(stream);
    EXPECT_EQ(stream.Out.size(), kFrameHead + 4);
    EXPECT_EQ(Word(2), 0u);
    EXPECT_FALSE(HasMoreCome(stream));
    Offer(1);
    EXPECT_FALSE(AnswerWithPacket(stream)) << "it ends with its session";
}

TEST_F(Frames, WhatBelongsToTheNextSessionWaitsForTheEndOfThisOne) {
    std::string sPackets("Packets\0", 8);
    sPackets.append(sizeof(PacketHeader), '\0');
    const std::pair<std::uint32_t, std::string> frames[] = {
        {kTransactionPoke, sPackets},
        {kTransactionExecute, std::string("[reset]\0", 8)},
        {kTransactionRequest, std::string("Session\0", 8)},
        {kTransactionRequest, std::string("Packet\0", 7)},
    };
    for (const auto& [nCode, sBody] : frames) {
        stream = FrameStream{};
        link.fConversation = false;
        Connect();
        link.fInSession = true;
        Feed(kTransactionRequest, std::string("Session\0", 8));
        Feed(nCode, sBody);
        EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
        EXPECT_TRUE(IsBlocked(stream)) << nCode;
        EXPECT_EQ(HandleFrame(stream), FrameResult::kNothing) << nCode;
        AnswerIdle(stream);
        link.fInSession = false;
        EXPECT_FALSE(IsBlocked(stream)) << nCode;
        EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled) << nCode;
    }
}

TEST_F(Frames, ADemandedPokeAndAFarewellDoNotWaitBehindARequestForTheSession) {
    Connect();
    link.fInSession = link.fAwaitingPoke = true;
    Feed(kTransactionRequest, std::string("Session\0", 8));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    Feed(kTransactionPoke, std::string("Packet\0", 7).append(20, '\0'));
    Feed(kTransactionDisconnect, "");
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(Word(2), static_cast<std::uint32_t>(kAcknowledged));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kClosed);
}

TEST_F(Frames, PacketsOfASessionWaitForRoomAndTakeNoMemory) {
    ASSERT_TRUE(MakeRoom(stream, 0));
    const auto* pOut = stream.Out.data();
    stream.fRequestHeld = stream.fAllAsked = true;
    int nAnswered = 0;
    for (Offer(kMaxPayload); AnswerWithPacket(stream); Offer(kMaxPayload)) ++nAnswered;
    EXPECT_EQ(nAnswered, 1);
    EXPECT_TRUE(link.fPacketPending) << "it is kept";
    AnswerIdle(stream);
    EXPECT_EQ(stream.Out.data(), pOut);
    stream.fRequestHeld = stream.fAllAsked = true;
    stream.Out.clear();
    EXPECT_TRUE(AnswerWithPacket(stream));
}

TEST_F(Frames, PokeAndDisconnectPassAHeldRequest) {
    Connect();
    link.fInSession = link.fAwaitingPoke = true;
    Feed(kTransactionRequest, std::string("Packet\0", 7));
    Feed(kTransactionPoke, std::string("Packet\0", 7).append(20, '\0'));
    Feed(kTransactionDisconnect, "");
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(Word(0), kTransactionPoke);
    EXPECT_EQ(Word(2), static_cast<std::uint32_t>(kAcknowledged));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kClosed);
}

TEST_F(Frames, ExecuteIsAcknowledged) {
    Connect();
    Feed(kTransactionExecute, std::string("[Reset]\0", 8));
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(Word(2), 0x8000u);
}

TEST_F(Frames, RoomForAnyFrameAndAnswerIsTakenOnce) {
    std::vector<unsigned char> asked(1000000);
    link.nReceiveCapacity = static_cast<int>(asked.size());
    ASSERT_TRUE(MakeRoom(stream, asked.size()));
    const auto* pIn = stream.In.data();
    const auto* pOut = stream.Out.data();
    const std::vector<unsigned char> body(FrameBound(), 'x');
    FeedHead(kStrange, static_cast<std::uint32_t>(body.size()));
    for (std::size_t nFed = 0; nFed < body.size();) {
        const std::size_t n = std::min(Room(stream), body.size() - nFed);
        ASSERT_GT(n, 0u) << nFed;
        TakeIn(stream, body.data() + nFed, n);
        nFed += n;
    }
    EXPECT_EQ(stream.In.data(), pIn);
    link.SendBuffer.Header.nLength = kMaxPayload;
    link.fPacketPending = stream.fRequestHeld = true;
    AnswerWithPacket(stream);
    EXPECT_EQ(stream.Out.data(), pOut);
    EXPECT_EQ(stream.Out.size(), kFrameHead + sizeof(PacketHeader) + kMaxPayload);
}

TEST_F(Frames, WhatAnUnusualDemandTookIsGivenBack) {
    ASSERT_TRUE(MakeRoom(stream, 0));
    const std::size_t nUsual = stream.In.capacity();
    ASSERT_TRUE(MakeRoom(stream, 1000000));
    Connect();
    EXPECT_GE(Room(stream), 1000000u);
    ASSERT_TRUE(MakeRoom(stream, 1000));
    EXPECT_EQ(stream.In.capacity(), nUsual);
}

TEST_F(Frames, ForgettingLeavesTheRoom) {
    ASSERT_TRUE(MakeRoom(stream, 0));
    const std::size_t nRoom = Room(stream);
    Connect();
    Feed(kStrange, "abc");
    stream.fRequestHeld = stream.fAllAsked = true;
    stream.nOutSent = 3;
    Forget(stream);
    EXPECT_EQ(Room(stream), nRoom);
    EXPECT_EQ(HandleFrame(stream), FrameResult::kNothing);
    EXPECT_TRUE(stream.Out.empty());
    EXPECT_EQ(stream.nOutSent, 0u);
    EXPECT_FALSE(stream.fRequestHeld || stream.fAllAsked);
}

TEST_F(Frames, PacketsAheadAreKeptForTheNextSession) {
    Connect();
    const PacketHeader header{2, kPacketData, 0, 1, 0};
    std::string sBody("Packets\0", 8);
    sBody.append(reinterpret_cast<const char*>(&header), sizeof header).append("ab");
    Feed(kTransactionPoke, sBody);
    EXPECT_EQ(HandleFrame(stream), FrameResult::kHandled);
    EXPECT_EQ(Word(2), static_cast<std::uint32_t>(kAcknowledged));
    char buffer[8] = {};
    EXPECT_TRUE(TakeAhead(buffer, 8));
    EXPECT_STREQ(buffer, "ab");
}

TEST_F(Frames, AnswersWaitForEachOtherOnlyWhereThereIsRoomAndAWholeFrame) {
    Connect();
    EXPECT_FALSE(HasMoreCome(stream));
    Feed(kTransactionRequest, std::string("Packet\0", 7));
    EXPECT_TRUE(HasMoreCome(stream));
    stream.In.pop_back();
    EXPECT_FALSE(HasMoreCome(stream));
    stream.In.push_back(0);
    ASSERT_TRUE(MakeRoom(stream, 0));
    while (HasMoreCome(stream)) stream.Out.push_back(0);
    const std::size_t nLargest = kFrameHead + sizeof(PacketHeader) + kMaxPayload;
    EXPECT_GE(stream.Out.capacity() - stream.Out.size() + 1, nLargest);
}

}  // namespace
}  // namespace qsolve
