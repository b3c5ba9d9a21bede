#include "geometry/image_rows.h"

#include <algorithm>
#include <cstddef>

#include "job/atoms.h"
#include "job/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/symmetry.h"

namespace qsolve {
namespace {

/// Images this near are exact as far as frequencies are shown: a bond that is longer by it vibrates
/// 0.02 1/cm more slowly.
constexpr double kPlaceTolerance = 2e-6;  ///< working unit
/// What cycles to the limits of displaced points leave open; a state that does not have the
/// symmetry of its nuclei is a thousand times as far from it.
constexpr double kDensityTolerance = 1e-5;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

bool AreAlone(int nAtoms) {
    const int* n = system.nRestraints;
    return nAtoms == system.nAtoms && std::all_of(n, n + 4, [](int k) { return k == 0; });
}

/// The first atom of the same element and mass, by position.
int FirstAlike(int nPosition) {
    const AtomRecord& atom = AtomByNumber(AtomNumberAt(nPosition));
    for (int i = 0; i < nPosition; ++i) {
        const AtomRecord& other = AtomByNumber(AtomNumberAt(i));
        if (other.nAtomicNumber == atom.nAtomicNumber && other.flMass == atom.flMass) return i;
    }
    return nPosition;
}

int FindImagesOfPlaces(int nAtoms, Images& images) {
    Array<double> vXyz;
    Array<int> vKinds;
    vXyz.Take(Size(nAtoms), 3, kWork);
    vKinds.Take(Size(nAtoms), kWork);
    for (int i = 0; i < nAtoms; ++i) {
        std::copy_n(system.pCoords.Data() + 3 * (AtomNumberAt(i) - 1), 3, vXyz.Data() + 3 * i);
        vKinds[Size(i)] = FirstAlike(i);
    }
    return FindImages(nAtoms, vXyz.Data(), vKinds.Data(), kPlaceTolerance, images);
}

bool AreImagesOfDensities(int nAtoms, const Images& images) {
    Array<AtomRange> vRanges;
    vRanges.Take(Size(nAtoms), kWork);
    for (int i = 0; i < nAtoms; ++i) vRanges[Size(i)] = OrbitalRangeOf(i);
    for (const Array<double>* m : {&scf.mDensityA, &scf.mDensityT})
        if (!HasSymmetry(images, vRanges.Data(), setup.nOrbitals, m->Data(), kDensityTolerance))
            return false;
    return true;
}

}  // namespace

int FindImageRows(int nAtoms, Images& images) {
    if (!further.Scf.fImages || !AreAlone(nAtoms)) return 0;
    const int nImages = FindImagesOfPlaces(nAtoms, images);
    return nImages > 0 && AreImagesOfDensities(nAtoms, images) ? nImages : 0;
}

}  // namespace qsolve
