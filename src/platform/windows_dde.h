#pragma once

#include <windows.h>

/// The DDE side of the link: a server of one conversation, fed into the conversation state machine.

namespace qsolve {

/// Why the link cannot start, or that it has.
enum class DdeStart {
    kReady,
    kNoDde,     ///< DDE itself cannot be had
    kNoMemory,  ///< a name cannot be made or registered
};

/// Registers the clipboard format of the packets. Returns false when the system has none left.
bool RegisterPacketFormat();

/// Registers the service, with the topic of link.sTopicName and the format registered before.
DdeStart StartDde();

/// Gives back names, service and instance.
void StopDde();

/// Ends the conversation from our side, if there is one.
void DropDdeConversation();

/// The process that our client runs in, to be waited for: a client that dies says no goodbye. Null
/// without a conversation, and where the system does not let us watch.
HANDLE DdeClientProcess();

}  // namespace qsolve
