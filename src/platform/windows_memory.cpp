#include "link/memory.h"

namespace qsolve {

/// The heap of this system decides by itself what it keeps.
void KeepFreedMemory() noexcept {}

}  // namespace qsolve
