#include "scf/fock_zindo.h"

#include "integrals/atom_list.h"
#include "integrals/one_centre.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/one_centre_repulsion.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// Work charged for the one-centre block of an atom.
constexpr std::size_t kChargeP = 200, kChargeD = 500;

/// Rows of an atom's orbitals, without its own block: exchange with the orbitals of all other
/// atoms, and their potential. vPopulation is the diagonal of the total density.
void AddOtherAtoms(const ListedAtom& atom, const double* vPopulation, const double* mDensitySpin,
                   const double* mCoulomb, int n, double* mFock) {
    const int nEnd = atom.nFirst + atom.nOrbitals;
    for (int i = atom.nFirst; i < nEnd; ++i) {
        const double* g = Row(mCoulomb, n, i);
        const double* q = Row(mDensitySpin, n, i);
        double* f = Row(mFock, n, i);
        for (int j = 0; j < atom.nFirst; ++j) f[j] -= g[j] * q[j];
        for (int j = nEnd; j < n; ++j) f[j] -= g[j] * q[j];
        f[i] += Dot(atom.nFirst, vPopulation, g) + Dot(n - nEnd, vPopulation + nEnd, g + nEnd);
    }
}

void AddOwnBlock(const ListedAtom& atom, const double* mDensityT, const double* mDensitySpin,
                 const double* mCoulomb, int n, double* mFock) {
    const double* g = Row(mCoulomb, n, atom.nFirst) + atom.nFirst;
    const int nD = atom.HasD() ? kFirstD : 0;
    const double dGdd = Row(mCoulomb, n, atom.nFirst + nD)[atom.nFirst + nD];
    double W[kOneCentreValues];
    BuildOneCentreIntegrals(atom.nElement, atom.nOrbitals, g[0], g[nD], dGdd, W);

    AddOneCentreRepulsion(atom, OneCentreIntegralsOf(atom.nOrbitals), W, mDensityT, mDensitySpin, n,
                          mFock);
}

}  // namespace

void BuildFockZindo(const double* mDensityT, const double* mDensitySpin, const double* mCoulomb,
                    int nLeading, double* mFock) {
    double* vPopulation = scf.vOrbitalScratch.Data();
    for (int j = 0; j < nLeading; ++j) vPopulation[j] = Row(mDensityT, nLeading, j)[j];
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (atom.IsDummy()) continue;
        AddOtherAtoms(atom, vPopulation, mDensitySpin, mCoulomb, nLeading, mFock);
        AddOwnBlock(atom, mDensityT, mDensitySpin, mCoulomb, nLeading, mFock);
        Yield(static_cast<std::size_t>(atom.nOrbitals) * static_cast<std::size_t>(nLeading));
        Yield(atom.HasD() ? kChargeD : atom.HasP() ? kChargeP : 0);
    }
}

}  // namespace qsolve
