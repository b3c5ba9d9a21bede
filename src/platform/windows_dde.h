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

}  // namespace qsolve
