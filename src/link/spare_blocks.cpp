#include "link/spare_blocks.h"

#include <algorithm>
#include <cstdlib>

namespace qsolve {
namespace {

constexpr int kMostBlocks = 64;
constexpr std::size_t kWaste = 4;  ///< a block serves what is so large a part smaller, at most

struct SpareBlocks {
    Block Blocks[kMostBlocks] = {};  ///< oldest first
    int nBlocks = 0;
    std::size_t nBytes = 0, nLimit = 0;
};
SpareBlocks spare;

/// Takes block number i out of the list.
Block TakeOut(int i) noexcept {
    const Block block = spare.Blocks[i];
    std::copy(spare.Blocks + i + 1, spare.Blocks + spare.nBlocks, spare.Blocks + i);
    --spare.nBlocks;
    spare.nBytes -= block.nBytes;
    return block;
}

/// Gives the oldest ones back until no more than nBytes are left.
void ShrinkTo(std::size_t nBytes) noexcept {
    while (spare.nBytes > nBytes) std::free(TakeOut(0).pStart);
}

}  // namespace

void LimitSpareBlocks(std::size_t nBytes) noexcept {
    spare.nLimit = nBytes;
    ShrinkTo(nBytes);
}

Block TakeSpareBlock(std::size_t nBytes) noexcept {
    int nBest = -1;
    for (int i = 0; i < spare.nBlocks; ++i) {
        const std::size_t nHere = spare.Blocks[i].nBytes;
        if (nHere < nBytes || nHere - nBytes > nBytes / kWaste) continue;
        if (nBest < 0 || nHere < spare.Blocks[nBest].nBytes) nBest = i;
    }
    if (nBest >= 0) return TakeOut(nBest);
    ShrinkTo(spare.nBytes - std::min(spare.nBytes, nBytes));
    return {};
}

bool KeepSpareBlock(const Block& block) noexcept {
    if (block.nBytes > spare.nLimit) return false;
    ShrinkTo(spare.nLimit - block.nBytes);
    if (spare.nBlocks == kMostBlocks) std::free(TakeOut(0).pStart);
    spare.Blocks[spare.nBlocks++] = block;
    spare.nBytes += block.nBytes;
    return true;
}

void DropSpareBlocks() noexcept {
    ShrinkTo(0);
}

}  // namespace qsolve
