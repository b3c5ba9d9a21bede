#pragma once

/// What other files of platform/ need of the transport.

namespace qsolve {

/// In a copy of the process: gives up the link and the signals, which belong to the other.
void AbandonLink();

/// Sleeps until one of nCount further descriptors can be read, or the link has something; handles
/// at most one message or transaction of the link. Returns at once when link.fQuit is set.
void WaitWithLink(const int* pDescriptors, int nCount);

}  // namespace qsolve
