#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>

#include "link/memory.h"
#include "link/messages.h"
#include "link/small_blocks.h"
#include "link/spare_blocks.h"
#include "session/session.h"

namespace {

/// More than any session needs of the stack; the product of matrices takes most of it. On Windows a
/// stack has twice as much.
constexpr std::size_t kStackBytes = 1 << 20;

/// Of large and of small blocks kept between jobs; none where each use after the end of a block
/// shall be seen.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kSpareBytes = 0, kSmallBytes = 0;
#else
constexpr std::size_t kSpareBytes = std::size_t{512} << 20, kSmallBytes = std::size_t{4} << 20;
#endif

/// The arguments, with blanks between them.
std::string CommandLine(int nArguments, char** pArguments) {
    std::string sCommandLine;
    for (int i = 1; i < nArguments; ++i) {
        if (i > 1) sCommandLine += ' ';
        sCommandLine += pArguments[i];
    }
    return sCommandLine;
}

void SayNoMemory() {
    std::fprintf(stderr, "qsolve: %s\n", qsolve::MessageText(qsolve::kMsgOutOfMemory));
}

/// Without memory for an exception there is nothing to catch; what is caught nowhere is a fault.
[[noreturn]] void EndWithoutException() {
    if (std::current_exception()) std::abort();
    SayNoMemory();
    std::_Exit(1);
}

/// The stack then reaches down to here; pages between are given when they are used.
[[gnu::noinline]] void TouchStack() {
    volatile char stack[kStackBytes];
    stack[0] = 0;
    static_cast<void>(stack[0]);
}

/// Makes the system give the stack its room while there is memory: a stack that cannot grow ends
/// the process where an array that cannot be taken is told to the client. False without memory.
bool GrowStack() {
    void* pProbe = std::malloc(2 * kStackBytes);
    if (!pProbe) return false;
    std::free(pProbe);
    TouchStack();
    return true;
}

}  // namespace

/// Process entry. What a session lacks memory for is said to its client; only the start itself can
/// fail here.
int main(int nArguments, char** pArguments) {
    std::set_terminate(EndWithoutException);
    try {
        if (!GrowStack()) throw std::bad_alloc();
        qsolve::KeepFreedMemory();
        qsolve::LimitSpareBlocks(kSpareBytes);
        qsolve::LimitSmallBlocks(kSmallBytes);
        return qsolve::BackendMain(CommandLine(nArguments, pArguments).c_str());
    } catch (const std::bad_alloc&) {
        SayNoMemory();
        return 1;
    }
}
