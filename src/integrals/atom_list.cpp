#include "integrals/atom_list.h"

#include <cmath>

#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {

ListedAtom AtomAt(int nPosition) {
    const int nAtom = system.nSelectedAtoms[nPosition] - 1;
    ListedAtom atom;
    atom.nElement = system.pAtoms[nAtom].nAtomicNumber;
    atom.pXyz = Row(system.pCoords.Data(), 3, nAtom);
    if (atom.nElement < 1) return atom;
    atom.nFirst = setup.Map.pFirstOrbital[nPosition] - 1;
    atom.nOrbitals = setup.Map.pLastOrbital[nPosition] - atom.nFirst;
    return atom;
}

double Distance(const double* pA, const double* pB) {
    const double x = pB[0] - pA[0], y = pB[1] - pA[1], z = pB[2] - pA[2];
    return std::sqrt(x * x + y * y + z * z);
}

double CoreChargeOf(int nElement) {
    return kCoreCharge[nElement - 1];
}

void StoreCoulombBlock(const ListedAtom& a, const ListedAtom& b, const CoulombBlock& block,
                       double* mCoulomb, int nLeading) {
    for (int i = 0; i < a.nOrbitals; ++i) {
        double* pRow = Row(mCoulomb, nLeading, a.nFirst + i) + b.nFirst;
        const double dSp = i < kFirstD ? block.dSpSp : block.dDSp;
        const double dD = i < kFirstD ? block.dSpD : block.dDD;
        for (int j = 0; j < b.nOrbitals; ++j) pRow[j] = j < kFirstD ? dSp : dD;
    }
}

}  // namespace qsolve
