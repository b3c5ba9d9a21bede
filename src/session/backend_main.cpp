#include "link/conversation.h"
#include "link/link.h"
#include "platform/platform.h"
#include "session/session.h"

namespace qsolve {

int BackendMain(const char* sCommandLine) {
    ChooseTopic(sCommandLine);
    if (!StartPlatform(HandleProcessMessage)) return 1;
    while (!link.fQuit) {
        try {
            WaitForMessage();
        } catch (const LinkStop&) {
            // The link's end is posted, or the process told to quit: the loop sees either.
        } catch (const Unwinding&) {
            // Its text has gone out.
        }
    }
    return StopPlatform();
}

}  // namespace qsolve
