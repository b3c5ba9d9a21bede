#pragma once

#include <cstdint>

#include "link/memory.h"
#include "link/packets.h"

namespace qsolve {

/// The pump runs once per 2^shift units of work.
constexpr int kYieldShift = 14;

/// The conversation and the packet on its way. Lives for the process.
struct LinkState {
    char sTopicName[32] = "CalcBackend";
    bool fConversation = false;  ///< a client is connected
    bool fLinkDown = true;       ///< no conversation: text goes to standard output
    bool fQuit = false;          ///< the process is to end
    bool fInSession = false;
    bool fWorker = false;  ///< a copy of the process that computes for it and talks to no client
    bool fStartDeferred = false;  ///< a session was asked for while one ran

    int nOwnNode = kNodeBackend;
    int nFrontendNode = kNodeFrontend;
    int hOwnWindow = 0;  ///< our main window, where there is one; it stands in each header

    bool fPacketPending = false;    ///< SendBuffer waits to be fetched
    bool fLoopbackPending = false;  ///< a packet to ourselves waits in SendBuffer
    struct {
        PacketHeader Header;
        unsigned char Payload[kMaxPayload] = {};
    } SendBuffer;

    Array<unsigned char> Ahead;  ///< packets that came ahead of their demands, for one session
    std::size_t nAheadUsed = 0;  ///< bytes of Ahead that have been received
    bool fAwaitingPoke = false;
    unsigned char* pReceiveBuffer = nullptr;  ///< set only while a poke is awaited
    int nReceiveCapacity = 0;                 ///< bytes that pReceiveBuffer holds
    PacketHeader ReceivedHeader;              ///< of the last packet, nLength as stored

    bool fQueuedLinkError = false;  ///< the transport reported an error; said once it is safe
    bool fInFatal = false;          ///< a failure is being reported
    bool fLogReports = false;       ///< gates LogFormat; from nLogLevel at intake
    bool fShowWarnings = false;     ///< gates WarningLine; from the option of that name

    std::uint64_t nYieldCounter = 0;  ///< work units since the last pump
    int nYieldShift = kYieldShift;    ///< the pump runs once per 2^shift units
};
inline LinkState link;

}  // namespace qsolve
