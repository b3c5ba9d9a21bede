#pragma once

#include <cstddef>

/// The seam between the link and the operating system: what the link needs, written by platform/
/// (and by the tests, with a scripted client). The other direction is conversation.h.

namespace qsolve {

/// What the process tells itself through its message queue.
enum class Message {
    kStartSession,  ///< a client has connected, or executed "[reset]"
    kLinkLost,      ///< the conversation has ended
};

/// Puts a message into the process's own queue; it is handled when the queue is pumped.
void PostToSelf(Message message);

/// Makes sure that a packet of nBytes bytes can be taken from the client, before it is asked for.
/// False where there is no memory for it.
bool MakeRoomFor(std::size_t nBytes);

/// Tells the transport that link.SendBuffer holds a packet that a request may fetch.
void PacketOffered();

/// Tells the transport that a session has ended, so that a held request is answered.
void SessionEnded();

/// Handles one message or transaction if one waits, without waiting. Returns false when there was
/// none. Sets link.fQuit when the process is to end.
bool HandleOneMessage();

/// Sleeps until there is a message or transaction, and handles it. Returns at once when link.fQuit
/// is set.
void WaitForMessage();

/// One line to standard output, or error, of the process.
void PrintLine(const char* sText);

}  // namespace qsolve
