#include "setup/orbitals_of_row.h"

#include <algorithm>

#include "job/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

constexpr int kOrbitalsSp = 4, kOrbitalsSpd = 9;

}  // namespace

int OrbitalsOfRow(int nRow) {
    if (nRow < 0 || nRow >= kRows) return 0;
    const int nOrbitals = kOrbitalsOfElement[nRow];
    if (FamilyOf(system.MethodId) != Family::kNddo) return nOrbitals;
    if (setup.pExtended && setup.pExtended[nRow].fHasD) return kOrbitalsSpd;
    return std::min(nOrbitals, kOrbitalsSp);
}

}  // namespace qsolve
