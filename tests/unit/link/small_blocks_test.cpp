#include "link/small_blocks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

#include "link/memory.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

/// A block that the list may give back to the C library.
Block NewBlock(std::size_t nBytes) {
    return {std::malloc(nBytes), nBytes};
}

class SmallBlocks : public FreshState {
  protected:
    SmallBlocks() { LimitSmallBlocks(4096); }
    ~SmallBlocks() override { LimitSmallBlocks(0); }
};

TEST_F(SmallBlocks, SizesHoldWhatIsAskedForAndFewOfThemServeAll) {
    for (std::size_t nBytes = 1; nBytes <= kMostSmallBytes; ++nBytes) {
        const std::size_t nSize = SmallBlockSize(nBytes);
        ASSERT_GE(nSize, nBytes);
        ASSERT_TRUE(nSize < nBytes + 256 || nSize <= nBytes + nBytes / 2) << nBytes;
        ASSERT_EQ(SmallBlockSize(nSize), nSize);
    }
    EXPECT_EQ(SmallBlockSize(kMostSmallBytes), kMostSmallBytes);
    EXPECT_EQ(SmallBlockSize(kMostSmallBytes - 1000), kMostSmallBytes);
}

TEST_F(SmallBlocks, ServeTheirOwnSizeTheYoungestFirst) {
    const Block old = NewBlock(512), young = NewBlock(512);
    EXPECT_TRUE(KeepSmallBlock(old));
    EXPECT_TRUE(KeepSmallBlock(young));
    EXPECT_FALSE(TakeSmallBlock(256).pStart);
    EXPECT_FALSE(TakeSmallBlock(768).pStart);
    const Block first = TakeSmallBlock(512), second = TakeSmallBlock(512);
    EXPECT_EQ(first.pStart, young.pStart);
    EXPECT_EQ(second.pStart, old.pStart);
    EXPECT_EQ(first.nBytes, 512u);
    EXPECT_FALSE(TakeSmallBlock(512).pStart);
    std::free(first.pStart);
    std::free(second.pStart);
}

TEST_F(SmallBlocks, NoMoreThanTheLimitIsKept) {
    EXPECT_TRUE(KeepSmallBlock(NewBlock(4096 - 256)));
    const Block block = NewBlock(512);
    EXPECT_FALSE(KeepSmallBlock(block)) << "its owner's still";
    std::free(block.pStart);
    EXPECT_TRUE(KeepSmallBlock(NewBlock(256)));
    DropSmallBlocks();
    EXPECT_TRUE(KeepSmallBlock(NewBlock(4096))) << "what has gone leaves room";
    LimitSmallBlocks(0);
    EXPECT_FALSE(TakeSmallBlock(4096).pStart);
}

TEST_F(SmallBlocks, ServeArraysCleared) {
    Array<double> first;
    first.Take(40, kWork);
    const double* pFirst = first.Data();
    for (double& x : first) x = 1.0;
    first.Reset();
    Array<double> second;
    second.Take(33, kWork);  // of the same size with what stands before it
    EXPECT_EQ(second.Data(), pFirst);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second.Data()) % 64, 0u);
    for (const double x : second) EXPECT_EQ(x, 0.0);
}

TEST_F(SmallBlocks, WhatIsHeldIsCountedAsBefore) {
    const std::size_t nBefore = memory.nBytesHeld;
    {
        Array<double> array;
        array.Take(100, kWork);
        EXPECT_GE(memory.nBytesHeld, nBefore + 800);
    }
    EXPECT_EQ(memory.nBytesHeld, nBefore) << "what is kept is nobody's";
}

}  // namespace
}  // namespace qsolve
