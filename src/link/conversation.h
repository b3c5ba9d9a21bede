#pragma once

#include <cstddef>

#include "link/packets.h"

/// The conversation with the one client as a state machine of seven transactions. It knows nothing
/// of sockets or windows: an adapter in platform/ feeds it, and sends what it answers. No function
/// here waits, sends or throws.

namespace qsolve {

/// Transaction codes, the same on every transport.
enum Transaction : unsigned {
    kTransactionConnect = 0x1062,
    kTransactionConnectConfirm = 0x8072,
    kTransactionRequest = 0x20B0,
    kTransactionPoke = 0x4090,
    kTransactionExecute = 0x4050,
    kTransactionDisconnect = 0x80C2,
    kTransactionError = 0x8002,
};

constexpr int kAcknowledged = 0x8000, kNotProcessed = 0;

constexpr char kServiceName[] = "qsolve";
constexpr char kItemName[] = "Packet";
constexpr char kItemNameAhead[] = "Packets";    ///< poked: what the next session will demand
constexpr char kItemNameSession[] = "Session";  ///< requested: all that this session has to send
constexpr char kResetCommand[] = "[reset]";

/// Longest name or command that can equal one of ours; longer ones never do.
constexpr std::size_t kLongestName = 31;

/// A bounded, NUL-ended copy of a name or command from outside; sName is empty when it was too
/// long.
struct Name {
    char sName[kLongestName + 1] = {};
};

/// Copies at most kLongestName characters of nBytes bytes, up to the first NUL.
Name CopyName(const void* pBytes, std::size_t nBytes);

/// Sets link.sTopicName from the command line "NAME HEXID WORD": the id of "Molarium", or of
/// "Lumenol" when all three words are there, becomes the topic in hexadecimal.
void ChooseTopic(const char* sCommandLine);

/// Whether a client may have the conversation: none exists, the service is ours and so is the
/// topic, regardless of case. Accepting posts the start of the first session.
bool OnConnect(const Name& service, const Name& topic);

/// The conversation stands.
void OnConnectConfirm();

/// Whether a request or poke names our item, regardless of case.
bool IsPacketItem(const Name& item);

/// Whether a request names kItemNameSession, regardless of case.
bool IsSessionItem(const Name& item);

/// Whether the pending packet may be handed over: there is one, and item is ours. The caller takes
/// link.SendBuffer, Header.nLength bytes and the header, and calls PacketFetched.
bool OnRequest(const Name& item);

/// The pending packet has gone out.
void PacketFetched();

/// Takes a packet that the session awaits, nBytes with its header. Returns kAcknowledged, or
/// kNotProcessed when no poke is awaited, the item is not ours or there is no whole header.
int OnPoke(const Name& item, const void* pBytes, std::size_t nBytes);

/// Takes whole packets one behind the other, nBytes in all, for the demands of the next session,
/// which are then not offered; the item is kItemNameAhead. Returns kAcknowledged, or kNotProcessed
/// while a session runs, for another item, for bytes that are not whole packets and where there is
/// no memory; what had been taken before is then forgotten.
int OnPokeAhead(const Name& item, const void* pBytes, std::size_t nBytes);

/// Forgets what came ahead.
void ForgetAhead() noexcept;

/// Stores at most nCapacity bytes of the next packet that came ahead in pBuffer and its header,
/// with nLength as stored, in link.ReceivedHeader. False where there is none.
bool TakeAhead(void* pBuffer, int nCapacity);

/// Obeys "[reset]", regardless of case, by posting the start of a session; other commands are
/// acknowledged and ignored.
int OnExecute(const Name& command);

/// The client is gone, or has said so.
void OnDisconnect();

/// The transport reports an error of its own; the text follows when sending is possible.
void OnError();

}  // namespace qsolve
