#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>
#include <vector>

#include "link/link.h"
#include "link/workers.h"
#include "numeric/pool.h"
#include "platform/posix_transport.h"

namespace qsolve {
namespace {

/// Ahead of each message of a copy.
struct Head {
    int32_t nNews;
    int32_t nValue;
    uint32_t nBytes;
};

/// Longest text that a copy may send.
constexpr std::size_t kLongestText = 65536;

/// The process's side of one copy.
struct Copy {
    pid_t nProcess = -1;
    int nPipe = -1;                 ///< what it writes can be read here; -1 once it has ended
    std::vector<unsigned char> In;  ///< what has come
    std::size_t nTaken = 0;         ///< bytes of it that have been handed out
};

/// The work that is shared out.
struct Work {
    int nItems = 0;
    std::size_t nResult = 0;  ///< doubles an item
    WorkerFunction pCompute = nullptr;
    void* pContext = nullptr;
};

struct Pool {
    std::vector<Copy> Copies;
    Work Task;
    std::atomic<int>* pNextItem = nullptr;  ///< shared by all copies
    int nToParent = -1;                     ///< in a copy: where it writes
};
Pool pool;

// ---- in a copy ----------------------------------------------------------------------------------

/// Writes all bytes; a copy that nobody listens to has nothing left to do.
void WriteAll(const void* pData, std::size_t nBytes) {
    const auto* p = static_cast<const unsigned char*>(pData);
    while (nBytes > 0) {
        const ssize_t n = write(pool.nToParent, p, nBytes);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) _exit(1);
        p += n;
        nBytes -= static_cast<std::size_t>(n);
    }
}

void TellParent(WorkerNews nNews, int nValue, const void* pData, std::size_t nBytes) {
    const Head head = {static_cast<int32_t>(nNews), nValue, static_cast<uint32_t>(nBytes)};
    WriteAll(&head, sizeof head);
    WriteAll(pData, nBytes);
}

/// The life of a copy. It never returns, so that nothing of the process it was is done twice.
[[noreturn]] void WorkAndExit(pid_t nParent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != nParent) _exit(1);
    AbandonLink();
    ForgetThreads();
    link.fWorker = true;
    int nFailure = 0;
    try {
        Array<double> vResult;
        const Work& task = pool.Task;
        vResult.Take(task.nResult, kWork);
        for (int n = (*pool.pNextItem)++; n < task.nItems; n = (*pool.pNextItem)++) {
            task.pCompute(task.pContext, n, vResult.Data());
            TellParent(WorkerNews::kResult, n, vResult.Data(), task.nResult * sizeof(double));
        }
        _exit(0);
    } catch (const Unwinding& failure) {
        nFailure = failure.nId;
    } catch (...) {
    }
    TellParent(WorkerNews::kFailed, nFailure, nullptr, 0);
    _exit(0);
}

// ---- in the process that started them -----------------------------------------------------------

bool TakeCounter() {
    void* p = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                   MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return false;
    pool.pNextItem = new (p) std::atomic<int>(0);
    return true;
}

/// Forks one copy, which ends in WorkAndExit. Returns false where there is no descriptor or
/// process left.
bool StartCopy() {
    int nEnds[2];
    if (pipe2(nEnds, O_CLOEXEC) != 0) return false;
    const pid_t nParent = getpid(), nProcess = fork();
    if (nProcess == 0) {
        close(nEnds[0]);
        for (const Copy& other : pool.Copies) close(other.nPipe);
        pool.nToParent = nEnds[1];
        WorkAndExit(nParent);
    }
    close(nEnds[1]);
    if (nProcess < 0) {
        close(nEnds[0]);
        return false;
    }
    fcntl(nEnds[0], F_SETFL, O_NONBLOCK);
    Copy& copy = pool.Copies.emplace_back();
    copy.nProcess = nProcess;
    copy.nPipe = nEnds[0];
    return true;
}

/// Waits for the end of a copy. Whether it ended by itself.
bool Reap(Copy& copy) noexcept {
    int nStatus = 0;
    while (waitpid(copy.nProcess, &nStatus, 0) < 0 && errno == EINTR) continue;
    close(copy.nPipe);
    copy.nProcess = copy.nPipe = -1;
    return WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
}

