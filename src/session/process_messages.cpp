#include <exception>
#include <new>
#include <utility>

#include "link/conversation.h"
#include "link/link.h"
#include "session/session.h"

namespace qsolve {

namespace {

/// Sends a text from a frame, where a further failure has nowhere to go but the end of the link.
void SayAtFrame(MessageId id) {
    try {
        ErrorFormat(id);
    } catch (const Unwinding&) {
        // The text cannot be sent; the frame goes on without it.
    }
}

/// Marks the session. At its end, however it comes, the client learns of it, or the session that
/// was asked for meanwhile is started.
struct SessionMark {
    SessionMark() { link.fInSession = true; }
    ~SessionMark() {
        link.fInSession = false;
        ForgetAhead();
        if (std::exchange(link.fStartDeferred, false))
            PostToSelf(Message::kStartSession);
        else
            SessionEnded();
    }
    SessionMark(const SessionMark&) = delete;
    SessionMark& operator=(const SessionMark&) = delete;
};

void StartSession() {
    if (link.fInSession) {
        link.fStartDeferred = true;
        return;
    }
    if (!link.fConversation) return;
    link.fLinkDown = false;
    SessionMark mark;
    RunSession();
}

}  // namespace

void ReportFailure() {
    try {
        throw;
    } catch (const Unwinding&) {
        // Its text has gone out.
    } catch (const LinkStop&) {
        throw;
    } catch (const std::bad_alloc&) {
        SayAtFrame(kMsgOutOfMemory);
    } catch (...) {
        SayAtFrame(kMsgFatalError);
    }
}

void HandleProcessMessage(Message message) {
    switch (message) {
        case Message::kStartSession:
            StartSession();
            break;
        case Message::kLinkLost:
            link.fLinkDown = true;
            link.fPacketPending = false;
            link.fQuit = true;
            break;
    }
}

}  // namespace qsolve
