#include <cstdio>
#include <string>

#include "link/conversation.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "platform/platform.h"
#include "session/program_options.h"
#include "session/session.h"

namespace qsolve {

namespace {

constexpr int kBadUsage = 2;

/// Says on standard error why the program cannot be started like this.
int Complain(const std::string& sComplaint) {
    std::fprintf(stderr, "qsolve: %s\n", sComplaint.c_str());
    return kBadUsage;
}

}  // namespace

int BackendMain(const char* sCommandLine) {
    const ProgramOptions programOptions = ReadProgramOptions(sCommandLine);
    if (!programOptions.sComplaint.empty()) return Complain(programOptions.sComplaint);
    const std::string sComplaint = UseProgramOptions(programOptions);
    if (!sComplaint.empty()) return Complain(sComplaint);
    if (programOptions.fVersion) {
        std::fputs(DescribeProgram().c_str(), stdout);
        return 0;
    }
    ChooseTopic(programOptions.sWords.c_str());
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
    StopThreads();
    return StopPlatform();
}

}  // namespace qsolve
