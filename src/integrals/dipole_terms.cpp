#include "integrals/dipole_terms.h"

#include "numeric/row.h"

namespace qsolve {

namespace {

constexpr double kOneByRoot3 = 0.5773503;
constexpr double kTwoByRoot3 = 1.1547005;

}  // namespace

DipoleProducts SpProducts(const double* mDensity, int nOrbitals, int nFirst) {
    DipoleProducts products;
    for (int k = 0; k < 3; ++k) products.d[k] = Row(mDensity, nOrbitals, nFirst + 1 + k)[nFirst];
    return products;
}

DipoleProducts PdProducts(const double* mDensity, int nOrbitals, int nFirst) {
    const int x = nFirst + 1, y = nFirst + 2, z = nFirst + 3;
    const double* z2 = Row(mDensity, nOrbitals, nFirst + 4);
    const double* xz = Row(mDensity, nOrbitals, nFirst + 5);
    const double* yz = Row(mDensity, nOrbitals, nFirst + 6);
    const double* x2y2 = Row(mDensity, nOrbitals, nFirst + 7);
    const double* xy = Row(mDensity, nOrbitals, nFirst + 8);
    return {{xy[y] + xz[z] + x2y2[x] - kOneByRoot3 * z2[x],
             xy[x] - x2y2[y] + yz[z] - kOneByRoot3 * z2[y], yz[y] + kTwoByRoot3 * z2[z] + xz[x]}};
}

}  // namespace qsolve
