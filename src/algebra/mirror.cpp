#include "algebra/mirror.h"

#include <algorithm>
#include <cstddef>

#include "link/link.h"
#include "numeric/rank_update.h"

namespace qsolve {

void CopyLowerToUpper(double* m, int nLeading, int nOrder) {
    constexpr int kRows = 64;  // between two yields
    for (int i = 0; i < nOrder; i += kRows) {
        const int nEnd = std::min(nOrder, i + kRows);
        MirrorRows(nLeading, i, nEnd, m);
        Yield(static_cast<std::size_t>(nOrder) * static_cast<std::size_t>(nEnd - i));
    }
}

}  // namespace qsolve
