#include <algorithm>

#include "job/state.h"
#include "setup/setup.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// Marks in place of an occupancy, for the client: an electron of beta spin, and the level that the
/// electron of a next lowest state has left.
constexpr float kBetaMark = -1.0F, kHoleMark = -1.0F;

/// Writes fl into nCount entries from nFirst on.
void Fill(int nFirst, int nCount, float fl) {
    std::fill_n(results.Orbitals.vOccupancy.begin() + nFirst, nCount, fl);
}

}  // namespace

void SetOccupations() {
    const int n = setup.nOrbitals;
    if (options.nSpinTreatment == 1) {
        Fill(0, 2 * n, 0.0F);
        Fill(0, setup.nElectronsA, 1.0F);
        Fill(n, setup.nElectronsB, kBetaMark);
        return;
    }
    Fill(0, n, 0.0F);
    Fill(0, setup.nOccupied, 1.0F);
    Fill(0, setup.nDoublyOcc, 2.0F);
    if (options.fNextLowestState) Fill(setup.nOccupied - 1, 1, kHoleMark);
}

}  // namespace qsolve
