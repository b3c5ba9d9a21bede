#include "numeric/pool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace qsolve {
namespace {

constexpr int kMostThreads = 256;
constexpr int kMostTasks = 0xffff;

/// Looks at a word before sleeping on it: 200 to 500 microseconds. To wake up takes about 100,
/// and within a calculation the next round mostly comes sooner.
constexpr int kLooks = 10000;

/// Where a thread sleeps until a word changes. The wait of std::atomic is not used for it: where
/// the system has no futex, the library checks the word before it takes its lock, and a change
/// between the two wakes nobody.
class Bell {
  public:
    /// Waits until the word differs from nOld.
    template <class T>
    void WaitWhile(const std::atomic<T>& word, T nOld) {
        for (int i = 0; i < kLooks; ++i) {
            if (word.load(std::memory_order_acquire) != nOld) return;
            Relax();
        }
        std::unique_lock lock(mutex);
        nSleepers.fetch_add(1);
        changed.wait(lock, [&] { return word.load() != nOld; });
        nSleepers.fetch_sub(1);
    }

    /// Wakes all who wait, after a change of the word. Of the change and the entry of a sleeper one
    /// comes first: either the sleeper sees the word changed, or this sees that there is a sleeper,
    /// and then the lock lets it fall asleep before it is woken.
    void Ring() {
        std::atomic_thread_fence(std::memory_order_seq_cst);
        if (nSleepers.load() == 0) return;
        static_cast<void>(std::lock_guard(mutex));
        changed.notify_all();
    }

  private:
    static void Relax() {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#endif
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::atomic<int> nSleepers{0};
};

/// The threads besides the caller, and what wakes them. A forked child leaves all of it alone: to
/// destroy a bell on which the parent's threads sleep would take for ever.
struct Team {
    Bell begin;  ///< rung with a new round
    Bell end;    ///< rung when a round is done
    std::vector<std::thread> threads;
};

/// What is to be done, and how far it is. A ticket is the number of a round and the first and the
/// end of its tasks that nobody has taken: the caller takes the first ones, the others the last, so
/// that from round to round a task tends to find its data in the cache of its processor. Who
/// exchanges a ticket with tasks left for the next one owns a task, and the round cannot end, nor
/// the fields change, before that is done. A thread that comes too late finds no task left or
/// another round, and takes nothing.
struct Pool {
    std::atomic<std::uint64_t> nTicket{0};  ///< round << 32 | first << 16 | end
    std::atomic<std::uint32_t> nRound{0};   ///< the threads sleep until it changes
    std::atomic<int> nTasks{0};
    std::atomic<int> nDone{0};  ///< tasks of the round; the caller sleeps on it
    std::atomic<Task> pTask{nullptr};
    std::atomic<const void*> pContext{nullptr};
    std::atomic<bool> fStop{false};

    int nWanted = 0;       ///< threads by SetThreads
    bool fForked = false;  ///< the threads belong to another process
    std::unique_ptr<Team> pTeam;
    ~Pool() { StopThreads(); }
};
constinit Pool pool;

/// Whether this thread is inside a task.
thread_local bool fInTask = false;

/// Works on the tasks of a round until none is left, or another round has begun; from the front or
/// from the back.
void Work(std::uint32_t nRound, bool fFront) {
    const int nTasks = pool.nTasks.load(std::memory_order_relaxed);
    const Task pTask = pool.pTask.load(std::memory_order_relaxed);
    const void* pContext = pool.pContext.load(std::memory_order_relaxed);
    std::uint64_t nTicket = pool.nTicket.load(std::memory_order_acquire);
    fInTask = true;
    while (static_cast<std::uint32_t>(nTicket >> 32) == nRound) {
        const int nFirst = static_cast<int>(nTicket >> 16 & kMostTasks);
        const int nEnd = static_cast<int>(nTicket & kMostTasks);
        if (nFirst == nEnd) break;
        const std::uint64_t nNext = fFront ? nTicket + (1u << 16) : nTicket - 1;
        if (!pool.nTicket.compare_exchange_weak(nTicket, nNext, std::memory_order_acq_rel,
                                                std::memory_order_acquire))
            continue;
        pTask(fFront ? nFirst : nEnd - 1, pContext);
        if (pool.nDone.fetch_add(1, std::memory_order_acq_rel) + 1 == nTasks)
            pool.pTeam->end.Ring();
        nTicket = pool.nTicket.load(std::memory_order_acquire);
    }
    fInTask = false;
}

void LiveAsThread(std::uint32_t nRound) {
    while (true) {
        pool.pTeam->begin.WaitWhile(pool.nRound, nRound);
        // The number first: who reads that of the stop sees fStop, and who reads an earlier one
        // finds it changed when going to sleep.
        nRound = pool.nRound.load(std::memory_order_acquire);
        if (pool.fStop.load(std::memory_order_acquire)) return;
        Work(nRound, false);
    }
}

void StartThreads(int nMore) {
    pool.pTeam = std::make_unique<Team>();
    pool.fStop.store(false, std::memory_order_release);
    const std::uint32_t nRound = pool.nRound.load(std::memory_order_relaxed);
    try {
        for (int i = 0; i < nMore; ++i) pool.pTeam->threads.emplace_back(LiveAsThread, nRound);
    } catch (const std::exception&) {
        // The system has no more of them, or no memory: those that are there do the work.
    }
}

}  // namespace

void SetThreads(int nThreads) {
    if (nThreads == pool.nWanted) return;
    StopThreads();
    pool.nWanted = std::clamp(nThreads, 0, kMostThreads);
}

int Threads() {
    if (fInTask || pool.fForked) return 1;
    if (pool.pTeam) return 1 + static_cast<int>(pool.pTeam->threads.size());
    if (pool.nWanted == 0)
        pool.nWanted =
            std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMostThreads);
    return pool.nWanted;
}

void StopThreads() {
    if (!pool.pTeam) return;
    pool.fStop.store(true, std::memory_order_release);
    pool.nRound.fetch_add(1, std::memory_order_acq_rel);
    pool.pTeam->begin.Ring();
    for (std::thread& thread : pool.pTeam->threads) thread.join();
    pool.pTeam.reset();
}

void ForgetThreads() noexcept {
    pool.fForked = true;
    static_cast<void>(pool.pTeam.release());  // they are not here to be joined
}

void RunTasks(int nTasks, Task pTask, const void* pContext) {
    if (nTasks < 2 || nTasks > kMostTasks || Threads() < 2) {
        for (int i = 0; i < nTasks; ++i) pTask(i, pContext);
        return;
    }
    if (!pool.pTeam) StartThreads(Threads() - 1);
    pool.nTasks.store(nTasks, std::memory_order_relaxed);
    pool.pTask.store(pTask, std::memory_order_relaxed);
    pool.pContext.store(pContext, std::memory_order_relaxed);
    pool.nDone.store(0, std::memory_order_relaxed);
    const std::uint32_t nRound = pool.nRound.load(std::memory_order_relaxed) + 1;
    const auto nEnd = static_cast<std::uint64_t>(nTasks);
    pool.nTicket.store(static_cast<std::uint64_t>(nRound) << 32 | nEnd, std::memory_order_release);
    pool.nRound.store(nRound, std::memory_order_release);
    pool.pTeam->begin.Ring();
    Work(nRound, true);
    for (int nDone; (nDone = pool.nDone.load(std::memory_order_acquire)) < nTasks;)
        pool.pTeam->end.WaitWhile(pool.nDone, nDone);
}

}  // namespace qsolve
