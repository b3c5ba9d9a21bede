#include "integrals/dipole_terms.h"

#include <cstddef>

#include "numeric/row.h"

namespace qsolve {
namespace {

template <std::size_t nCount>
DipoleProducts SumTerms(const DipoleTerm (&terms)[nCount], const double* mDensity, int nOrbitals,
                        int nFirst) {
    DipoleProducts products = {};
    for (const DipoleTerm& t : terms)
        products.d[t.nAxis] += t.dWeight * Row(mDensity, nOrbitals, nFirst + t.i)[nFirst + t.j];
    return products;
}

}  // namespace

DipoleProducts SpProducts(const double* mDensity, int nOrbitals, int nFirst) {
    return SumTerms(kSpTerms, mDensity, nOrbitals, nFirst);
}

DipoleProducts PdProducts(const double* mDensity, int nOrbitals, int nFirst) {
    return SumTerms(kPdTerms, mDensity, nOrbitals, nFirst);
}

}  // namespace qsolve
