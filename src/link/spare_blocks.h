#pragma once

#include <cstddef>

/// Large blocks that arrays have given back, kept for those of the next job: the system clears
/// every page that it gives anew, which costs a large molecule a tenth of its time. What is kept
/// and what is in use are together never more than was in use at one time.

namespace qsolve {

/// Memory as the C library gave it.
struct Block {
    void* pStart = nullptr;
    std::size_t nBytes = 0;
};

/// Lets so many bytes of blocks be kept; 0, as in the beginning, none. Gives back what is too much.
void LimitSpareBlocks(std::size_t nBytes) noexcept;

/// The smallest block that is kept and holds nBytes without being much larger. Where there is none:
/// an empty one, and the oldest ones that are kept go, nBytes of them if there are so many.
Block TakeSpareBlock(std::size_t nBytes) noexcept;

/// Keeps a block, older ones going where they are too many. False where it is too large for that,
/// and still its owner's.
bool KeepSpareBlock(const Block& block) noexcept;

/// Gives back all that is kept.
void DropSpareBlocks() noexcept;

}  // namespace qsolve
