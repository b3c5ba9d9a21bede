#include <errno.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "job/state.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "scf/state.h"
#include "search/search.h"
#include "setup/state.h"
#include "tests/support/hinge.h"
#include "tests/support/model_potential.h"
#include "tests/support/told_text.h"
#include "vibrations/state.h"

/// Searches for saddle points that are left in the middle: by their client or for want of memory.
/// What they have changed is as it was, and the next one is that of a fresh process.

namespace qsolve {
namespace {

constexpr float kScfLimit = 5e-5F;  ///< more than that of displaced points

/// Both searches: the parameter is the kind of job.
class Interrupted : public ModelTest, public testing::WithParamInterface<int> {
  protected:
    static void Order(Potential energy, int nThreads = 1) {
        SetThreads(nThreads);
        model = ModelState{};
        Place(HingeGuess());
        job.nCalcKind = GetParam();
        options.fComputeHessian = options.fTsSearch = 1;
        options.nFollowMode = GetParam() == kTransitionState;
        options.flConvergenceLimit = kScfLimit;
        setup.fFinalReport = false;
        link.fInSession = true;
        link.fConversation = true;
        model.Energy = std::move(energy);
        const std::vector<double> reactant = HingeAt(1.45), product = HingeAt(1.75);
        for (Array<double>* ends : {&system.dReactantXyz, &system.dProductXyz})
            ends->Take(reactant.size(), kIntake);
        std::copy(reactant.begin(), reactant.end(), system.dReactantXyz.begin());
        std::copy(product.begin(), product.end(), system.dProductXyz.begin());
    }
    static void Run() {
        if (GetParam() == kTransitionState)
            EigenvectorFollow(1e-4, 100);
        else
            RunSynchronousTransit(1e-4, 100);
    }
    /// What a search that was left must not leave behind, and a search that is not left.
    static void ExpectUnharmed() {
        EXPECT_EQ(options.flConvergenceLimit, kScfLimit);
        if (GetParam() == kSynchronousTransit) {
            EXPECT_EQ(system.dReactantXyz.Size(), 0u);
        }
        client.Sent.clear();
        memory.nFailAt = -1;
        vibrations = VibrationState{};
        Order(Hinge());
        Run();
        EXPECT_EQ(results.Block.fConverged, 1);
        EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
        EXPECT_TRUE(client.Errors().empty());
    }
    static bool HasNoChild() { return waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }
};

/// The hinge, whose client is gone from the SCF numbered nLast on, as an SCF finds when it yields.
Potential LeftAt(int nLast) {
    return [nLast, hinge = Hinge()](const std::vector<double>& x, std::vector<double>& g) {
        if (model.nRuns > nLast) throw LinkStop{};
        return hinge(x, g);
    };
}

TEST_P(Interrupted, ByItsClientAtAnyPointIsOver) {
    Order(Hinge());
    Run();
    const int nAll = model.nRuns;
    ASSERT_GT(nAll, 1 + 18 + 1 + 3);
    for (int n = 0; n < nAll; ++n) {
        vibrations = VibrationState{};
        Order(LeftAt(n));
        EXPECT_THROW(Run(), LinkStop) << n;
        EXPECT_EQ(model.nRuns, n + 1) << "nothing more is computed";
        const bool fHessian = n < 1 + 18;
        EXPECT_EQ(vibrations.fComplete, !fHessian && n != 1 + 18)
            << n << ": a matrix counts once it and its place are whole";
    }
    ExpectUnharmed();
}

TEST_P(Interrupted, ByItsClientWhileWorkersComputeTheHessianEndsThem) {
    const pid_t nOwn = getpid();
    Order(
        [=, hinge = Hinge()](const std::vector<double>& x, std::vector<double>& g) {
            if (getpid() != nOwn) pause();
            return hinge(x, g);
        },
        2);
    client.DuringPump = [] { link.fConversation = false; };
    EXPECT_THROW(Run(), LinkStop);
    client.DuringPump = nullptr;
    EXPECT_TRUE(HasNoChild());
    EXPECT_EQ(model.nRuns, 1) << "the first SCF; the displaced ones belong to the workers";
    EXPECT_FALSE(vibrations.fComplete);
    ExpectUnharmed();
}

TEST_P(Interrupted, ByAWorkerWithoutMemorySaysSo) {
    const pid_t nOwn = getpid();
    Order(
        [=, hinge = Hinge()](const std::vector<double>& x, std::vector<double>& g) {
            if (getpid() != nOwn && model.nRuns > 3) Fatal(kMsgOutOfMemory);
            return hinge(x, g);
        },
        2);
    EXPECT_THROW(Run(), Unwinding);
    ASSERT_FALSE(client.Errors().empty());
    EXPECT_EQ(client.Errors()[0], MessageText(kMsgOutOfMemory));
    EXPECT_TRUE(HasNoChild());
    EXPECT_FALSE(vibrations.fComplete);
    ExpectUnharmed();
}

TEST_P(Interrupted, ByAnyAllocationThatFailsSaysSo) {
    int nFailed = 0;
    for (;; ++nFailed) {
        ASSERT_LT(nFailed, 400);
        vibrations = VibrationState{};
        Order(Hinge());
        client.Sent.clear();
        memory.nTaken = 0;
        memory.nFailAt = nFailed;
        bool fFailed = false;
        try {
            Run();
        } catch (const Unwinding&) {
            fFailed = true;
        }
        memory.nFailAt = -1;
        if (!fFailed) break;
        EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgOutOfMemory)});
        EXPECT_EQ(options.flConvergenceLimit, kScfLimit);
    }
    EXPECT_GT(nFailed, 20);
    ExpectUnharmed();
}

TEST_P(Interrupted, WithoutAGradientIsDeclinedBeforeItMoves) {
    Order(Hinge());
    model.fNoGradient = true;
    EXPECT_THROW(Run(), Unwinding);
    EXPECT_EQ(client.Errors(),
              std::vector<std::string>{ToldText(kMsgNotAvailable, "gradient", job.nCalcKind)});
    EXPECT_EQ(model.nRuns, 1);
    ExpectUnharmed();
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, Interrupted,
                         testing::Values(kTransitionState, kSynchronousTransit));

}  // namespace
}  // namespace qsolve
