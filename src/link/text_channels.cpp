#include <cstring>

#include "link/held.h"
#include "link/link.h"
#include "link/transport.h"
#include "link/workers.h"

namespace qsolve {

namespace {

/// A line to the client with its NUL, or to standard output while there is none; from a worker to
/// the process that started it. What is longer than a packet is cut.
void SendText(PacketType nType, const char* sText) {
    if (link.fWorker) return SendTextFromWorker(nType, sText);
    if (link.fLinkDown) {
        PrintLine(sText);
        return;
    }
    const std::size_t nLength = std::strlen(sText) + 1;
    if (nLength <= kMaxPayload) {
        SendPacket(nType, sText, static_cast<int>(nLength));
        return;
    }
    static_assert(sizeof link.SendBuffer.Payload == kMaxPayload);
    char sCut[kMaxPayload];
    std::memcpy(sCut, sText, kMaxPayload - 1);
    sCut[kMaxPayload - 1] = '\0';
    SendPacket(nType, sCut, kMaxPayload);
}

/// A numbered text with its arguments filled in.
struct Formatted {
    char sText[kTextCapacity];

    Formatted(MessageId id, const Argument* pArguments, std::size_t nArguments) {
        const char* sFormat = MessageText(id);
        FormatText(sText, sizeof sText, sFormat ? sFormat : "", pArguments, nArguments);
    }
};

}  // namespace

void LogLine(const char* sText) {
    SendText(kPacketLogLine, sText);
}
void StatusLine(const char* sText) {
    SendText(kPacketStatusLine, sText);
}
void WarningLine(const char* sText) {
    if (link.fShowWarnings && link.nOwnNode == kNodeBackend) SendText(kPacketWarningLine, sText);
}
void ErrorLine(const char* sText) {
    SendText(kPacketErrorLine, sText);
}
void DebugLine(const char* sText) {
    SendText(kPacketDebugLine, sText);
}

void LogText(MessageId id, const Argument* pArguments, std::size_t nArguments) {
    LogLine(Formatted(id, pArguments, nArguments).sText);
}
void StatusText(MessageId id, const Argument* pArguments, std::size_t nArguments) {
    StatusLine(Formatted(id, pArguments, nArguments).sText);
}
void WarnText(MessageId id, const Argument* pArguments, std::size_t nArguments) {
    WarningLine(Formatted(id, pArguments, nArguments).sText);
}
void ErrorText(MessageId id, const Argument* pArguments, std::size_t nArguments) {
    ErrorLine(Formatted(id, pArguments, nArguments).sText);
}
void DebugText(MessageId id, const Argument* pArguments, std::size_t nArguments) {
    DebugLine(Formatted(id, pArguments, nArguments).sText);
}

void FatalText(MessageId id, const Argument* pArguments, std::size_t nArguments) {
    if (link.fInFatal) throw Unwinding{id};
    bool fStop = false;
    {
        const Held report(link.fInFatal, true);  // a second failure is not reported
        try {
            ErrorText(id, pArguments, nArguments);
        } catch (const Unwinding&) {
            // A failure of the report itself: the first one counts.
        } catch (const LinkStop&) {
            fStop = true;
        }
    }
    if (fStop) throw LinkStop{};
    throw Unwinding{id};
}

}  // namespace qsolve
