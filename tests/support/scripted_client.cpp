#include "tests/support/scripted_client.h"

#include <poll.h>

#include <array>
#include <cstring>

#include "link/conversation.h"
#include "link/state.h"
#include "link/transport.h"
#include "platform/posix_transport.h"

namespace qsolve {

ScriptedClient client;

namespace {

std::array<bool, 2> fPosted;

Name PacketItem() {
    return CopyName(kItemName, sizeof kItemName);
}

void HangUp() {
    OnDisconnect();
}

void Fetch() {
    if (client.nFetched++ == client.nHangUpAfter) return HangUp();
    if (!OnRequest(PacketItem())) return;
    const auto& packet = link.SendBuffer;
    if (packet.Header.nType == kPacketRequestNext) {
        ++client.nDemands;
    } else {
        const auto* p = packet.Payload;
        client.Sent.push_back({packet.Header.nType, {p, p + packet.Header.nLength}});
    }
    PacketFetched();
}

void Answer() {
    if (client.Script.empty()) {
        if (client.fHangUpWhenEmpty)
            HangUp();
        else
            link.fQuit = true;
        return;
    }
    const std::vector<unsigned char> payload = std::move(client.Script.front());
    client.Script.pop_front();
    PacketHeader header{static_cast<int>(payload.size()), kPacketData, 0, 1, 0};
    std::vector<unsigned char> packet(sizeof header);
    std::memcpy(packet.data(), &header, sizeof header);
    packet.insert(packet.end(), payload.begin(), payload.end());
    OnPoke(PacketItem(), packet.data(), packet.size());
}

}  // namespace

std::string SentPacket::Text() const {
    return std::string(Payload.begin(), Payload.empty() ? Payload.end() : Payload.end() - 1);
}

void ScriptedClient::Poke(const void* pBytes, std::size_t nBytes) {
    const auto* p = static_cast<const unsigned char*>(pBytes);
    Script.emplace_back(p, p + nBytes);
}

std::vector<std::string> ScriptedClient::Texts(PacketType nType) const {
    std::vector<std::string> texts;
    for (const SentPacket& packet : Sent)
        if (packet.nType == nType) texts.push_back(packet.Text());
    return texts;
}

void NewScriptedClient() {
    client = ScriptedClient{};
    fPosted = {};
    OnConnectConfirm();
}

void PostToSelf(Message message) {
    fPosted[static_cast<std::size_t>(message)] = true;
}

bool MakeRoomFor(std::size_t nBytes) {
    client.nRoomAsked = nBytes;
    return nBytes <= client.nMostRoom;
}

void PacketOffered() {}

void SessionEnded() {
    client.fSessionEnded = true;
}

bool HandleOneMessage() {
    ++client.nPumps;
    if (client.DuringPump) client.DuringPump();
    return false;
}

void WaitForMessage() {
    ++client.nWaits;
    if (link.fPacketPending)
        Fetch();
    else if (link.fAwaitingPoke)
        Answer();
    else
        link.fQuit = true;
}

void AbandonLink() {}

void WaitWithLink(const int* pDescriptors, int nCount) {
    HandleOneMessage();
    std::vector<pollfd> all;
    for (int i = 0; i < nCount; ++i) all.push_back({pDescriptors[i], POLLIN, 0});
    poll(all.data(), all.size(), 10);
}

void PrintLine(const char* sText) {
    client.Printed.emplace_back(sText);
}

}  // namespace qsolve
