#include <errno.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

/// Loaded ahead of a program, has its sockets full for a moment: of each thing that it sends, as
/// many tries as FULL_SOCKET says find no room, and the next one does. poll() always finds some.

namespace {

int nTriesInVain = 0;

int TriesInVain() {
    const char* sTries = getenv("FULL_SOCKET");
    return sTries ? atoi(sTries) : 0;
}

}  // namespace

extern "C" ssize_t send(int nSocket, const void* pBytes, size_t nBytes, int nFlags) {
    if (nTriesInVain < TriesInVain()) {
        ++nTriesInVain;
        errno = EAGAIN;
        return -1;
    }
    nTriesInVain = 0;
    return syscall(SYS_sendto, nSocket, pBytes, nBytes, nFlags, nullptr, 0);
}
