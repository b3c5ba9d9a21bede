#include "ci/dipoles.h"

#include <cstddef>

#include "integrals/integrals.h"
#include "integrals/mo_dipole.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// The core charges.
void AddCores(const double* vOrigin, double* vMoment) {
    const double dLength = UsesAtomicUnits(system.MethodId) ? 1.0 : kBohrPerAngstrom;
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (atom.IsDummy()) continue;
        for (int k = 0; k < 3; ++k)
            vMoment[k] += CoreChargeOf(atom.nElement) * (atom.pXyz[k] - vOrigin[k]) * dLength;
    }
}

/// Two electrons in each of the nBelow lowest levels.
void AddFrozen(const ScfLevels& levels, int nBelow, double* vMoment) {
    const int nSize = MoProductSize();
    const auto nCount = static_cast<std::size_t>(nSize);
    Array<double> mForm, vProduct;
    mForm.Take(3, nCount, kWork);
    vProduct.Take(nCount, kWork);
    FillMoDipole(levels.vOrigin, mForm.Data());
    for (int i = 0; i < nBelow; ++i) {
        const double* c = Row(levels.mVectors, setup.nOrbitals, i);
        FillMoProduct(c, c, vProduct.Data());
        for (int k = 0; k < 3; ++k)
            vMoment[k] += 2.0 * Dot(nSize, Row(mForm.Data(), nSize, k), vProduct.Data());
        Yield(nCount);
    }
}

}  // namespace

void FillCiDipoles(const ScfLevels& levels, const Interaction& ci, CiDipoles& dipoles) {
    for (double& x : dipoles.vFixed) x = 0.0;
    AddCores(levels.vOrigin, dipoles.vFixed);
    AddFrozen(levels, ci.Window.nBelow, dipoles.vFixed);
    FillOneElectronLists(ci.Configs, ci.Lists, dipoles.One);
    dipoles.vDensity.Take(static_cast<std::size_t>(ci.Table.nPairs), kWork);
}

void StateDipole(const Interaction& ci, const double* vState, CiDipoles& dipoles, double* vMoment) {
    TransitionDipole(ci, vState, vState, dipoles, vMoment);
    for (int k = 0; k < 3; ++k) vMoment[k] += dipoles.vFixed[k];
}

void TransitionDipole(const Interaction& ci, const double* vFrom, const double* vTo,
                      CiDipoles& dipoles, double* vMoment) {
    const int nPairs = ci.Table.nPairs;
    FillDensity(dipoles.One, ci.Configs.nConfigs, vFrom, vTo, dipoles.vDensity.Data());
    for (int k = 0; k < 3; ++k)
        vMoment[k] = Dot(nPairs, Row(ci.Table.mDipole.Data(), nPairs, k), dipoles.vDensity.Data());
}

}  // namespace qsolve
