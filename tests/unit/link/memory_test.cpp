#include "link/memory.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Memory : public FreshState {
  protected:
    Memory() { NewScriptedClient(); }
};

TEST_F(Memory, ArraysAreZeroedAlignedAndFreed) {
    const std::size_t nBefore = memory.nBytesHeld;
    {
        Array<double> v;
        v.Take(1001, kWork);
        EXPECT_EQ(v.Size(), 1001u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(v.Data()) % 64, 0u);
        for (const double d : v) EXPECT_EQ(d, 0.0);
        EXPECT_GE(memory.nBytesHeld, nBefore + 1001 * sizeof(double));
    }
    EXPECT_EQ(memory.nBytesHeld, nBefore);
}

TEST_F(Memory, UnsetArraysAreAlignedFreedAndRefusedAsOthers) {
    const std::size_t nBefore = memory.nBytesHeld;
    {
        Array<double> v;
        v.TakeUnset(7, 143, kWork);
        EXPECT_EQ(v.Size(), 1001u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(v.Data()) % 64, 0u);
        EXPECT_GE(memory.nBytesHeld, nBefore + 1001 * sizeof(double));
#ifndef NDEBUG
        for (const double d : v) EXPECT_NE(d, d);
#endif
        EXPECT_THROW(v.TakeUnset(static_cast<std::size_t>(-1), 2, kWork), Unwinding);
        EXPECT_FALSE(v);
    }
    EXPECT_EQ(memory.nBytesHeld, nBefore);
    EXPECT_EQ(client.Errors().back(), MessageText(kMsgOutOfMemory));
}

TEST_F(Memory, NoElementsAreNoMemory) {
    Array<int> v;
    v.Take(0, kWork);
    EXPECT_FALSE(v);
    EXPECT_EQ(v.begin(), v.end());
    EXPECT_EQ(memory.nTaken, 0);
}

TEST_F(Memory, TakingAgainFreesWhatWasHeld) {
    Array<int> v;
    v.Take(100, kWork);
    const std::size_t nOne = memory.nBytesHeld;
    v[5] = 7;
    v.Take(100, kWork);
    EXPECT_EQ(memory.nBytesHeld, nOne);
    EXPECT_EQ(v[5], 0);
}

TEST_F(Memory, CanBeAskedForWithoutAMessage) {
    Array<int> v;
    EXPECT_TRUE(v.TryTake(10));
    EXPECT_EQ(v.Size(), 10u);
    v[3] = 5;
    memory.nTaken = 0;
    memory.nFailAt = 0;
    EXPECT_FALSE(v.TryTake(20));
    EXPECT_FALSE(v);
    EXPECT_EQ(v.Size(), 0u);
    EXPECT_TRUE(v.TryTake(20)) << "the second try";
    EXPECT_TRUE(v.TryTake(0));
    EXPECT_FALSE(v);
    EXPECT_TRUE(client.Errors().empty());
}

TEST_F(Memory, EachPhaseHasItsMessage) {
    const std::pair<Phase, MessageId> expected[] = {{kIntake, kMsgOutOfMemorySetUp},
                                                    {kSetUp, kMsgOutOfMemorySetUp},
                                                    {kRestraints, kMsgOutOfMemoryRestraints},
                                                    {kWork, kMsgOutOfMemory}};
    for (const auto& [phase, id] : expected) {
        memory.nTaken = 0;
        memory.nFailAt = 0;
        Array<int> v;
        EXPECT_THROW(v.Take(10, phase), Unwinding);
        EXPECT_FALSE(v);
        EXPECT_EQ(v.Size(), 0u);
        EXPECT_EQ(client.Errors().back(), MessageText(id));
    }
}

TEST_F(Memory, SizesThatOverflowAreFailedAllocations) {
    Array<double> v;
    const std::size_t nHuge = SIZE_MAX / 4;
    EXPECT_THROW(v.Take(nHuge, kWork), Unwinding);
    EXPECT_THROW(v.Take(nHuge, 16, kWork), Unwinding);
    EXPECT_THROW(v.Take(SIZE_MAX / sizeof(double), kWork), Unwinding);
    EXPECT_EQ(client.Errors().size(), 3u);
}

TEST_F(Memory, HookFailsTheChosenAllocationOrAllFromThere) {
    memory.nFailAt = 1;
    Array<int> a, b, c;
    a.Take(1, kWork);
    EXPECT_THROW(b.Take(1, kWork), Unwinding);
    c.Take(1, kWork);
    memory.nTaken = 0;
    memory.fFailFromThenOn = true;
    a.Take(1, kWork);
    EXPECT_THROW(b.Take(1, kWork), Unwinding);
    EXPECT_THROW(c.Take(1, kWork), Unwinding);
}

TEST_F(Memory, MovingLeavesOneOwner) {
    Array<int> a;
    a.Take(3, kWork);
    a[2] = 5;
    Array<int> b = std::move(a);
    EXPECT_FALSE(a);
    EXPECT_EQ(b[2], 5);
    a = std::move(b);
    EXPECT_EQ(a[2], 5);
}

}  // namespace
}  // namespace qsolve
