#include <algorithm>
#include <cstring>

#include "link/conversation.h"
#include "link/link.h"
#include "link/transport.h"

namespace qsolve {

namespace {

/// Whether a session goes on without anybody to work for.
bool IsGone() {
    return link.fQuit || (link.fInSession && !link.fConversation);
}

/// Whether a wait could never end.
bool IsDeaf() {
    return link.fQuit || !link.fConversation;
}

/// Clears what a transaction could still write to, also when the wait unwinds.
struct ReceiveGuard {
    ReceiveGuard(void* pBuffer, int nCapacity) {
        link.pReceiveBuffer = static_cast<unsigned char*>(pBuffer);
        link.nReceiveCapacity = nCapacity;
        link.fAwaitingPoke = true;
    }
    ~ReceiveGuard() {
        link.fAwaitingPoke = false;
        link.pReceiveBuffer = nullptr;
        link.nReceiveCapacity = 0;
    }
    ReceiveGuard(const ReceiveGuard&) = delete;
    ReceiveGuard& operator=(const ReceiveGuard&) = delete;
};

struct PendingGuard {
    PendingGuard() = default;
    ~PendingGuard() { link.fPacketPending = false; }
    PendingGuard(const PendingGuard&) = delete;
    PendingGuard& operator=(const PendingGuard&) = delete;
};

/// Sleeps for one message and handles it; the client's end or a quit unwinds from here.
void WaitOnce() {
    if (IsDeaf()) throw LinkStop{};
    WaitForMessage();
    if (IsDeaf()) throw LinkStop{};
}

/// Waits until the client has fetched what stands in SendBuffer.
void WaitUntilFetched() {
    PendingGuard guard;
    link.fPacketPending = true;
    PacketOffered();
    while (link.fPacketPending) WaitOnce();
}

int ReceiveFromSelf(void* pBuffer, int nCapacity) {
    const int nKept = std::min(nCapacity, link.SendBuffer.Header.nLength);
    if (nKept > 0) std::memcpy(pBuffer, link.SendBuffer.Payload, static_cast<std::size_t>(nKept));
    link.fLoopbackPending = false;
    link.ReceivedHeader = link.SendBuffer.Header;
    link.ReceivedHeader.nLength = std::max(nKept, 0);
    return link.ReceivedHeader.nLength;
}

/// Tells of an error that the transport has reported.
void SendQueuedError() {
    if (!link.fQueuedLinkError) return;
    link.fQueuedLinkError = false;
    ErrorLine(MessageText(kMsgOutOfMemory));
}

}  // namespace

void SendPacket(PacketType nType, const void* pData, int nLength, int nDestination) {
    if (link.fWorker) return;
    if (nLength < 0 || nLength > kMaxPayload) Fatal(kMsgBufferOverflow);
    if (nLength > 0) std::memcpy(link.SendBuffer.Payload, pData, static_cast<std::size_t>(nLength));
    link.SendBuffer.Header = {nLength, nType, nDestination, link.nOwnNode, link.hOwnWindow};
    if (nDestination == link.nOwnNode || nDestination == kNodeSelf) {
        link.fLoopbackPending = true;
        return;
    }
    if (nDestination != link.nFrontendNode) return;
    WaitUntilFetched();
    // Not between a demand and what it demands: the client's poke would find nobody waiting.
    if (nType != kPacketRequestNext) SendQueuedError();
}

void SendChunked(PacketType nType, const void* pData, std::size_t nBytes, int nDestination) {
    const auto* pBytes = static_cast<const unsigned char*>(pData);
    for (std::size_t nSent = 0; nSent < nBytes;) {
        const std::size_t nPiece = std::min(nBytes - nSent, std::size_t{kMaxPayload});
        SendPacket(nType, pBytes + nSent, static_cast<int>(nPiece), nDestination);
        nSent += nPiece;
    }
}

int ReceivePacket(void* pBuffer, int nCapacity) {
    if (link.fLoopbackPending) return ReceiveFromSelf(pBuffer, nCapacity);
    ReceiveGuard guard(pBuffer, nCapacity);
    while (link.fAwaitingPoke) WaitOnce();
    return link.ReceivedHeader.nLength;
}

int RequestPacket(void* pBuffer, int nCapacity) {
    SendQueuedError();
    if (TakeAhead(pBuffer, nCapacity)) return link.ReceivedHeader.nLength;
    if (!MakeRoomFor(static_cast<std::size_t>(std::max(nCapacity, 0)))) Fatal(kMsgOutOfMemory);
    SendPacket(kPacketRequestNext, "", 1);
    return ReceivePacket(pBuffer, nCapacity);
}

void RequestWhole(const char* sStep, void* pBuffer, int nBytes) {
    std::memset(pBuffer, 0, static_cast<std::size_t>(nBytes));
    const int nCame = RequestPacket(pBuffer, nBytes);
    if (nCame < nBytes) Fatal(kMsgPacketShort, sStep, nCame, nBytes);
}

void PumpOneMessage() {
    if (link.fWorker) return;  // whoever started the worker listens, and ends it
    if (IsGone()) throw LinkStop{};
    HandleOneMessage();
    if (IsGone()) throw LinkStop{};
}

void ResetYield() {
    link.nYieldCounter = 0;
    link.nYieldShift = kYieldShift;
}

void Yield(std::size_t nUnits) {
    if ((link.nYieldCounter >> (link.nYieldShift & 31)) != 0) {
        link.nYieldCounter = 0;
        PumpOneMessage();
    }
    link.nYieldCounter += nUnits;
}

}  // namespace qsolve
