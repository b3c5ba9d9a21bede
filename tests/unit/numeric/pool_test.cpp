#include "numeric/pool.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "numeric/product.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// A test that sets the number of threads leaves them as they are by default.
struct Pool : testing::TestWithParam<int> {
    ~Pool() override { SetThreads(0); }
};

TEST_P(Pool, RunsEachTaskOnce) {
    SetThreads(GetParam());
    EXPECT_EQ(Threads(), GetParam());
    for (int nRound = 0; nRound < 2000; ++nRound) {
        const int nTasks = nRound % 23;
        std::vector<int> counts(static_cast<std::size_t>(nTasks));
        ForEachTask(nTasks, [&](int i) { ++counts[static_cast<std::size_t>(i)]; });
        ASSERT_EQ(counts, std::vector<int>(static_cast<std::size_t>(nTasks), 1)) << nRound;
    }
}

TEST_P(Pool, ShowsTheCallerWhatTheTasksHaveWritten) {
    SetThreads(GetParam());
    std::vector<double> v(64, 1.0);
    for (int nRound = 0; nRound < 500; ++nRound) {
        ForEachTask(64, [&](int i) { v[static_cast<std::size_t>(i)] += i; });
        for (double& x : v) x += 1.0;  // and the tasks of the next round what the caller has
    }
    for (int i = 0; i < 64; ++i) EXPECT_EQ(v[static_cast<std::size_t>(i)], 501.0 + 500.0 * i);
}

TEST_P(Pool, RunsATaskOfATaskOnItsOwnThread) {
    SetThreads(GetParam());
    std::atomic<int> nWrong{0}, nInner{0};
    ForEachTask(8, [&](int) {
        const auto id = std::this_thread::get_id();
        if (Threads() != 1) ++nWrong;
        ForEachTask(5, [&](int) {
            ++nInner;
            if (std::this_thread::get_id() != id) ++nWrong;
        });
    });
    EXPECT_EQ(nWrong, 0);
    EXPECT_EQ(nInner, 40);
    EXPECT_EQ(Threads(), GetParam());
}

TEST_P(Pool, StartsAgainAfterItHasBeenStopped) {
    SetThreads(GetParam());
    for (int i = 0; i < 500; ++i) {
        std::atomic<int> nDone{0};
        ForEachTask(10, [&](int) { ++nDone; });
        EXPECT_EQ(nDone, 10);
        StopThreads();
    }
}

INSTANTIATE_TEST_SUITE_P(Threads, Pool, testing::Values(1, 2, 3, 8));

TEST_F(Pool, UsesMoreThanOneThread) {
    SetThreads(2);
    const auto id = std::this_thread::get_id();
    std::atomic<bool> fOther{false};
    // A task of the caller waits until the other thread has come.
    ForEachTask(2, [&](int) {
        if (std::this_thread::get_id() != id) fOther = true;
        for (int i = 0; !fOther && i < 100000; ++i)
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    });
    EXPECT_TRUE(fOther);
}

TEST_F(Pool, KeepsTheNumberOfThreadsWithinBounds) {
    SetThreads(100000);
    EXPECT_LE(Threads(), 256);
    SetThreads(-3);
    EXPECT_GE(Threads(), 1);
}

/// The result of a product with each number of threads.
void ExpectTheSameBits(Product product) {
    const std::size_t nSize =
        static_cast<std::size_t>(product.nRows) * static_cast<std::size_t>(product.nStepC);
    std::vector<double> wanted;
    for (const int nThreads : {1, 2, 3, 7}) {
        SetThreads(nThreads);
        std::vector<double> c(nSize, 1.0);
        product.pC = c.data();
        AddProduct(product);
        if (wanted.empty()) wanted = c;
        ASSERT_EQ(c, wanted) << nThreads << " threads";
    }
}

TEST_F(Pool, ChangesNoBitOfAProduct) {
    const int n = 331, m = 190;
    const TestMatrix a = RandomMatrix(n, n, 1), b = RandomMatrix(n, n, 2);
    for (const Triangle triangle : {Triangle::kWhole, Triangle::kLower, Triangle::kUpper}) {
        Product product{n, n, n, Plain(a.Data(), n), Transposed(b.Data(), n), nullptr, n, -0.7};
        product.triangle = triangle;
        ExpectTheSameBits(product);
        product.nColumns = m;
        ExpectTheSameBits(product);
        product.nRows = 97, product.nColumns = n;
        ExpectTheSameBits(product);
    }
    ExpectTheSameBits({20, n, n, Transposed(a.Data(), n), Plain(b.Data(), n), nullptr, n + 5});
}

TEST_F(Pool, IsSerialInAForkedChildWhichEndsAsUsual) {
    SetThreads(4);
    ForEachTask(16, [](int) {});
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ForgetThreads();
        int nDone = 0;
        ForEachTask(16, [&](int) { ++nDone; });
        const bool fGood = nDone == 16 && Threads() == 1;
        SetThreads(2);
        StopThreads();
        _exit(fGood && Threads() == 1 ? 0 : 1);
    }
    int nStatus = -1;
    ASSERT_EQ(waitpid(child, &nStatus, 0), child);
    EXPECT_EQ(nStatus, 0);
    std::atomic<int> nDone{0};
    ForEachTask(16, [&](int) { ++nDone; });
    EXPECT_EQ(nDone, 16) << "the parent goes on";
}

}  // namespace
}  // namespace qsolve
