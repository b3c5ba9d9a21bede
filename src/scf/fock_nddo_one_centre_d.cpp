#include "scf/fock_nddo_one_centre_d.h"

#include "integrals/atom_list.h"
#include "integrals/one_centre.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/one_centre_repulsion.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Work charged for an atom.
constexpr std::size_t kChargePerAtom = 500;

}  // namespace

void BuildFockOneCentreD(double* mFock, const double* mDensityT, const double* mDensitySpin,
                         int nLeading) {
    for (int nPosition = 0; nPosition < system.nSelected; ++nPosition) {
        const ListedAtom atom = AtomAt(nPosition);
        if (atom.IsDummy() || !atom.HasD()) continue;
        double W[kOneCentreValuesNddo];
        BuildOneCentreIntegralsNddo(atom.nElement, atom.nOrbitals, W);
        AddOneCentreRepulsion(atom, OneCentreIntegralsNddo(atom.nOrbitals), W, mDensityT,
                              mDensitySpin, nLeading, mFock);
        Yield(kChargePerAtom);
    }
}

}  // namespace qsolve
