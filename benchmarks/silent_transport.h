#pragma once

#include <cstddef>

#include "link/transport.h"
#include "link/workers.h"

/// A transport without a client, for benchmarks that call into the backend. It defines what
/// platform/ defines elsewhere: included by one source file of a program.

namespace qsolve {

void PostToSelf(Message) {}
void PacketOffered() {}
bool MakeRoomFor(std::size_t) {
    return true;
}
void SessionEnded() {}
bool HandleOneMessage() {
    return false;
}
void WaitForMessage() {}
void PrintLine(const char*) {}
void SendTextFromWorker(int, const char*) {}

}  // namespace qsolve
