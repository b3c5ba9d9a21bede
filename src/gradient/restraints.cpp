#include "gradient/restraints.h"

#include "gradient/restraint_terms.h"
#include "gradient/state.h"
#include "job/state.h"
#include "setup/parameters.h"

namespace qsolve {
namespace {

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

RestraintTerm TermOf(const RestraintRecord& record) {
    double x[kMostRestraintAtoms][3] = {};
    for (int i = 0; i < AtomsOf(record.nKind); ++i) {
        const AtomRecord& atom = AtomOf(record, i);
        x[i][0] = static_cast<double>(atom.flX);
        x[i][1] = static_cast<double>(atom.flY);
        x[i][2] = static_cast<double>(atom.flZ);
    }
    const double k = static_cast<double>(record.flForceConstant);
    const double dTarget = static_cast<double>(record.flTarget);
    const double dPoint[3] = {dTarget, static_cast<double>(record.flTargetY),
                              static_cast<double>(record.flTargetZ)};
    switch (record.nKind) {
        case kTether:
            return StretchTerm(x[0], dPoint, k, 0.0);
        case kStretch:
            return StretchTerm(x[0], x[1], k, dTarget);
        case kBend:
            return BendTerm(x[0], x[1], x[2], k, dTarget);
        default:
            return TorsionTerm(x[0], x[1], x[2], x[3], k, dTarget);
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
