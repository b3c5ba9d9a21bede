#include "integrals/mo_dipole.h"

#include <algorithm>

#include "integrals/atom_list.h"
#include "integrals/dipole_terms.h"
#include "integrals/mo_integral.h"
#include "integrals/nddo_store.h"
#include "job/methods.h"
#include "job/state.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// e bohr per Debye of half the moment that a density matrix element has: 1 / 5.0832.
constexpr double kHybrid = 0.19672647151400693;

/// Writes the entries of one atom; vX, vY and vZ begin at its products.
void FillAtom(const ListedAtom& atom, const double* vOrigin, double* const* pForm) {
    const double dLength = UsesAtomicUnits(system.MethodId) ? 1.0 : kBohrPerAngstrom;
    for (int k = 0; k < 3; ++k)
        for (int m = 0; m < atom.nOrbitals; ++m)
            pForm[k][ProductNumber(m, m)] = -(atom.pXyz[k] - vOrigin[k]) * dLength;
    const auto Add = [&](const DipoleTerm& t, double dHybrid) {
        pForm[t.nAxis][ProductNumber(t.i, t.j)] = -dHybrid * kHybrid * t.dWeight;
    };
    if (atom.HasP())
        for (const DipoleTerm& t : kSpTerms) Add(t, setup.vSpHybrid[atom.Row()]);
    if (atom.HasD())
        for (const DipoleTerm& t : kPdTerms) Add(t, setup.vPdHybrid[atom.Row()]);
}

}  // namespace

void FillMoDipole(const double* vOrigin, double* mForm) {
    const int nSize = MoProductSize();
    std::fill(mForm, Row(mForm, nSize, 3), 0.0);
    double* pForm[3] = {mForm, Row(mForm, nSize, 1), Row(mForm, nSize, 2)};
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (!atom.IsDummy()) FillAtom(atom, vOrigin, pForm);
        for (double*& p : pForm) p += ProductsOf(atom.nOrbitals);
    }
}

}  // namespace qsolve
