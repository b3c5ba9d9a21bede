#include "integrals/nddo_store.h"

#include <algorithm>

#include "job/state.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Greatest distance that enters a formula, Angstrom.
constexpr double kGreatestDistance = 1e10;

}  // namespace

bool AreInOnePlace(const NddoAtom& a, const NddoAtom& b) {
    const double* p = a.Listed.pXyz;
    const double* q = b.Listed.pXyz;
    const double x = p[0] - q[0], y = p[1] - q[1], z = p[2] - q[2];
    return x * x + y * y + z * z < kOnePlaceSquare;
}

PairGeometry GeometryOf(const NddoAtom& a, const NddoAtom& b) {
    const double dDistance = std::min(Distance(a.Listed.pXyz, b.Listed.pXyz), kGreatestDistance);
    PairGeometry geometry{dDistance, {}};
    for (int k = 0; k < 3; ++k)
        geometry.vDirection[k] = (a.Listed.pXyz[k] - b.Listed.pXyz[k]) / dDistance;
    return geometry;
}

NddoAtom NddoAtomOf(int nElement) {
    NddoAtom atom;
    const NddoRow& row = setup.pNddo[nElement - 1];
    atom.Listed.nElement = nElement;
    atom.pRow = &row;
    atom.dCore = CoreChargeOf(nElement);
    atom.dRho0 = 0.5 / row.dRho0;
    atom.dRho1 = 0.5 / row.dRho1;
    atom.dRho2 = 0.5 / row.dRho2;
    atom.dDipole = row.dDipoleDistance;
    atom.dQuadrupole = row.dQuadDistance;
    return atom;
}

NddoAtom NddoAtomAt(int nPosition) {
    const ListedAtom listed = AtomAt(nPosition);
    if (listed.IsDummy()) return NddoAtom{.Listed = listed};
    NddoAtom atom = NddoAtomOf(listed.nElement);
    atom.Listed = listed;
    atom.nProducts = system.MethodId == kMindo3 ? 1 : ProductsOf(listed.nOrbitals);
    return atom;
}

void AddProducts(const NddoAtom& atom, int nOrbitals, const double* vProducts, double* m,
                 int nLeading) {
    const int nFirst = atom.Listed.nFirst;
    for (int i = 0; i < nOrbitals; ++i)
        for (int j = 0; j <= i; ++j) {
            const double d = *vProducts++;
            Row(m, nLeading, nFirst + i)[nFirst + j] += d;
            if (j != i) Row(m, nLeading, nFirst + j)[nFirst + i] += d;
        }
}

void TransposeBlock(const double* pBlock, int nRows, int nColumns, double* pTransposed) {
    for (int i = 0; i < nRows; ++i)
        for (int j = 0; j < nColumns; ++j) pTransposed[j * nRows + i] = pBlock[i * nColumns + j];
}

}  // namespace qsolve
