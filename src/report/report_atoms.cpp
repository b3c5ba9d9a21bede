#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "report/report.h"

namespace qsolve {

namespace {

/// Atomic number as it is shown: that of a capping atom is negative.
int ShownElement(const AtomRecord& atom) {
    return atom.nAtomicNumber > kCappingOffset ? kCappingOffset - atom.nAtomicNumber
                                               : atom.nAtomicNumber;
}

}  // namespace

void ReportAtoms() {
    if (!link.fLogReports) return;
    LogFormat(kMsgChargesHeading);
    LogFormat(kMsgChargesColumns);
    LogFormat(kMsgChargesAxes);
    const double dFactor = UsesAtomicUnits(system.MethodId) ? kAngstromPerBohr : 1.0;
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = AtomNumberAt(i);
        const AtomRecord& atom = AtomByNumber(nAtom);
        const double* pXyz = system.pCoords.Data() + 3 * (nAtom - 1);
        LogFormat(kMsgChargesRow, nAtom, ShownElement(atom), atom.flCharge, pXyz[0] * dFactor,
                  pXyz[1] * dFactor, pXyz[2] * dFactor, atom.flMass);
    }
}

}  // namespace qsolve
