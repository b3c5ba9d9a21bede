#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "link/packets.h"

/// A transport that plays a client inside the test process: it fetches every packet at once and
/// answers each demand with the next packet of its script.

namespace qsolve {

/// One packet that the backend has sent.
struct SentPacket {
    int nType;
    std::vector<unsigned char> Payload;

    /// The payload of a text packet, without its NUL.
    std::string Text() const;
};

struct ScriptedClient {
    std::deque<std::vector<unsigned char>> Script;  ///< payloads still to be poked
    std::vector<SentPacket> Sent;                   ///< all that came, demands (9999) left out
    std::vector<std::string> Printed;               ///< lines to standard output
    int nDemands = 0;                               ///< packets of type 9999
    bool fHangUpWhenEmpty = true;                   ///< disconnects when a demand finds no script
    int nHangUpAfter = -1;                          ///< disconnects instead of fetch number n
    int nFetched = 0;
    int nWaits = 0;
    std::size_t nRoomAsked = 0;  ///< for the last demand
    std::size_t nMostRoom =
        static_cast<std::size_t>(-1);  ///< more than this there is no memory for
    int nPumps = 0;
    bool fSessionEnded = false;
    std::function<void()> DuringPump;  ///< run at every pump, for what happens in a job

    /// Appends one payload to the script.
    void Poke(const void* pBytes, std::size_t nBytes);
    template <class T>
    void Poke(const T& value) {
        Poke(&value, sizeof value);
    }

    /// Texts of one channel, in order.
    std::vector<std::string> Texts(PacketType nType) const;
    std::vector<std::string> Errors() const { return Texts(kPacketErrorLine); }
    std::vector<std::string> Warnings() const { return Texts(kPacketWarningLine); }
    std::vector<std::string> Log() const { return Texts(kPacketLogLine); }
};

/// The client that the transport plays; new after NewScriptedClient.
extern ScriptedClient client;

/// Starts a new script and connects: the conversation stands, no message is posted.
void NewScriptedClient();

}  // namespace qsolve
