#pragma once

#include "link/transport.h"

/// The process shell of the operating system: what the top floor needs to start and to stop. The
/// rest of the seam is link/transport.h.

namespace qsolve {

/// Called for each message that the process has posted to itself, on the stack of whoever pumps.
/// What it throws comes out of HandleOneMessage or WaitForMessage.
using MessageHandler = void (*)(Message);

/// Opens the link under link.sTopicName. Returns false, after telling the user why, when that is
/// not possible.
bool StartPlatform(MessageHandler pHandler);

/// Closes the link and gives everything back. Returns the exit status that the system asks for.
int StopPlatform();

}  // namespace qsolve
