#include "link/spare_blocks.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "link/memory.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

constexpr std::size_t kMega = 1 << 20;

/// A block that the list may give back to the C library.
Block NewBlock(std::size_t nBytes) {
    return {std::malloc(nBytes), nBytes};
}

class SpareBlocks : public FreshState {
  protected:
    SpareBlocks() { LimitSpareBlocks(10 * kMega); }
    ~SpareBlocks() override { LimitSpareBlocks(0); }
};

TEST_F(SpareBlocks, TheSmallestThatFitsIsTaken) {
    const Block wide = NewBlock(1100), close = NewBlock(1010), small = NewBlock(999);
    for (const Block& block : {wide, close, small}) EXPECT_TRUE(KeepSpareBlock(block));
    const Block first = TakeSpareBlock(1000), second = TakeSpareBlock(1000);
    EXPECT_EQ(first.pStart, close.pStart);
    EXPECT_EQ(first.nBytes, 1010u);
    EXPECT_EQ(second.pStart, wide.pStart);
    EXPECT_FALSE(TakeSpareBlock(1000).pStart);
    std::free(first.pStart);
    std::free(second.pStart);
}

TEST_F(SpareBlocks, AMuchLargerOneIsNotWasted) {
    const Block large = NewBlock(4000);
    EXPECT_TRUE(KeepSpareBlock(large));
    const Block taken = TakeSpareBlock(3200);
    EXPECT_EQ(taken.pStart, large.pStart) << "a quarter more is near enough";
    EXPECT_TRUE(KeepSpareBlock(taken));
    EXPECT_FALSE(TakeSpareBlock(3199).pStart);
}

/// What is kept and what is used are never more than was used at one time: a block that has to come
/// from the system drives as much out.
TEST_F(SpareBlocks, WhatDoesNotFitGoesAsRoomIsTaken) {
    EXPECT_TRUE(KeepSpareBlock(NewBlock(3000)));
    EXPECT_TRUE(KeepSpareBlock(NewBlock(5000)));
    EXPECT_FALSE(TakeSpareBlock(1000).pStart) << "the older one goes";
    EXPECT_FALSE(TakeSpareBlock(3000).pStart) << "and then the other";
    EXPECT_FALSE(TakeSpareBlock(5000).pStart);
}

TEST_F(SpareBlocks, OlderOnesGoAtTheLimit) {
    const Block old = NewBlock(6 * kMega), young = NewBlock(5 * kMega);
    EXPECT_TRUE(KeepSpareBlock(old));
    EXPECT_TRUE(KeepSpareBlock(young));
    const Block taken = TakeSpareBlock(5 * kMega);
    EXPECT_EQ(taken.pStart, young.pStart);
    std::free(taken.pStart);
    EXPECT_FALSE(TakeSpareBlock(6 * kMega).pStart);
    const Block huge = NewBlock(11 * kMega);
    EXPECT_FALSE(KeepSpareBlock(huge)) << "more than all that may be kept";
    std::free(huge.pStart);
}

TEST_F(SpareBlocks, NoMoreThanTheListHolds) {
    for (int i = 0; i < 200; ++i) EXPECT_TRUE(KeepSpareBlock(NewBlock(100)));
    int nTaken = 0;
    for (Block block; (block = TakeSpareBlock(100)).pStart; ++nTaken) std::free(block.pStart);
    EXPECT_EQ(nTaken, 64);
}

/// A large array finds the memory of the one before, zeroed.
TEST_F(SpareBlocks, ArraysUseThem) {
    Array<double> v;
    v.Take(kMega / 4, kWork);
    const std::size_t nHeld = memory.nBytesHeld;
    const double* pBefore = v.Data();
    std::memset(v.Data(), 0x55, v.Size() * sizeof(double));
    v.Reset();
    v.Take(kMega / 4 - 100, kWork);
    EXPECT_EQ(v.Data(), pBefore);
    EXPECT_EQ(memory.nBytesHeld, nHeld) << "the whole block counts";
    for (const double d : v) ASSERT_EQ(d, 0.0);
    v.Reset();
    DropSpareBlocks();
    EXPECT_FALSE(TakeSpareBlock(2 * kMega).pStart);
}

}  // namespace
}  // namespace qsolve
