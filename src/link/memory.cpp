#include "link/memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "link/link.h"

namespace qsolve {

namespace {

constexpr std::size_t kAlignment = 64;

/// Stands right before the memory that is handed out.
struct BlockHead {
    void* pBlock;        ///< as the C library gave it
    std::size_t nBytes;  ///< of the whole block
};

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

/// Large blocks come from the system already zeroed, page by page as they are touched: hence
/// calloc, and the alignment by hand.
void* Allocate(std::size_t nCount, std::size_t nElementSize) {
    std::size_t nBytes = 0, nTotal = 0;
    if (HookSaysNo()) return nullptr;
    if (__builtin_mul_overflow(nCount, nElementSize, &nBytes)) return nullptr;
    if (__builtin_add_overflow(nBytes, sizeof(BlockHead) + kAlignment, &nTotal)) return nullptr;
    if (nTotal > PTRDIFF_MAX) return nullptr;
    void* pBlock = std::calloc(nTotal, 1);
    if (!pBlock) return nullptr;
    const auto nStart = reinterpret_cast<std::uintptr_t>(pBlock) + sizeof(BlockHead);
    const std::uintptr_t nAligned = (nStart + kAlignment - 1) / kAlignment * kAlignment;
    const BlockHead head{pBlock, nTotal};
    std::memcpy(reinterpret_cast<void*>(nAligned - sizeof head), &head, sizeof head);
    memory.nBytesHeld += nTotal;
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
    BlockHead head;
    std::memcpy(&head, static_cast<unsigned char*>(pMemory) - sizeof head, sizeof head);
    memory.nBytesHeld -= head.nBytes;
    std::free(head.pBlock);
}

}  // namespace qsolve