/// Takes in what a copy has written. False at its end.
bool ReadSome(Copy& copy) {
    unsigned char buffer[65536];
    const ssize_t n = read(copy.nPipe, buffer, sizeof buffer);
    if (n < 0) return errno == EAGAIN || errno == EINTR;
    if (n == 0) return false;
    copy.In.erase(copy.In.begin(), copy.In.begin() + static_cast<std::ptrdiff_t>(copy.nTaken));
    copy.nTaken = 0;
    copy.In.insert(copy.In.end(), buffer, buffer + n);
    return true;
}

/// Whether what a copy has announced is what a copy sends.
bool IsSound(const Head& head) {
    switch (static_cast<WorkerNews>(head.nNews)) {
        case WorkerNews::kResult:
            return head.nBytes == pool.Task.nResult * sizeof(double);
        case WorkerNews::kText:
            return head.nBytes > 0 && head.nBytes <= kLongestText;
        case WorkerNews::kFailed:
            return head.nBytes == 0;
        default:
            return false;
    }
}

/// The next whole message of a copy, if it has come.
WorkerMessage MessageOf(Copy& copy) {
    const std::size_t nLeft = copy.In.size() - copy.nTaken;
    Head head;
    if (nLeft < sizeof head) return {};
    const unsigned char* p = copy.In.data() + copy.nTaken;
    memcpy(&head, p, sizeof head);
    if (!IsSound(head)) return {WorkerNews::kLost};
    if (nLeft - sizeof head < head.nBytes) return {};
    copy.nTaken += sizeof head + head.nBytes;
    return {static_cast<WorkerNews>(head.nNews), head.nValue, p + sizeof head};
}

}  // namespace

int CountProcessors() {
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

bool StartWorkers(int nWorkers, int nItems, std::size_t nResult, WorkerFunction pCompute,
                  void* pContext) {
    EndWorkers();
    if (!TakeCounter()) return false;
    pool.Task = {nItems, nResult, pCompute, pContext};
    try {
        pool.Copies.reserve(static_cast<std::size_t>(nWorkers));
        for (int i = 0; i < nWorkers; ++i)
            if (!StartCopy()) break;
    } catch (const std::bad_alloc&) {
    }
    if (!pool.Copies.empty()) return true;
    EndWorkers();
    return false;
}

WorkerMessage NextWorkerMessage() {
    for (Copy& copy : pool.Copies) {
        if (copy.nPipe < 0) continue;
        WorkerMessage message = MessageOf(copy);
        while (message.nNews == WorkerNews::kNone) {
            const std::size_t nBefore = copy.In.size() - copy.nTaken;
            if (!ReadSome(copy)) {
                if (!Reap(copy) || nBefore > 0) return {WorkerNews::kLost};
                break;
            }
            if (copy.In.size() - copy.nTaken == nBefore) break;
            message = MessageOf(copy);
        }
        if (message.nNews != WorkerNews::kNone) return message;
    }
    return {};
}

void WaitForWorkers() {
    std::vector<int> pipes;
    for (const Copy& copy : pool.Copies)
        if (copy.nPipe >= 0) pipes.push_back(copy.nPipe);
    if (!pipes.empty()) WaitWithLink(pipes.data(), static_cast<int>(pipes.size()));
}

void EndWorkers() noexcept {
    for (Copy& copy : pool.Copies) {
        if (copy.nProcess < 0) continue;
        kill(copy.nProcess, SIGKILL);
        Reap(copy);
    }
    pool.Copies.clear();
    if (pool.pNextItem != nullptr) munmap(pool.pNextItem, sizeof(std::atomic<int>));
    pool.pNextItem = nullptr;
}

void SendTextFromWorker(int nChannel, const char* sText) {
    const std::size_t nLength = std::min(strlen(sText), kLongestText - 1);
    const Head head = {static_cast<int32_t>(WorkerNews::kText), nChannel,
                       static_cast<uint32_t>(nLength + 1)};
    WriteAll(&head, sizeof head);
    WriteAll(sText, nLength);
    WriteAll("", 1);
}

}  // namespace qsolve
