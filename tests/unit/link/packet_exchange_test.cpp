#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "link/conversation.h"
#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class PacketExchange : public FreshState {
  protected:
    PacketExchange() { NewScriptedClient(); }
};

std::vector<unsigned char> Bytes(std::size_t n) {
    std::vector<unsigned char> bytes(n);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

TEST_F(PacketExchange, SendsAPacketWithItsHeader) {
    SendPacket(kPacketCharges, "abc", 3);
    ASSERT_EQ(client.Sent.size(), 1u);
    EXPECT_EQ(client.Sent[0].nType, kPacketCharges);
    EXPECT_EQ(client.Sent[0].Payload, (std::vector<unsigned char>{'a', 'b', 'c'}));
    EXPECT_FALSE(link.fPacketPending);
}

TEST_F(PacketExchange, ADemandThatThereIsNoRoomForIsNotMade) {
    client.nMostRoom = 99;
    char buffer[100];
    EXPECT_THROW(RequestPacket(buffer, 100), Unwinding);
    EXPECT_EQ(client.nDemands, 0);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(client.Errors()[0], MessageText(kMsgOutOfMemory));
    client.Poke("abc", 3);
    EXPECT_EQ(RequestPacket(buffer, 99), 3);
    EXPECT_EQ(client.nRoomAsked, 99u);
}

TEST_F(PacketExchange, DropsAPacketToAnUnknownNode) {
    SendPacket(kPacketData, "abc", 3, 5);
    EXPECT_TRUE(client.Sent.empty());
    EXPECT_FALSE(link.fPacketPending);
}

TEST_F(PacketExchange, APacketToItselfIsReceivedNext) {
    for (const int nSelf : {kNodeSelf, kNodeBackend}) {
        SendPacket(kPacketData, "abcd", 4, nSelf);
        char buffer[8] = {};
        EXPECT_EQ(ReceivePacket(buffer, 3), 3);
        EXPECT_STREQ(buffer, "abc");
        EXPECT_FALSE(link.fLoopbackPending);
    }
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(PacketExchange, AFullPacketGoesInOnePieceAndOneByteMoreInTwo) {
    const auto bytes = Bytes(kMaxPayload + 1);
    SendChunked(kPacketData, bytes.data(), kMaxPayload);
    ASSERT_EQ(client.Sent.size(), 1u);
    EXPECT_EQ(client.Sent[0].Payload.size(), std::size_t{kMaxPayload});
    SendChunked(kPacketData, bytes.data(), kMaxPayload + 1);
    ASSERT_EQ(client.Sent.size(), 3u);
    EXPECT_EQ(client.Sent[2].Payload, std::vector<unsigned char>{bytes.back()});
}

TEST_F(PacketExchange, NoBytesAreNoChunk) {
    SendChunked(kPacketData, nullptr, 0);
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(PacketExchange, APacketThatIsTooLongIsRefusedBeforeItOverrunsTheBuffer) {
    const auto bytes = Bytes(kMaxPayload + 1);
    EXPECT_THROW(SendPacket(kPacketData, bytes.data(), kMaxPayload + 1), Unwinding);
    EXPECT_THROW(SendPacket(kPacketData, bytes.data(), -1), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>(2, MessageText(kMsgBufferOverflow)));
}

TEST_F(PacketExchange, DemandIsFollowedByOnePoke) {
    client.Poke(42);
    int nValue = 0;
    EXPECT_EQ(RequestPacket(&nValue, sizeof nValue), 4);
    EXPECT_EQ(nValue, 42);
    EXPECT_EQ(client.nDemands, 1);
    EXPECT_EQ(link.pReceiveBuffer, nullptr);
}

TEST_F(PacketExchange, AStepThatNeedsAllItsBytesRefusesAShortPacketByName) {
    client.Poke("abc", 3);
    char buffer[8];
    EXPECT_THROW(RequestWhole("atom count", buffer, 8), Unwinding);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_NE(client.Errors()[0].find("atom count"), std::string::npos);
    EXPECT_NE(client.Errors()[0].find('3'), std::string::npos);
    EXPECT_NE(client.Errors()[0].find('8'), std::string::npos);
}

TEST_F(PacketExchange, ALostClientEndsAWaitAndLeavesNothingToWriteTo) {
    int nValue = 0;
    EXPECT_THROW(RequestPacket(&nValue, sizeof nValue), LinkStop);
    EXPECT_FALSE(link.fAwaitingPoke);
    EXPECT_EQ(link.pReceiveBuffer, nullptr);
}

TEST_F(PacketExchange, ALostClientEndsASend) {
    client.nHangUpAfter = 0;
    EXPECT_THROW(SendPacket(kPacketData, "abc", 3), LinkStop);
    EXPECT_FALSE(link.fPacketPending);
}

TEST_F(PacketExchange, NobodyIsWaitedForWithoutAConversation) {
    link.fConversation = false;
    EXPECT_THROW(SendPacket(kPacketData, "abc", 3), LinkStop);
    EXPECT_EQ(client.nWaits, 0);
}

TEST_F(PacketExchange, QuitEndsAWait) {
    client.fHangUpWhenEmpty = false;
    int nValue = 0;
    EXPECT_THROW(RequestPacket(&nValue, sizeof nValue), LinkStop);
}

TEST_F(PacketExchange, YieldPumpsOncePerAccountOfWork) {
    for (int i = 0; i < 3; ++i) Yield(16384);
    EXPECT_EQ(client.nPumps, 2);  // what is charged counts from the next call on
    Yield(16383);
    EXPECT_EQ(client.nPumps, 3);
    Yield(0);
    EXPECT_EQ(client.nPumps, 3);
}

TEST_F(PacketExchange, YieldUnwindsOutOfAJobThatHasLostItsClient) {
    link.fInSession = true;
    client.DuringPump = [] { link.fConversation = false; };
    Yield(1 << 20);
    EXPECT_THROW(Yield(1), LinkStop);
}

TEST_F(PacketExchange, ErrorOfTheTransportIsSaidOnceThePacketIsOut) {
    OnError();
    SendPacket(kPacketData, "abc", 3);
    ASSERT_EQ(client.Sent.size(), 2u);
    EXPECT_EQ(client.Sent[0].nType, kPacketData);
    EXPECT_EQ(client.Errors()[0], MessageText(kMsgOutOfMemory));
}

TEST_F(PacketExchange, ErrorOfTheTransportIsSaidBeforeADemand) {
    // Behind it, the client's answer would find nobody waiting. This client leaves at the demand.
    int nReceived = 0;
    OnError();
    EXPECT_THROW(RequestPacket(&nReceived, 4), LinkStop);
    ASSERT_EQ(client.Sent.size(), 1u);
    EXPECT_EQ(client.Errors()[0], MessageText(kMsgOutOfMemory));
}

}  // namespace
}  // namespace qsolve
