#include "numeric/strips.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// A test that sets the number of threads leaves them as they are by default.
struct Strips : testing::Test {
    ~Strips() override { SetThreads(0); }
};

TEST_F(Strips, HoldEachRowOnceAndAreFewEnough) {
    for (const int n : {0, 1, 5, 255, 256, 300, 1000, 32768, 32769, 100000, 1000000}) {
        const int nRows = RowsOfStrip(n);
        ASSERT_GT(nRows, 0);
        EXPECT_LE((n + nRows - 1) / nRows, kMostStrips) << n;
        std::vector<int> counts(static_cast<std::size_t>(n));
        ForEachStrip(n, [&](int nStrip, int nFirst, int nEnd) {
            EXPECT_EQ(nStrip, nFirst / nRows);
            for (int i = nFirst; i < nEnd; ++i) ++counts[static_cast<std::size_t>(i)];
        });
        EXPECT_EQ(counts, std::vector<int>(static_cast<std::size_t>(n), 1)) << n;
    }
}

TEST_F(Strips, SumTheSameWithAnyNumberOfThreads) {
    const int n = 1001;
    const TestMatrix x = RandomMatrix(1, n, 1);
    const auto Sum = [&](int nThreads) {
        SetThreads(nThreads);
        return SumOverStrips(n, [&](int nFirst, int nEnd) {
            double dSum = 0.0;
            for (int i = nFirst; i < nEnd; ++i) dSum += x(0, i);
            return dSum;
        });
    };
    double dAll = 0.0;
    for (int i = 0; i < n; ++i) dAll += x(0, i);
    const double dOne = Sum(1);
    EXPECT_NEAR(dOne, dAll, 1e-12);
    for (const int nThreads : {2, 3, 7})
        for (int i = 0; i < 20; ++i) ASSERT_EQ(Sum(nThreads), dOne) << nThreads;
}

TEST_F(Strips, CopyAMatrix) {
    for (const int n : {0, 1, 17, 300}) {
        const TestMatrix from = RandomMatrix(n, n, 2);
        TestMatrix to(n, n);
        CopyRows(n, n, from.Data(), to.Data());
        EXPECT_EQ(to.v, from.v);
    }
}

}  // namespace
}  // namespace qsolve
