#include <cmath>

#include "job/atoms.h"
#include "job/precision.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/setup.h"

namespace qsolve {

namespace {

/// Compared as the client's floats are.
constexpr float kSmallestMass = 1e-10F;

/// The places that came in full stay so.
void TakeGivenCoordinates(double* pCoords) {
    const double dFactor = UsesAtomicUnits(system.MethodId) ? kIntakeBohrPerAngstrom : 1.0;
    for (const double d : further.pXyz) *pCoords++ = d * dFactor;
}

}  // namespace

void TakeCoordinates() {
    const bool fBohr = UsesAtomicUnits(system.MethodId);
    system.pCoords.Take(system.pAtoms.Size(), 3, kSetUp);
    double* p = system.pCoords.Data();
    if (further.pXyz) return TakeGivenCoordinates(p);
    for (const AtomRecord& atom : system.pAtoms)
        for (const float fl : {atom.flX, atom.flY, atom.flZ}) {
            const double d = static_cast<double>(fl);
            *p++ = fBohr ? AsOnWire(d * kIntakeBohrPerAngstrom) : d;
        }
}

void CheckMasses() {
    for (int nAtom = 1; nAtom <= system.nAtoms; ++nAtom) {
        const float flMass = AtomByNumber(nAtom).flMass;
        if (!std::isfinite(flMass) || flMass <= kSmallestMass)
            Fatal(kMsgMassTooSmall, nAtom, flMass);
    }
}

}  // namespace qsolve
