#include "link/conversation.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "link/state.h"
#include "link/transport.h"

namespace qsolve {

namespace {

bool SameRegardlessOfCase(const char* sA, const char* sB) {
    for (; *sA && *sB; ++sA, ++sB) {
        const auto a = static_cast<unsigned char>(*sA), b = static_cast<unsigned char>(*sB);
        if (std::tolower(a) != std::tolower(b)) return false;
    }
    return *sA == *sB;
}

/// Whether nBytes bytes are packets, each with as many bytes as its header says.
bool AreWholePackets(const unsigned char* pBytes, std::size_t nBytes) {
    std::size_t nSeen = 0;
    while (nBytes - nSeen >= sizeof(PacketHeader)) {
        PacketHeader header;
        std::memcpy(&header, pBytes + nSeen, sizeof header);
        nSeen += sizeof header;
        if (header.nLength < 0 || static_cast<std::size_t>(header.nLength) > nBytes - nSeen)
            return false;
        nSeen += static_cast<std::size_t>(header.nLength);
    }
    return nSeen == nBytes && nBytes > 0;
}

}  // namespace

Name CopyName(const void* pBytes, std::size_t nBytes) {
    Name name;
    const char* pText = static_cast<const char*>(pBytes);
    const char* pEnd = std::find(pText, pText + nBytes, '\0');
    const auto nLength = static_cast<std::size_t>(pEnd - pText);
    if (nLength <= kLongestName) std::copy(pText, pEnd, name.sName);
    return name;
}

void ChooseTopic(const char* sCommandLine) {
    char sFrontend[40] = {}, sIgnored[40] = {};
    unsigned long nId = 0;
    const int nRead = std::sscanf(sCommandLine, "%39s %lx %39s", sFrontend, &nId, sIgnored);
    const bool fFull = nRead >= 2 && std::strcmp(sFrontend, "Molarium") == 0;
    const bool fReduced = nRead == 3 && std::strcmp(sFrontend, "Lumenol") == 0;
    if (fFull || fReduced) std::snprintf(link.sTopicName, sizeof link.sTopicName, "%lx", nId);
}

bool OnConnect(const Name& service, const Name& topic) {
    if (link.fConversation) return false;
    if (!SameRegardlessOfCase(service.sName, kServiceName)) return false;
    if (!SameRegardlessOfCase(topic.sName, link.sTopicName)) return false;
    PostToSelf(Message::kStartSession);
    return true;
}

void OnConnectConfirm() {
    link.fLinkDown = false;
    link.fConversation = true;
}

bool IsPacketItem(const Name& item) {
    return SameRegardlessOfCase(item.sName, kItemName);
}

bool IsSessionItem(const Name& item) {
    return SameRegardlessOfCase(item.sName, kItemNameSession);
}

bool OnRequest(const Name& item) {
    return link.fPacketPending && IsPacketItem(item);
}

void PacketFetched() {
    link.fPacketPending = false;
}

int OnPoke(const Name& item, const void* pBytes, std::size_t nBytes) {
    if (!link.fAwaitingPoke || !IsPacketItem(item)) return kNotProcessed;
    if (nBytes < sizeof(PacketHeader)) return kNotProcessed;
    PacketHeader header;
    std::memcpy(&header, pBytes, sizeof header);
    if (header.nLength < 0) return kNotProcessed;

    link.fAwaitingPoke = false;
    const std::size_t nCame = nBytes - sizeof header;
    const std::size_t nRoom = static_cast<std::size_t>(std::max(link.nReceiveCapacity, 0));
    const std::size_t nKept = std::min({static_cast<std::size_t>(header.nLength), nRoom, nCame});
    if (nKept > 0)
        std::memcpy(link.pReceiveBuffer, static_cast<const unsigned char*>(pBytes) + sizeof header,
                    nKept);
    header.nLength = static_cast<int>(nKept);
    link.ReceivedHeader = header;
    return kAcknowledged;
}

int OnPokeAhead(const Name& item, const void* pBytes, std::size_t nBytes) {
    if (link.fInSession || !SameRegardlessOfCase(item.sName, kItemNameAhead)) return kNotProcessed;
    ForgetAhead();
    if (!AreWholePackets(static_cast<const unsigned char*>(pBytes), nBytes)) return kNotProcessed;
    if (!link.Ahead.TryTake(nBytes)) return kNotProcessed;
    std::memcpy(link.Ahead.Data(), pBytes, nBytes);
    return kAcknowledged;
}

void ForgetAhead() noexcept {
    link.Ahead.Reset();
    link.nAheadUsed = 0;
}

bool TakeAhead(void* pBuffer, int nCapacity) {
    if (link.nAheadUsed >= link.Ahead.Size()) return false;
    const unsigned char* pPacket = link.Ahead.Data() + link.nAheadUsed;
    PacketHeader header;
    std::memcpy(&header, pPacket, sizeof header);
    link.nAheadUsed += sizeof header + static_cast<std::size_t>(header.nLength);
    header.nLength = std::clamp(nCapacity, 0, header.nLength);
    if (header.nLength > 0)
        std::memcpy(pBuffer, pPacket + sizeof header, static_cast<std::size_t>(header.nLength));
    link.ReceivedHeader = header;
    return true;
}

int OnExecute(const Name& command) {
    if (SameRegardlessOfCase(command.sName, kResetCommand)) PostToSelf(Message::kStartSession);
    return kAcknowledged;
}

void OnDisconnect() {
    if (!link.fConversation) return;
    link.fConversation = false;
    link.fLinkDown = true;
    PostToSelf(Message::kLinkLost);
}

void OnError() {
    link.fQueuedLinkError = true;
}

}  // namespace qsolve
