#include "link/memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "link/link.h"
#include "link/spare_blocks.h"

namespace qsolve {

namespace {

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kLarge = 1 << 20;  ///< bytes of a block that is worth keeping

bool HookSaysNo() {
    const long long nThis = memory.nTaken++;
    if (memory.nFailAt < 0) return false;
    return nThis == memory.nFailAt || (memory.fFailFromThenOn && nThis > memory.nFailAt);
}

[[noreturn]] void ReportNoMemory(Phase phase) {
    switch (phase) {
        case kIntake:
        case kSetUp:
            Fatal(kMsgOutOfMemorySetUp);
        case kRestraints:
            Fatal(kMsgOutOfMemoryRestraints);
        case kWork:
            break;
    }
    Fatal(kMsgOutOfMemory);
}

/// Zeroed memory from the system, without the spare blocks where it has no other.
void* TakeFromSystem(std::size_t nBytes) {
    void* pBlock = std::calloc(nBytes, 1);
    if (!pBlock) {
        DropSpareBlocks();
        pBlock = std::calloc(nBytes, 1);
    }
    if (pBlock && pFreshBlock && nBytes >= kLarge) pFreshBlock(pBlock, nBytes);
    return pBlock;
}

/// A zeroed block of nBytes or somewhat more, and its size.
Block TakeBlock(std::size_t nBytes) {
    const Block spare = nBytes >= kLarge ? TakeSpareBlock(nBytes) : Block{};
    if (!spare.pStart) return {TakeFromSystem(nBytes), nBytes};
    std::memset(spare.pStart, 0, nBytes);
    return spare;
}

/// Large blocks come from the system already zeroed, page by page as they are touched: hence
/// calloc, and the alignment by hand.
void* Allocate(std::size_t nCount, std::size_t nElementSize) {
    std::size_t nBytes = 0, nTotal = 0;
    if (HookSaysNo()) return nullptr;
    if (__builtin_mul_overflow(nCount, nElementSize, &nBytes)) return nullptr;
    if (__builtin_add_overflow(nBytes, sizeof(Block) + kAlignment, &nTotal)) return nullptr;
    if (nTotal > PTRDIFF_MAX) return nullptr;
    const Block block = TakeBlock(nTotal);
    if (!block.pStart) return nullptr;
    const auto nStart = reinterpret_cast<std::uintptr_t>(block.pStart) + sizeof(Block);
    const std::uintptr_t nAligned = (nStart + kAlignment - 1) / kAlignment * kAlignment;
    std::memcpy(reinterpret_cast<void*>(nAligned - sizeof block), &block, sizeof block);
    memory.nBytesHeld += block.nBytes;
    memory.nBytesHighest = std::max(memory.nBytesHighest, memory.nBytesHeld);
    return reinterpret_cast<void*>(nAligned);
}

}  // namespace

void* TakeMemory(std::size_t nCount, std::size_t nElementSize, Phase phase) {
    void* pMemory = TryTakeMemory(nCount, nElementSize);
    if (!pMemory && nCount != 0) ReportNoMemory(phase);
    return pMemory;
}

void* TryTakeMemory(std::size_t nCount, std::size_t nElementSize) {
    return nCount == 0 ? nullptr : Allocate(nCount, nElementSize);
}

void ReturnMemory(void* pMemory) noexcept {
    if (!pMemory) return;
    Block block;  // it stands right before the memory that was handed out
    std::memcpy(&block, static_cast<unsigned char*>(pMemory) - sizeof block, sizeof block);
    memory.nBytesHeld -= block.nBytes;
    if (block.nBytes < kLarge || !KeepSpareBlock(block)) std::free(block.pStart);
}

}  // namespace qsolve
