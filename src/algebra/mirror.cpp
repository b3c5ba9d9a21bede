#include "algebra/mirror.h"

#include <cstddef>

#include "link/link.h"
#include "numeric/rank_update.h"
#include "numeric/strips.h"

namespace qsolve {

void CopyLowerToUpper(double* m, int nLeading, int nOrder) {
    ForEachStrip(nOrder, [&](int, int nFirst, int nEnd) { MirrorRows(nLeading, nFirst, nEnd, m); });
    for (int i = 0; i < nOrder; ++i) Yield(static_cast<std::size_t>(nOrder));
}

}  // namespace qsolve
