#include "geometry/geometry.h"
#include "job/state.h"

namespace qsolve {

void MoveAtoms(const double* pVector, double dFactor) {
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = system.nSelectedAtoms[i] - 1;
        if (system.pAtoms[nAtom].nState != kSelected) continue;
        double* p = system.pCoords.Data() + 3 * static_cast<std::ptrdiff_t>(nAtom);
        for (int k = 0; k < 3; ++k) p[k] += dFactor * pVector[3 * i + k];
    }
}

}  // namespace qsolve
