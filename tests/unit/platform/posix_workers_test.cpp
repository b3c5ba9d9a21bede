#include "link/workers.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr std::size_t kResult = 3;

/// What workers have sent by the time that nothing more is to come.
struct Harvest {
    std::vector<std::vector<double>> Results;
    std::vector<std::string> Texts;
    int nFailure = -1;
    bool fLost = false;

    explicit Harvest(int nItems) : Results(static_cast<std::size_t>(nItems)) {
        int nMissing = nItems;
        while (nMissing > 0 && nFailure < 0 && !fLost) {
            const WorkerMessage message = NextWorkerMessage();
            if (message.nNews == WorkerNews::kNone) WaitForWorkers();
            if (message.nNews == WorkerNews::kResult) {
                auto& result = Results.at(static_cast<std::size_t>(message.nValue));
                EXPECT_TRUE(result.empty());
                result.resize(kResult);
                std::memcpy(result.data(), message.pBytes, kResult * sizeof(double));
                --nMissing;
            }
            if (message.nNews == WorkerNews::kText)
                Texts.push_back(reinterpret_cast<const char*>(message.pBytes));
            if (message.nNews == WorkerNews::kFailed) nFailure = message.nValue;
            if (message.nNews == WorkerNews::kLost) fLost = true;
        }
    }
};

void Square(void*, int nItem, double* vResult) {
    for (int i = 0; i < 3; ++i) vResult[i] = std::sqrt(nItem) + i;
}

class Workers : public FreshState {
  protected:
    Workers() { NewScriptedClient(); }
    ~Workers() override { EndWorkers(); }
    /// Whether no child of this process is left.
    static bool HasNoChild() { return waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }
};

TEST_F(Workers, ComputeEachItemOnce) {
    for (const int nWorkers : {1, 2, 5}) {
        ASSERT_TRUE(StartWorkers(nWorkers, 100, kResult, Square, nullptr));
        const Harvest harvest(100);
        for (int n = 0; n < 100; ++n) {
            double v[3];
            Square(nullptr, n, v);
            const auto& result = harvest.Results[static_cast<std::size_t>(n)];
            ASSERT_EQ(result.size(), kResult);
            EXPECT_EQ(std::memcmp(v, result.data(), sizeof v), 0);
        }
        EndWorkers();
        EXPECT_TRUE(HasNoChild());
    }
}

TEST_F(Workers, AreFewerThanAskedForWhereThereIsLittleToDo) {
    ASSERT_TRUE(StartWorkers(4, 1, kResult, Square, nullptr));
    EXPECT_EQ(Harvest(1).Results[0].size(), kResult);
}

TEST_F(Workers, SeeTheStateAsItStood) {
    double dState = 42.0;
    const auto Count = [](void* p, int, double* v) { v[0] = (*static_cast<double*>(p))++; };
    ASSERT_TRUE(StartWorkers(2, 10, kResult, Count, &dState));
    dState = 7.0;
    const Harvest harvest(10);
    for (const auto& result : harvest.Results) EXPECT_GE(result[0], 42.0);
    EXPECT_EQ(dState, 7.0);
}

TEST_F(Workers, SendTheirTextsToTheProcessThatStartedThem) {
    ASSERT_TRUE(StartWorkers(
        2, 4, kResult, [](void*, int, double*) { ErrorLine("from afar"); }, nullptr));
    const Harvest harvest(4);
    EXPECT_EQ(harvest.Texts, std::vector<std::string>(4, "from afar"));
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(Workers, TellOfAFailureAndItsText) {
    ASSERT_TRUE(StartWorkers(
        2, 4, kResult, [](void*, int, double*) { Fatal(kMsgOutOfMemory); }, nullptr));
    const Harvest harvest(4);
    EXPECT_EQ(harvest.nFailure, kMsgOutOfMemory);
    ASSERT_FALSE(harvest.Texts.empty());
    EXPECT_EQ(harvest.Texts[0], MessageText(kMsgOutOfMemory));
}

TEST_F(Workers, AreLostWhenTheyAreKilled) {
    ASSERT_TRUE(StartWorkers(
        2, 1000, kResult,
        [](void*, int nItem, double*) {
            if (nItem == 10) raise(SIGKILL);
        },
        nullptr));
    EXPECT_TRUE(Harvest(1000).fLost);
    EndWorkers();
    EXPECT_TRUE(HasNoChild());
}

TEST_F(Workers, AreEndedInTheMiddleOfTheirWork) {
    ASSERT_TRUE(StartWorkers(
        3, 3, kResult, [](void*, int, double*) { pause(); }, nullptr));
    EndWorkers();
    EXPECT_TRUE(HasNoChild());
    ASSERT_TRUE(StartWorkers(1, 2, kResult, Square, nullptr));  // and others can follow
    EXPECT_EQ(Harvest(2).Results[1][0], 1.0);
}

TEST_F(Workers, HaveAtLeastOneProcessor) {
    EXPECT_GE(CountProcessors(), 1);
}

}  // namespace
}  // namespace qsolve
