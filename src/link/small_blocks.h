#pragma once

#include "link/spare_blocks.h"

/// Small blocks that arrays have given back, kept by size for the next array of as much: a job of a
/// small molecule takes a few hundred, each of a size of a few, and the C library looks longer for
/// one than many of them are worked on.

namespace qsolve {

/// Above so many bytes a block is not small.
constexpr std::size_t kMostSmallBytes = 1 << 15;

/// Lets so many bytes of small blocks be kept; 0, as in the beginning, none. Gives back what is
/// kept.
void LimitSmallBlocks(std::size_t nBytes) noexcept;

/// Bytes that a small block for nBytes has: such blocks serve one another.
std::size_t SmallBlockSize(std::size_t nBytes) noexcept;

/// A block of such a size that was kept; an empty one where there is none.
Block TakeSmallBlock(std::size_t nSize) noexcept;

/// Keeps a block of such a size. False where there is no room, and it is still its owner's.
bool KeepSmallBlock(const Block& block) noexcept;

/// Gives back all that is kept.
void DropSmallBlocks() noexcept;

}  // namespace qsolve
