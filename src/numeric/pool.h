#pragma once

#include <type_traits>

namespace qsolve {

/// The threads of the process, the calling one among them. They are started on first use and sleep
/// while there is nothing to do. Which thread does what is left to chance, so a task must write
/// what no other task reads or writes; then no bit of a result depends on their number.

/// Lets ForEachTask use up to nThreads threads; 0 stands for one on each processor. Not to be
/// called from a task.
void SetThreads(int nThreads);

/// The number of threads that ForEachTask may use now: 1 inside a task, in a forked child, and
/// where no thread can be started.
int Threads();

/// Ends the threads; the next use starts them again.
void StopThreads();

/// Tells the pool that this process is a fork of the one with the threads: from here on it is
/// serial.
void ForgetThreads() noexcept;

/// A function of the number of a task and of what the caller knows about all of them.
using Task = void (*)(int nTask, const void* pContext);

/// Runs pTask(0 .. nTasks - 1, pContext) and returns when all are done. A task does not throw and
/// does not yield; a task inside a task runs on its own thread.
void RunTasks(int nTasks, Task pTask, const void* pContext);

/// f(0) .. f(nTasks - 1), as RunTasks.
template <class F>
void ForEachTask(int nTasks, const F& f) {
    RunTasks(
        nTasks, [](int nTask, const void* pContext) { (*static_cast<const F*>(pContext))(nTask); },
        &f);
}

/// The same by several threads only where that is worth it.
template <class F>
void ForEachTaskIf(bool fWorth, int nTasks, const F& f) {
    if (fWorth) return ForEachTask(nTasks, f);
    for (int i = 0; i < nTasks; ++i) f(i);
}

}  // namespace qsolve
