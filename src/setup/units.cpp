#include <cmath>

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/setup.h"

namespace qsolve {

namespace {

/// Bohr in an Angstrom, as the intake converts. The integrals have a constant of their own with
/// more digits; the two are not the same number and do not become it.
constexpr double kIntakeBohrPerAngstrom = 1.889726;

/// Square of the Angstrom in a bohr, as force constants are converted.
constexpr double kForceConstantFactor = 0.28002855;

/// Compared as the client's floats are.
constexpr float kSmallestMass = 1e-10F;

void Scale(float& fl, double dFactor) {
    fl = static_cast<float>(static_cast<double>(fl) * dFactor);
}

/// Bends and torsions have their targets in radians and stay. The list that a record stands in does
/// not tell its kind.
void ConvertRestraint(RestraintRecord& restraint) {
    if (restraint.nKind != kTether && restraint.nKind != kStretch) return;
    Scale(restraint.flTarget, kIntakeBohrPerAngstrom);
    if (restraint.nKind == kTether) {
        Scale(restraint.flTargetY, kIntakeBohrPerAngstrom);
        Scale(restraint.flTargetZ, kIntakeBohrPerAngstrom);
    }
    Scale(restraint.flForceConstant, kForceConstantFactor);
}

}  // namespace

void ConvertToWorkingUnit() {
    if (!UsesAtomicUnits(system.MethodId)) return;
    for (AtomRecord& atom : system.pAtoms) {
        Scale(atom.flX, kIntakeBohrPerAngstrom);
        Scale(atom.flY, kIntakeBohrPerAngstrom);
        Scale(atom.flZ, kIntakeBohrPerAngstrom);
    }
    if (!job.fRestraints) return;
    for (Array<RestraintRecord>& list : system.pRestraints)
        for (RestraintRecord& restraint : list) ConvertRestraint(restraint);
}

void CheckMasses() {
    for (int nAtom = 1; nAtom <= system.nAtoms; ++nAtom) {
        const float flMass = AtomByNumber(nAtom).flMass;
        if (!std::isfinite(flMass) || flMass <= kSmallestMass)
            Fatal(kMsgMassTooSmall, nAtom, flMass);
    }
}

}  // namespace qsolve
