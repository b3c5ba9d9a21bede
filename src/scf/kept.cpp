#include "scf/kept.h"

#include <cmath>
#include <cstddef>

#include "job/atoms.h"
#include "job/state.h"
#include "link/memory.h"
#include "scf/start_point.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Angstrom. Beyond such a step another guess is as good, and the state is another matter.
constexpr double kFarthest = 0.5;

/// What two calculations must have in common for the density of one to be a start of the other.
struct Identity {
    int nMethod = 0, nOrbitals = 0, nElectrons = 0, nCharge = 0, nMultiplicity = 0;
    int nSpinTreatment = 0, nCiKind = 0, fNextLowest = 0, nOccupied = 0, nDoublyOcc = 0;
    bool operator==(const Identity&) const = default;
};

struct KeptAtom {
    int nElement;
    double vPlace[3];  ///< working unit
};

/// Lives from one session to the next; empty where nothing is kept.
struct Kept {
    Identity Calculation;
    Array<KeptAtom> pAtoms;  ///< by position
    StartPoint Start;
};
Kept kept;

Identity ThisCalculation() {
    return {.nMethod = system.MethodId,
            .nOrbitals = setup.nOrbitals,
            .nElectrons = setup.nElectrons,
            .nCharge = options.nTotalCharge,
            .nMultiplicity = options.nMultiplicity,
            .nSpinTreatment = options.nSpinTreatment,
            .nCiKind = options.nCiKind,
            .fNextLowest = options.fNextLowestState,
            .nOccupied = setup.nOccupied,
            .nDoublyOcc = setup.nDoublyOcc};
}

KeptAtom AtomOfPosition(int nPosition) {
    const int nAtom = AtomNumberAt(nPosition);
    const double* p = system.pCoords.Data() + 3 * static_cast<std::size_t>(nAtom - 1);
    return {ElementOf(AtomByNumber(nAtom)), {p[0], p[1], p[2]}};
}

/// Working units in an Angstrom.
double UnitsPerAngstrom() {
    return UsesAtomicUnits(system.MethodId) ? kIntakeBohrPerAngstrom : 1.0;
}

bool AreTheseAtoms() {
    if (kept.pAtoms.Size() != static_cast<std::size_t>(system.nSelected)) return false;
    const double dFarthest = kFarthest * UnitsPerAngstrom();
    for (int i = 0; i < system.nSelected; ++i) {
        const KeptAtom now = AtomOfPosition(i), &then = kept.pAtoms[i];
        if (now.nElement != then.nElement) return false;
        const double x = now.vPlace[0] - then.vPlace[0], y = now.vPlace[1] - then.vPlace[1],
                     z = now.vPlace[2] - then.vPlace[2];
        if (!(std::sqrt(x * x + y * y + z * z) <= dFarthest)) return false;
    }
    return true;
}

bool HasRoom(const Array<double>& from, Array<double>& to) {
    return to.Size() == from.Size() || to.TryTake(from.Size());
}

bool HasRoomForAll() {
    const auto nAtoms = static_cast<std::size_t>(system.nSelected);
    return HasRoom(scf.mDensityT, kept.Start.mDensityT) &&
           HasRoom(scf.mDensityA, kept.Start.mDensityA) &&
           HasRoom(scf.mDensityB, kept.Start.mDensityB) &&
           (kept.pAtoms.Size() == nAtoms || kept.pAtoms.TryTake(nAtoms));
}

void Forget() noexcept {
    kept = Kept{};
}

}  // namespace

void KeepDensity(bool fConverged) noexcept {
    if (further.Scf.nKeepDensity == kDropDensity) return;
    if (!fConverged || !HasRoomForAll()) return Forget();
    KeepStartPoint(kept.Start);
    kept.Calculation = ThisCalculation();
    for (int i = 0; i < system.nSelected; ++i) kept.pAtoms[i] = AtomOfPosition(i);
}

bool TakeKeptDensity() {
    if (further.Scf.nKeepDensity != kFollowDensity || !kept.pAtoms) return false;
    if (kept.Calculation != ThisCalculation() || !AreTheseAtoms()) return false;
    RestoreStartPoint(kept.Start);
    return true;
}

void ForgetUnwantedDensity() noexcept {
    if (further.Scf.nKeepDensity != kFollowDensity) Forget();
}

}  // namespace qsolve
