#include "link/memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "link/link.h"
#include "link/small_blocks.h"
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

/// Memory from the system, without the spare blocks where it has no other. Large blocks come
/// zeroed, page by page as they are touched: hence calloc.
void* TakeFromSystem(std::size_t nBytes, Content content) {
    const bool fAny = content == Content::kAny && nBytes < kLarge;
    const auto Ask = [&] { return fAny ? std::malloc(nBytes) : std::calloc(nBytes, 1); };
    void* pBlock = Ask();
    if (!pBlock) {
        DropSmallBlocks();
        DropSpareBlocks();
        pBlock = Ask();
    }
    if (pBlock && pFreshBlock && nBytes >= kLarge) pFreshBlock(pBlock, nBytes);
    return pBlock;
}

/// A block that was kept for as much, if there is one.
Block TakeKeptBlock(std::size_t nBytes) {
    if (nBytes >= kLarge) return TakeSpareBlock(nBytes);
    return nBytes <= kMostSmallBytes ? TakeSmallBlock(nBytes) : Block{};
}

/// A block of nBytes or somewhat more, and its size.
Block TakeBlock(std::size_t nBytes, Content content) {
    const std::size_t nSize = nBytes <= kMostSmallBytes ? SmallBlockSize(nBytes) : nBytes;
    const Block kept = TakeKeptBlock(nSize);
    if (!kept.pStart) return {TakeFromSystem(nSize, content), nSize};
    if (content == Content::kZeros) std::memset(kept.pStart, 0, nBytes);
    return kept;
}

/// Whether the block is kept for another array of its size.
bool Keep(const Block& block) {
    if (block.nBytes >= kLarge) return KeepSpareBlock(block);
    return block.nBytes <= kMostSmallBytes && KeepSmallBlock(block);
}

/// Makes whoever reads what was not written notice, in builds that look for such things.
void Spoil([[maybe_unused]] void* pMemory, [[maybe_unused]] std::size_t nBytes,
           [[maybe_unused]] Content content) {
#ifndef NDEBUG
    if (content == Content::kAny) std::memset(pMemory, 0xFF, nBytes);
#endif
}

/// Aligned by hand, since calloc knows of no alignment.
void* Allocate(std::size_t nCount, std::size_t nElementSize, Content content) {
    std::size_t nBytes = 0, nTotal = 0;
    if (HookSaysNo()) return nullptr;
    if (__builtin_mul_overflow(nCount, nElementSize, &nBytes)) return nullptr;
    if (__builtin_add_overflow(nBytes, sizeof(Block) + kAlignment, &nTotal)) return nullptr;
    if (nTotal > PTRDIFF_MAX) return nullptr;
    const Block block = TakeBlock(nTotal, content);
    if (!block.pStart) return nullptr;
    const auto nStart = reinterpret_cast<std::uintptr_t>(block.pStart) + sizeof(Block);
    const std::uintptr_t nAligned = (nStart + kAlignment - 1) / kAlignment * kAlignment;
    std::memcpy(reinterpret_cast<void*>(nAligned - sizeof block), &block, sizeof block);
    memory.nBytesHeld += block.nBytes;
    memory.nBytesHighest = std::max(memory.nBytesHighest, memory.nBytesHeld);
    void* pMemory = reinterpret_cast<void*>(nAligned);
    Spoil(pMemory, nBytes, content);
    return pMemory;
}

}  // namespace

void* TakeMemory(std::size_t nCount, std::size_t nElementSize, Phase phase, Content content) {
    void* pMemory = TryTakeMemory(nCount, nElementSize, content);
    if (!pMemory && nCount != 0) ReportNoMemory(phase);
    return pMemory;
}

void* TryTakeMemory(std::size_t nCount, std::size_t nElementSize, Content content) {
    return nCount == 0 ? nullptr : Allocate(nCount, nElementSize, content);
}

void ReturnMemory(void* pMemory) noexcept {
    if (!pMemory) return;
    Block block;  // it stands right before the memory that was handed out
    std::memcpy(&block, static_cast<unsigned char*>(pMemory) - sizeof block, sizeof block);
    memory.nBytesHeld -= block.nBytes;
    if (!Keep(block)) std::free(block.pStart);
}

}  // namespace qsolve
