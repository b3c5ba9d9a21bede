#include "link/memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace qsolve {
namespace {

#if defined(MADV_HUGEPAGE)
/// For the whole pages of a block; those at its ends may be shared with others, which lose nothing.
void PreferLargePages(void* pBlock, std::size_t nBytes) noexcept {
    const auto nPage = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto nStart = reinterpret_cast<std::uintptr_t>(pBlock) / nPage * nPage;
    const auto nEnd = reinterpret_cast<std::uintptr_t>(pBlock) + nBytes;
    madvise(reinterpret_cast<void*>(nStart), nEnd - nStart, MADV_HUGEPAGE);
}
#endif

}  // namespace

void KeepFreedMemory() noexcept {
#if defined(__GLIBC__)
    constexpr int kMega = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, 16 * kMega);
    mallopt(M_TRIM_THRESHOLD, 64 * kMega);
#endif
#if defined(MADV_HUGEPAGE)
    pFreshBlock = PreferLargePages;
#endif
}

}  // namespace qsolve
