#pragma once

#include <cstddef>

#include "link/format.h"
#include "link/memory.h"
#include "link/messages.h"
#include "link/packets.h"
#include "link/state.h"

/// The face of the link room: packets, texts, failure, the cooperative yield.
///
/// Any function here that sends, receives or yields may unwind: it throws LinkStop when the client
/// is gone or the process is to end. Leave state consistent before calling one.

namespace qsolve {

// ---- failure ------------------------------------------------------------------------------------

/// A failure whose text has been sent, on its way to the nearest frame.
struct Unwinding {
    int nId = 0;
};

/// The silent end of job and session: the client is gone, or the process is to end.
struct LinkStop {};

/// Sends a numbered text on the error channel and unwinds to the nearest frame. A failure inside
/// the reporting of a failure is not reported.
[[noreturn]] void FatalText(MessageId id, const Argument* pArguments, std::size_t nArguments);

/// The same with the arguments themselves.
template <class... Arguments>
[[noreturn]] void Fatal(MessageId id, const Arguments&... arguments) {
    const Argument list[] = {Argument(arguments)..., Argument(0)};
    FatalText(id, list, sizeof...(arguments));
}

// ---- texts --------------------------------------------------------------------------------------

/// One line each to the client's log, status bar, warnings, errors and debug window; to standard
/// output while there is no conversation. WarningLine is silent unless the job shows warnings.
void LogLine(const char* sText);
void StatusLine(const char* sText);
void WarningLine(const char* sText);
void ErrorLine(const char* sText);
void DebugLine(const char* sText);

/// A numbered text with nArguments arguments on one of the channels.
void LogText(MessageId id, const Argument* pArguments, std::size_t nArguments);
void StatusText(MessageId id, const Argument* pArguments, std::size_t nArguments);
void WarnText(MessageId id, const Argument* pArguments, std::size_t nArguments);
void ErrorText(MessageId id, const Argument* pArguments, std::size_t nArguments);
void DebugText(MessageId id, const Argument* pArguments, std::size_t nArguments);

/// A numbered text on the log; nothing is formatted when the log is silent.
template <class... Arguments>
void LogFormat(MessageId id, const Arguments&... arguments) {
    if (!link.fLogReports) return;
    const Argument list[] = {Argument(arguments)..., Argument(0)};
    LogText(id, list, sizeof...(arguments));
}

/// A numbered text on the status line.
template <class... Arguments>
void StatusFormat(MessageId id, const Arguments&... arguments) {
    const Argument list[] = {Argument(arguments)..., Argument(0)};
    StatusText(id, list, sizeof...(arguments));
}

/// A numbered warning; the work goes on.
template <class... Arguments>
void Warn(MessageId id, const Arguments&... arguments) {
    const Argument list[] = {Argument(arguments)..., Argument(0)};
    WarnText(id, list, sizeof...(arguments));
}

/// A numbered text on the error channel; the work goes on.
template <class... Arguments>
void ErrorFormat(MessageId id, const Arguments&... arguments) {
    const Argument list[] = {Argument(arguments)..., Argument(0)};
    ErrorText(id, list, sizeof...(arguments));
}

/// A numbered text on the debug channel.
template <class... Arguments>
void DebugFormat(MessageId id, const Arguments&... arguments) {
    const Argument list[] = {Argument(arguments)..., Argument(0)};
    DebugText(id, list, sizeof...(arguments));
}

// ---- packets ------------------------------------------------------------------------------------

/// Sends one packet of nLength bytes, 0 .. kMaxPayload, and waits until the client has fetched it.
/// A packet to our own node or kNodeSelf is kept for the next ReceivePacket; one to any other node
/// than the client's is dropped, and so is any packet of a worker.
void SendPacket(PacketType nType, const void* pData, int nLength, int nDestination = kNodeFrontend);

/// Sends nBytes in packets of at most kMaxPayload bytes; nothing for 0 bytes.
void SendChunked(PacketType nType, const void* pData, std::size_t nBytes,
                 int nDestination = kNodeFrontend);

/// Waits for a packet and stores at most nCapacity bytes of it in pBuffer; bytes beyond are
/// dropped, and a shorter packet leaves the rest of the buffer as it was. Returns the bytes stored.
int ReceivePacket(void* pBuffer, int nCapacity);

/// Receives the next of the packets that came ahead of the session; where there is none, demands
/// one from the client. Returns the bytes stored.
int RequestPacket(void* pBuffer, int nCapacity);

/// RequestPacket for a step that needs all nBytes: a shorter packet is refused with
/// kMsgPacketShort, which names the step. The buffer is zeroed first.
void RequestWhole(const char* sStep, void* pBuffer, int nBytes);

// ---- the cooperative yield ----------------------------------------------------------------------

/// Charges work to the counter; once per 2^nYieldShift units it handles one waiting message, which
/// is where a lost client or a quit unwinds out of a calculation. A unit has no fixed size: a loop
/// charges what it likes, usually a row length.
void Yield(std::size_t nUnits);

/// Starts the count anew, as each job does, and pumps once per 2^14 units from now on.
void ResetYield();

/// Handles at most one waiting message. Unwinds with LinkStop when the process is to end or, in a
/// session, the client is gone. In a worker nothing is waiting.
void PumpOneMessage();

}  // namespace qsolve
