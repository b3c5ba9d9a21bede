#include "gradient/restraints.h"

#include <cstddef>

#include "gradient/restraint_terms.h"
#include "gradient/state.h"
#include "job/precision.h"
#include "job/state.h"
#include "setup/parameters.h"

namespace qsolve {
namespace {

/// Square of the Angstrom in a bohr, as force constants are converted.
constexpr double kForceConstantFactor = 0.28002855;

/// Share of the energy by atoms of the restraint (2, 3, 4) and atoms that count (1 to 4).
constexpr double kShare[3][4] = {
    {0.5, 1.0, 0.0, 0.0},
    {0.3333333333333, 0.5, 1.0, 0.0},
    {0.25, 0.3333333333333, 0.5, 1.0},
};

/// Atoms that a record of this kind names.
constexpr int AtomsOf(int nKind) {
    return nKind + 1;
}

/// Row of the gradient that belongs to an atom of a record, null for an atom outside the selection.
double* RowOfAtom(const RestraintRecord& record, int i) {
    const int nPosition = system.nAtomToSelected[record.nAtom[i]];
    return nPosition < 1 ? nullptr : gradient.pGradient.Data() + 3 * (nPosition - 1);
}

const AtomRecord& AtomOf(const RestraintRecord& record, int i) {
    return system.pAtoms[record.nAtom[i]];
}

bool ReachesTheSelection(const RestraintRecord& record) {
    for (int i = 0; i < AtomsOf(record.nKind); ++i)
        if (RowOfAtom(record, i)) return true;
    return false;
}

/// The fixed point of a tether stands for a second atom that does not move, and so counts.
double ShareOf(const RestraintRecord& record) {
    const int nAtoms = AtomsOf(record.nKind);
    int nCounting = record.nKind == kTether ? 1 : 0;
    for (int i = 0; i < nAtoms; ++i)
        if (RowOfAtom(record, i) || AtomOf(record, i).nState != kSelected) ++nCounting;
    const int nPlaces = record.nKind == kTether ? 2 : nAtoms;
    return kShare[nPlaces - 2][nCounting - 1];
}

/// Place of an atom of a record, in the precision in which it came: clients of single precision
/// have always been told the restraints of places rounded to it.
void PlaceOf(const RestraintRecord& record, int i, double* pXyz) {
    const double* p = system.pCoords.Data() + 3 * static_cast<std::ptrdiff_t>(record.nAtom[i]);
    for (int k = 0; k < 3; ++k) pXyz[k] = further.pXyz ? p[k] : AsOnWire(p[k]);
}

/// The numbers of a record, in the working unit.
struct WorkingTarget {
    double dForceConstant;
    double dTarget[3];
};

/// Distances and places go to bohr with the geometry, angles stay. The list that a record stands in
/// does not tell its kind.
WorkingTarget TargetOf(const RestraintRecord& record) {
    const bool fDistance = record.nKind == kTether || record.nKind == kStretch;
    const bool fBohr = fDistance && UsesAtomicUnits(system.MethodId);
    const auto working = [fBohr](float fl, double dFactor) {
        const double d = static_cast<double>(fl);
        return fBohr ? AsOnWire(d * dFactor) : d;
    };
    return {working(record.flForceConstant, kForceConstantFactor),
            {working(record.flTarget, kIntakeBohrPerAngstrom),
             working(record.flTargetY, kIntakeBohrPerAngstrom),
             working(record.flTargetZ, kIntakeBohrPerAngstrom)}};
}

RestraintTerm TermOf(const RestraintRecord& record) {
    double x[kMostRestraintAtoms][3] = {};
    for (int i = 0; i < AtomsOf(record.nKind); ++i) PlaceOf(record, i, x[i]);
    const WorkingTarget target = TargetOf(record);
    const double k = target.dForceConstant;
    switch (record.nKind) {
        case kTether:
            return StretchTerm(x[0], target.dTarget, k, 0.0);
        case kStretch:
            return StretchTerm(x[0], x[1], k, target.dTarget[0]);
        case kBend:
            return BendTerm(x[0], x[1], x[2], k, target.dTarget[0]);
        default:
            return TorsionTerm(x[0], x[1], x[2], x[3], k, target.dTarget[0]);
    }
}

/// Tethers and stretches pull at atoms that can move. Bends and torsions pull at every atom that
/// has a row; those of capping atoms are zeroed when the gradient is converted.
void AddForces(const RestraintRecord& record, const RestraintTerm& term) {
    const bool fDistance = record.nKind == kTether || record.nKind == kStretch;
    for (int i = 0; i < AtomsOf(record.nKind); ++i) {
        double* pRow = RowOfAtom(record, i);
        if (!pRow || (fDistance && AtomOf(record, i).nState != kSelected)) continue;
        for (int k = 0; k < 3; ++k) pRow[k] += term.dGradient[i][k] / KcalPerUnit(system.MethodId);
    }
}

void Apply(const RestraintRecord& record) {
    if (record.nKind < kTether || record.nKind > kTorsion) return;
    if (!ReachesTheSelection(record)) return;
    const RestraintTerm term = TermOf(record);
    gradient.dRestraintEnergy[record.nKind] += ShareOf(record) * term.dEnergy;
    if (gradient.fComputed) AddForces(record, term);
}

}  // namespace

void ApplyRestraints() {
    for (double& dEnergy : gradient.dRestraintEnergy) dEnergy = 0.0;
    if (!job.fRestraints) return;
    for (const Array<RestraintRecord>& list : system.pRestraints)
        for (const RestraintRecord& record : list) Apply(record);
}

}  // namespace qsolve
