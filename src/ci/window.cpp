#include "ci/window.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kByCounts = 1;

/// Doubly occupied, and all occupied levels, as the window sees them.
struct Levels {
    int nDoublyOcc, nOccupied;
};

Levels LevelsOfState() {
    if (options.fNextLowestState) return {setup.nDoublyOcc + 1, setup.nOccupied - 1};
    return {setup.nDoublyOcc, setup.nOccupied};
}

/// Levels of the window on either side of the frontier.
struct Counts {
    int nOccupied, nUnoccupied;
};

Counts CountsAsked(const Levels& levels) {
    const long long nAsked = static_cast<long long>(options.nCiOccupied) + options.nCiUnoccupied;
    if (nAsked <= setup.nOrbitals) return {options.nCiOccupied, options.nCiUnoccupied};
    Warn(kMsgCiOrbitals);
    return {levels.nOccupied, setup.nOrbitals - levels.nOccupied};
}

/// The levels that take part in any excitation up to the limit, counted from the frontier. An equal
/// gap belongs to them, so that degenerate levels stay together. Without any, the highest occupied
/// level alone makes the window.
Counts CountByEnergy(const Levels& levels, const double* vLevel, double dLimit) {
    const int n = setup.nOrbitals;
    int nLowest = levels.nDoublyOcc;
    while (nLowest > 0 && levels.nDoublyOcc < n &&
           vLevel[levels.nDoublyOcc] - vLevel[nLowest - 1] <= dLimit)
        --nLowest;
    int nEnd = levels.nOccupied;
    while (nEnd < n && levels.nOccupied > 0 &&
           vLevel[nEnd] - vLevel[levels.nOccupied - 1] <= dLimit)
        ++nEnd;
    if (nLowest == levels.nOccupied && nEnd == levels.nOccupied)
        return {std::min(1, levels.nOccupied), 0};
    return {levels.nOccupied - nLowest, nEnd - levels.nOccupied};
}

/// Fills the occupation of the reference. The two open levels of a next lowest state hold half an
/// electron of each spin, as those of a higher multiplicity do, but its determinant is closed.
void FillReference(const Levels& levels, int nOccupied, CiWindow& window) {
    const int nDoubly = std::max(nOccupied + levels.nDoublyOcc - levels.nOccupied, 0);
    window.nAlphaRef = nOccupied;
    window.nBetaRef = nDoubly;
    int nFirstOpen = nDoubly, nEndOpen = nOccupied;
    if (options.fNextLowestState) {
        nFirstOpen = nOccupied - 1;
        nEndOpen = std::min(nOccupied + 1, window.nLevels);
    }
    window.vOccRef.Take(static_cast<std::size_t>(window.nLevels), kWork);
    for (int i = 0; i < nEndOpen; ++i) window.vOccRef[i] = i < nFirstOpen ? 1.0 : 0.5;
}

}  // namespace

CiWindow ChooseWindow(const double* vLevel) {
    const Levels levels = LevelsOfState();
    const bool fByCounts = options.nCiSelection == kByCounts;
    CiWindow window;
    window.dLimit =
        fByCounts ? std::numeric_limits<double>::infinity()
                  : static_cast<double>(options.flCiMaxExcitation) / KcalPerUnit(system.MethodId);
    const Counts counts =
        fByCounts ? CountsAsked(levels) : CountByEnergy(levels, vLevel, window.dLimit);
    window.nLevels = counts.nOccupied + counts.nUnoccupied;
    window.nBelow = levels.nOccupied - counts.nOccupied;
    FillReference(levels, counts.nOccupied, window);
    return window;
}

}  // namespace qsolve
