#include "scf/start_point.h"

#include <algorithm>
#include <cstddef>

#include "job/methods.h"
#include "job/state.h"
#include "scf/electronic_energy.h"
#include "scf/state.h"

namespace qsolve {
namespace {

void Copy(const Array<double>& from, Array<double>& to) {
    std::copy(from.begin(), from.end(), to.begin());
}

void Keep(const Array<double>& from, Array<double>& to) {
    if (to.Size() != from.Size()) to.Take(from.Size(), kWork);
    Copy(from, to);
}

void Mirror(const Array<double>& reference, Array<double>& m) {
    for (std::size_t i = 0; i < m.Size(); ++i) m[i] = 2.0 * reference[i] - m[i];
}

}  // namespace

void KeepStartPoint(StartPoint& start) {
    Keep(scf.mDensityT, start.mDensityT);
    Keep(scf.mDensityA, start.mDensityA);
    Keep(scf.mDensityB, start.mDensityB);
    start.dSavedShiftA = scf.dSavedShiftA;
    start.dSavedShiftB = scf.dSavedShiftB;
    start.dSavedTarget = scf.dSavedTarget;
}

void RestoreStartPoint(const StartPoint& start) {
    Copy(start.mDensityT, scf.mDensityT);
    Copy(start.mDensityA, scf.mDensityA);
    Copy(start.mDensityB, scf.mDensityB);
    if (start.mDensityT && FamilyOf(system.MethodId) == Family::kNddo) FillAtomPopulations();
    scf.dSavedShiftA = start.dSavedShiftA;
    scf.dSavedShiftB = start.dSavedShiftB;
    scf.dSavedTarget = start.dSavedTarget;
}

void MirrorStartPoint(const StartPoint& reference, StartPoint& start) {
    Mirror(reference.mDensityT, start.mDensityT);
    Mirror(reference.mDensityA, start.mDensityA);
    Mirror(reference.mDensityB, start.mDensityB);
    start.dSavedShiftA = reference.dSavedShiftA;
    start.dSavedShiftB = reference.dSavedShiftB;
    start.dSavedTarget = reference.dSavedTarget;
}

}  // namespace qsolve
