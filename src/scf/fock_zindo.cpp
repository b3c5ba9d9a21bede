#include "scf/fock_zindo.h"

#include "integrals/atom_list.h"
#include "integrals/one_centre.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kMostOrbitals = 9;  ///< on one atom

// Work charged for the one-centre block of an atom.
constexpr std::size_t kChargeP = 200, kChargeD = 500;

/// An atom's own block of a matrix.
struct Block {
    double m[kMostOrbitals][kMostOrbitals];
};

void TakeBlock(const ListedAtom& atom, const double* m, int nLeading, Block& block) {
    for (int i = 0; i < atom.nOrbitals; ++i)
        for (int j = 0; j < atom.nOrbitals; ++j)
            block.m[i][j] = Row(m, nLeading, atom.nFirst + i)[atom.nFirst + j];
}

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

/// Adds v = (ij|kl) to the block, in this one of its forms.
void AddForm(double v, int i, int j, int k, int l, const Block& p, const Block& q, Block& f) {
    f.m[i][j] += v * p.m[k][l];
    f.m[i][k] -= v * q.m[j][l];
}

/// Adds v = (ij|kl) in all its different forms: i with j, k with l and the pairs exchanged.
void AddIntegral(double v, const OneCentreEntry& e, const Block& p, const Block& q, Block& f) {
    const int i = e.i, j = e.j, k = e.k, l = e.l;
    AddForm(v, i, j, k, l, p, q, f);
    if (i != j) AddForm(v, j, i, k, l, p, q, f);
    if (k != l) AddForm(v, i, j, l, k, p, q, f);
    if (i != j && k != l) AddForm(v, j, i, l, k, p, q, f);
    if (i == k && j == l) return;
    AddForm(v, k, l, i, j, p, q, f);
    if (k != l) AddForm(v, l, k, i, j, p, q, f);
    if (i != j) AddForm(v, k, l, j, i, p, q, f);
    if (i != j && k != l) AddForm(v, l, k, j, i, p, q, f);
}

void AddOwnBlock(const ListedAtom& atom, const double* mDensityT, const double* mDensitySpin,
                 const double* mCoulomb, int n, double* mFock) {
    const double* g = Row(mCoulomb, n, atom.nFirst) + atom.nFirst;
    const int nD = atom.HasD() ? kFirstD : 0;
    const double dGdd = Row(mCoulomb, n, atom.nFirst + nD)[atom.nFirst + nD];
    double W[kOneCentreValues];
    BuildOneCentreIntegrals(atom.nElement, atom.nOrbitals, g[0], g[nD], dGdd, W);

    Block p, q, f = {};
    TakeBlock(atom, mDensityT, n, p);
    TakeBlock(atom, mDensitySpin, n, q);
    const OneCentreList list = OneCentreIntegralsOf(atom.nOrbitals);
    for (int t = 0; t < list.nCount; ++t)
        AddIntegral(W[list.pEntries[t].nValue], list.pEntries[t], p, q, f);
    for (int i = 0; i < atom.nOrbitals; ++i)
        for (int j = 0; j < atom.nOrbitals; ++j)
            Row(mFock, n, atom.nFirst + i)[atom.nFirst + j] += f.m[i][j];
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
