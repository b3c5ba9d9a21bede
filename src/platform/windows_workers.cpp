#include <algorithm>
#include <thread>

#include "link/workers.h"

/// No copy of a process can be made here: all work is done by the process itself.

namespace qsolve {

int CountProcessors() {
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

bool StartWorkers(int, int, std::size_t, WorkerFunction, void*) {
    return false;
}

WorkerMessage NextWorkerMessage() {
    return {};
}

void WaitForWorkers() {}

void EndWorkers() noexcept {}

void SendTextFromWorker(int, const char*) {}

}  // namespace qsolve
