#include "link/memory.h"

namespace qsolve {

/// The heap of this system decides by itself what it keeps, and large pages take a privilege.
void KeepFreedMemory() noexcept {}

}  // namespace qsolve
