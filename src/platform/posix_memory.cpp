#include "link/memory.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace qsolve {

void KeepFreedMemory() noexcept {
#if defined(__GLIBC__)
    constexpr int kMega = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, 16 * kMega);
    mallopt(M_TRIM_THRESHOLD, 64 * kMega);
#endif
}

}  // namespace qsolve
