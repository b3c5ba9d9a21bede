#include "link/conversation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

Name NameOf(const char* sText) {
    return CopyName(sText, std::strlen(sText));
}

std::vector<unsigned char> Packet(int nLength, const std::vector<unsigned char>& payload) {
    const PacketHeader header{nLength, kPacketData, 0, 1, 7};
    std::vector<unsigned char> bytes(sizeof header + payload.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    std::copy(payload.begin(), payload.end(), bytes.begin() + sizeof header);
    return bytes;
}

class Conversation : public FreshState {
  protected:
    Conversation() {
        NewScriptedClient();
        link.fConversation = false;
        link.fLinkDown = true;
    }
    int Poke(const std::vector<unsigned char>& bytes) {
        return OnPoke(NameOf("Packet"), bytes.data(), bytes.size());
    }
    void Await(unsigned char* pBuffer, int nCapacity) {
        link.fAwaitingPoke = true;
        link.pReceiveBuffer = pBuffer;
        link.nReceiveCapacity = nCapacity;
    }
};

TEST_F(Conversation, TopicStaysTheDefaultWithoutACommandLine) {
    ChooseTopic("");
    EXPECT_STREQ(link.sTopicName, "CalcBackend");
}

TEST_F(Conversation, FullFrontendNamesTheTopicByItsIdAlone) {
    ChooseTopic("Molarium 1A2b");
    EXPECT_STREQ(link.sTopicName, "1a2b");
}

TEST_F(Conversation, FullFrontendWithoutAnIdKeepsTheDefault) {
    ChooseTopic("Molarium xyz");
    EXPECT_STREQ(link.sTopicName, "CalcBackend");
}

TEST_F(Conversation, ReducedFrontendNeedsAllThreeWords) {
    ChooseTopic("Lumenol 1a2b");
    EXPECT_STREQ(link.sTopicName, "CalcBackend");
    ChooseTopic("Lumenol 1a2b word");
    EXPECT_STREQ(link.sTopicName, "1a2b");
}

TEST_F(Conversation, UnknownOrOverlongCommandLinesKeepTheDefault) {
    ChooseTopic("Other 1a2b word");
    EXPECT_STREQ(link.sTopicName, "CalcBackend");
    std::string sLong(5000, 'M');
    ChooseTopic(sLong.append(" 12 3").c_str());
    EXPECT_STREQ(link.sTopicName, "CalcBackend");
    ChooseTopic("Molarium ffffffffffffffffffffffffffffffffffffff w");
    EXPECT_LT(std::strlen(link.sTopicName), sizeof link.sTopicName);
}

TEST_F(Conversation, IsAcceptedRegardlessOfCaseAndOnlyOnce) {
    EXPECT_FALSE(OnConnect(NameOf("other"), NameOf("CalcBackend")));
    EXPECT_FALSE(OnConnect(NameOf("qsolve"), NameOf("CalcBackend2")));
    EXPECT_TRUE(OnConnect(NameOf("QSolve"), NameOf("calcbackend")));
    OnConnectConfirm();
    EXPECT_FALSE(link.fLinkDown);
    EXPECT_FALSE(OnConnect(NameOf("qsolve"), NameOf("CalcBackend")));
}

TEST_F(Conversation, OverlongNamesNeverEqualOurs) {
    const std::string sLong = "qsolve" + std::string(60, '\1');
    EXPECT_FALSE(OnConnect(CopyName(sLong.data(), sLong.size()), NameOf("CalcBackend")));
    EXPECT_STREQ(CopyName(sLong.data(), sLong.size()).sName, "");
}

TEST_F(Conversation, RequestOfAnotherItemKeepsThePendingPacket) {
    link.fPacketPending = true;
    EXPECT_FALSE(OnRequest(NameOf("Parcel")));
    EXPECT_TRUE(link.fPacketPending);
    EXPECT_TRUE(OnRequest(NameOf("packet")));
    PacketFetched();
    EXPECT_FALSE(OnRequest(NameOf("Packet")));
}

TEST_F(Conversation, PokeOutsideAWaitIsRefused) {
    EXPECT_EQ(Poke(Packet(1, {5})), kNotProcessed);
}

TEST_F(Conversation, PokeOfAnotherItemIsRefused) {
    unsigned char buffer[4] = {};
    Await(buffer, 4);
    const auto bytes = Packet(1, {5});
    EXPECT_EQ(OnPoke(NameOf("Parcel"), bytes.data(), bytes.size()), kNotProcessed);
    EXPECT_TRUE(link.fAwaitingPoke);
}

TEST_F(Conversation, PokeIsStoredAndItsHeaderKept) {
    unsigned char buffer[4] = {};
    Await(buffer, 4);
    EXPECT_EQ(Poke(Packet(4, {1, 2, 3, 4})), kAcknowledged);
    EXPECT_FALSE(link.fAwaitingPoke);
    EXPECT_EQ(buffer[3], 4);
    EXPECT_EQ(link.ReceivedHeader.nLength, 4);
    EXPECT_EQ(link.ReceivedHeader.hSenderWindow, 7);
}

TEST_F(Conversation, PokeBeyondTheCapacityIsCut) {
    unsigned char buffer[4] = {9, 9, 9, 9};
    Await(buffer, 2);
    EXPECT_EQ(Poke(Packet(4, {1, 2, 3, 4})), kAcknowledged);
    EXPECT_EQ(buffer[1], 2);
    EXPECT_EQ(buffer[2], 9);
    EXPECT_EQ(link.ReceivedHeader.nLength, 2);
}

TEST_F(Conversation, ShortPokeLeavesTheRestOfTheBuffer) {
    unsigned char buffer[4] = {9, 9, 9, 9};
    Await(buffer, 4);
    EXPECT_EQ(Poke(Packet(1, {1})), kAcknowledged);
    EXPECT_EQ(buffer[0], 1);
    EXPECT_EQ(buffer[1], 9);
}

TEST_F(Conversation, AnnouncedLengthIsNotBelievedBeyondTheBytesThatCame) {
    unsigned char buffer[64] = {};
    Await(buffer, 64);
    EXPECT_EQ(Poke(Packet(64, {1, 2})), kAcknowledged);
    EXPECT_EQ(link.ReceivedHeader.nLength, 2);
}

TEST_F(Conversation, PokeWithoutAWholeHeaderOrWithNegativeLengthIsNoPacket) {
    unsigned char buffer[4] = {};
    Await(buffer, 4);
    EXPECT_EQ(OnPoke(NameOf("Packet"), "abc", 3), kNotProcessed);
    EXPECT_EQ(Poke(Packet(-1, {1})), kNotProcessed);
    EXPECT_TRUE(link.fAwaitingPoke);
}

TEST_F(Conversation, EveryCommandIsAcknowledged) {
    EXPECT_EQ(OnExecute(NameOf("[RESET]")), kAcknowledged);
    EXPECT_EQ(OnExecute(NameOf("[format c:]")), kAcknowledged);
}

TEST_F(Conversation, DisconnectPutsTheLinkDown) {
    OnConnectConfirm();
    OnDisconnect();
    EXPECT_TRUE(link.fLinkDown);
    EXPECT_FALSE(link.fConversation);
}

TEST_F(Conversation, PacketsAheadAnswerTheDemandsOfASessionInTheirOrder) {
    std::vector<unsigned char> bytes = Packet(3, {1, 2, 3});
    const std::vector<unsigned char> second = Packet(1, {9});
    bytes.insert(bytes.end(), second.begin(), second.end());
    EXPECT_EQ(OnPokeAhead(NameOf("PACKETS"), bytes.data(), bytes.size()), kAcknowledged);

    unsigned char buffer[4] = {7, 7, 7, 7};
    EXPECT_TRUE(TakeAhead(buffer, 2));
    EXPECT_EQ(link.ReceivedHeader.nLength, 2);
    EXPECT_EQ(std::vector<int>(buffer, buffer + 4), (std::vector<int>{1, 2, 7, 7}));
    EXPECT_TRUE(TakeAhead(buffer, 4));
    EXPECT_EQ(link.ReceivedHeader.nLength, 1);
    EXPECT_EQ(buffer[0], 9);
    EXPECT_FALSE(TakeAhead(buffer, 4));
}

TEST_F(Conversation, PacketsAheadAreRefusedInASessionUnderAnotherNameAndTorn) {
    const std::vector<unsigned char> good = Packet(3, {1, 2, 3});
    const auto Ahead = [](const char* sItem, const std::vector<unsigned char>& bytes) {
        return OnPokeAhead(NameOf(sItem), bytes.data(), bytes.size());
    };
    EXPECT_EQ(Ahead("Parcels", good), kNotProcessed);
    EXPECT_EQ(Ahead("Packets", {}), kNotProcessed);
    EXPECT_EQ(Ahead("Packets", Packet(4, {1, 2, 3})), kNotProcessed);
    EXPECT_EQ(Ahead("Packets", Packet(2, {1, 2, 3})), kNotProcessed);
    EXPECT_EQ(Ahead("Packets", Packet(-1, {})), kNotProcessed);
    EXPECT_EQ(Ahead("Packets", Packet(0x7FFFFFFF, {1})), kNotProcessed);

    EXPECT_EQ(Ahead("Packets", good), kAcknowledged);
    link.fInSession = true;
    EXPECT_EQ(Ahead("Packets", good), kNotProcessed);
    link.fInSession = false;
    EXPECT_EQ(Ahead("Packets", Packet(9, {})), kNotProcessed);
    unsigned char buffer[4];
    EXPECT_FALSE(TakeAhead(buffer, 4)) << "a torn one takes the place of what was there";
}

}  // namespace
}  // namespace qsolve
