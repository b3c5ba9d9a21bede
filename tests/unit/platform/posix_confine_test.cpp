#include "platform/posix_confine.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace qsolve {
namespace {

constexpr int kNoSuchPromise = 77;

/// Runs f in a copy of the process that has been confined; what it returns, 0 to 255.
template <class F>
int Confined(bool fListening, const F& f) {
    const pid_t nProcess = fork();
    if (nProcess == 0) {
        if (!Confine(fListening)) _exit(kNoSuchPromise);
        _exit(f());
    }
    int nStatus = 0;
    waitpid(nProcess, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -WTERMSIG(nStatus);
}

#define NEEDS_THE_PROMISE()                                  \
    if (Confined(false, [] { return 0; }) == kNoSuchPromise) \
    GTEST_SKIP() << "neither this build nor this system has it"

/// What the error of a call says; 0 where it went well.
int ErrorOf(long nResult) {
    return nResult < 0 ? errno : 0;
}

TEST(Confine, RefusesFilesProgramsAndNetwork) {
    NEEDS_THE_PROMISE();
    EXPECT_EQ(Confined(false, [] { return ErrorOf(open("/dev/null", O_RDONLY)); }), EPERM);
    EXPECT_EQ(Confined(false, [] { return ErrorOf(creat("/tmp/qsolve-none", 0600)); }), EPERM);
    EXPECT_EQ(Confined(false, [] { return ErrorOf(mkdir("/tmp/qsolve-none", 0700)); }), EPERM);
    EXPECT_EQ(Confined(false, [] { return ErrorOf(rename("/tmp/qsolve-1", "/tmp/q-2")); }), EPERM);
    EXPECT_EQ(Confined(false, [] { return ErrorOf(execl("/bin/true", "true", nullptr)); }), EPERM);
    EXPECT_EQ(Confined(false, [] { return ErrorOf(socket(AF_INET, SOCK_STREAM, 0)); }), EPERM);
    EXPECT_EQ(Confined(false, [] { return ErrorOf(syscall(100000)); }), ENOSYS);
}

TEST(Confine, RefusesTheOtherTableOfCalls) {
    NEEDS_THE_PROMISE();
    constexpr long kOpenByOtherTable = 0x40000000 | 2;
    EXPECT_EQ(Confined(false, [] { return ErrorOf(syscall(kOpenByOtherTable, "/", 0)); }), EPERM);
}

TEST(Confine, LeavesAListenerTheRemovalOfItsSocket) {
    NEEDS_THE_PROMISE();
    const auto Remove = [] { return ErrorOf(unlink("/tmp/qsolve-no-such-file")); };
    EXPECT_EQ(Confined(false, Remove), EPERM);
    EXPECT_EQ(Confined(true, Remove), ENOENT);
}

TEST(Confine, LeavesMemoryThreadsCopiesAndPipes) {
    NEEDS_THE_PROMISE();
    EXPECT_EQ(
        Confined(false,
                 [] {
                     int nEnds[2], nStatus = 1;
                     if (pipe2(nEnds, O_CLOEXEC) != 0) return 1;
                     bool fRan = false;
                     std::thread([&] { fRan = std::vector<char>(64 << 20).size() > 0; }).join();
                     const pid_t nCopy = fork();
                     if (nCopy == 0) _exit(write(nEnds[1], "x", 1) == 1 ? 0 : 2);
                     char c = 0;
                     if (waitpid(nCopy, &nStatus, 0) != nCopy || nStatus != 0) return 3;
                     return fRan && read(nEnds[0], &c, 1) == 1 && c == 'x' ? 0 : 4;
                 }),
        0);
}

}  // namespace
}  // namespace qsolve
