#include "algebra/mirror.h"

#include <cstddef>

#include "link/link.h"
#include "numeric/row.h"

namespace qsolve {

void CopyLowerToUpper(double* m, int nLeading, int nOrder) {
    for (int i = 0; i < nOrder; ++i) {
        const double* pRow = Row(m, nLeading, i);
        for (int j = 0; j < i; ++j) Row(m, nLeading, j)[i] = pRow[j];
        Yield(static_cast<std::size_t>(nOrder));
    }
}

}  // namespace qsolve
