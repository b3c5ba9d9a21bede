#pragma once

#include <windows.h>

/// The DDE side of the link: a server of one conversation, fed into the conversation state machine.

namespace qsolve {

/// Registers the service and the topic of link.sTopicName. Returns false when DDE itself cannot be
/// had.
bool StartDde();

/// Gives back names, service and instance.
void StopDde();

/// Ends the conversation from our side, if there is one.
void DropDdeConversation();

/// The process of the client in conversation, which is signalled when it ends; null when there is
/// none or it cannot be told. DDE itself does not always tell of a client that dies.
HANDLE DdeClient();

}  // namespace qsolve
