#pragma once

#include <cstddef>

/// Copies of the process that compute side by side: the seam between the rooms that share out work
/// and the operating system, written by platform/. A copy inherits all state as it stands and says
/// nothing to the client: its texts go to the process that started it, and so do its results. Where
/// no copy can be made the work has to be done without.

namespace qsolve {

/// Processors that this process may use, at least 1.
int CountProcessors();

/// What a copy does: one item of the work into vResult. pContext is what StartWorkers was given, as
/// the copy has it. What it throws ends the copy.
using WorkerFunction = void (*)(void* pContext, int nItem, double* vResult);

/// Starts nWorkers copies that compute the items 0 .. nItems - 1, each the next that nobody has
/// taken, nResult doubles an item. False, with no copy left running, where the system refuses.
bool StartWorkers(int nWorkers, int nItems, std::size_t nResult, WorkerFunction pCompute,
                  void* pContext);

enum class WorkerNews {
    kNone,    ///< nothing has come
    kResult,  ///< nValue is the item, pBytes its result
    kText,    ///< nValue is the PacketType of the channel, pBytes the text with its NUL
    kFailed,  ///< a copy has ended with the numbered failure nValue, 0 for another, its text sent
    kLost,    ///< a copy has ended before its work was done
};

/// One piece of news; pBytes are not aligned and hold until the next call.
struct WorkerMessage {
    WorkerNews nNews = WorkerNews::kNone;
    int nValue = 0;
    const unsigned char* pBytes = nullptr;
};

/// Takes the next piece of news, without waiting.
WorkerMessage NextWorkerMessage();

/// Sleeps until there is news of the copies, or a message or transaction of the link, which is
/// handled. Returns at once when link.fQuit is set.
void WaitForWorkers();

/// Ends and reaps all copies. Nothing is left of them.
void EndWorkers() noexcept;

/// In a copy: sends one line of a text channel to the process that started it.
void SendTextFromWorker(int nChannel, const char* sText);

}  // namespace qsolve
