#include "geometry/kept_matrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "job/atoms.h"
#include "job/state.h"

namespace qsolve {
namespace {

std::size_t Selected() {
    return static_cast<std::size_t>(system.nSelected);
}

}  // namespace

void RememberMolecule(VibrationState& kept) {
    kept.nMethod = system.MethodId;
    kept.nAtoms = system.nAtoms;
    kept.vCoords.Take(system.pCoords.Size(), kWork);
    std::copy(system.pCoords.begin(), system.pCoords.end(), kept.vCoords.begin());
    kept.vSelectedAtoms.Take(Selected(), kWork);
    kept.vAtomicNumber.Take(Selected(), kWork);
    for (int i = 0; i < system.nSelected; ++i) {
        kept.vSelectedAtoms[i] = AtomNumberAt(i);
        kept.vAtomicNumber[i] = AtomByNumber(AtomNumberAt(i)).nAtomicNumber;
    }
}

bool BelongsToThisMolecule(const VibrationState& kept) {
    if (kept.nMethod != system.MethodId || kept.nAtoms != system.nAtoms) return false;
    if (kept.vSelectedAtoms.Size() != Selected()) return false;
    for (int i = 0; i < system.nSelected; ++i)
        if (kept.vSelectedAtoms[i] != AtomNumberAt(i) ||
            kept.vAtomicNumber[i] != AtomByNumber(AtomNumberAt(i)).nAtomicNumber)
            return false;
    return true;
}

bool IsAtItsPlaces(const VibrationState& kept) {
    constexpr double kSamePlace = 1e-3;
    return std::equal(kept.vCoords.begin(), kept.vCoords.end(), system.pCoords.begin(),
                      system.pCoords.end(),
                      [](double a, double b) { return std::abs(a - b) <= kSamePlace; });
}

}  // namespace qsolve
