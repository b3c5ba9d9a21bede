#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "link/conversation.h"
#include "link/link.h"
#include "link/messages.h"
#include "session/session.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

/// What a frame says to the client of what it has caught.
class CaughtFailure : public FreshState {
  protected:
    CaughtFailure() { NewScriptedClient(); }

    template <class Failure>
    static std::vector<std::string> SaidOf(const Failure& failure) {
        try {
            throw failure;
        } catch (...) {
            ReportFailure();
        }
        return client.Errors();
    }
};

TEST_F(CaughtFailure, OfAllocationIsSaid) {
    EXPECT_EQ(SaidOf(std::bad_alloc()), std::vector<std::string>{MessageText(kMsgOutOfMemory)});
}

TEST_F(CaughtFailure, OfAnyOtherKindIsSaid) {
    EXPECT_EQ(SaidOf(std::runtime_error("odd")),
              std::vector<std::string>{MessageText(kMsgFatalError)});
    NewScriptedClient();
    EXPECT_EQ(SaidOf(42), std::vector<std::string>{MessageText(kMsgFatalError)});
}

TEST_F(CaughtFailure, WhoseTextHasGoneOutIsNotSaidAgain) {
    EXPECT_TRUE(SaidOf(Unwinding{kMsgOutOfMemory}).empty());
}

TEST_F(CaughtFailure, ThatIsTheEndOfTheLinkGoesOn) {
    EXPECT_THROW(SaidOf(LinkStop{}), LinkStop);
    EXPECT_TRUE(client.Errors().empty());
}

TEST_F(CaughtFailure, IsFollowedByThatOfTheTransportWhichEndsThere) {
    OnError();
    const std::vector<std::string> wanted = {MessageText(kMsgFatalError),
                                             MessageText(kMsgOutOfMemory)};
    EXPECT_EQ(SaidOf(std::runtime_error("odd")), wanted);
}

}  // namespace
}  // namespace qsolve
