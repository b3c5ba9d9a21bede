#include "scf/one_centre_repulsion.h"

#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr int kMostOrbitals = 9;  ///< on one atom

/// An atom's own block of a matrix.
struct Block {
    double m[kMostOrbitals][kMostOrbitals];
};

void TakeBlock(const ListedAtom& atom, const double* m, int nLeading, Block& block) {
    for (int i = 0; i < atom.nOrbitals; ++i)
        for (int j = 0; j < atom.nOrbitals; ++j)
            block.m[i][j] = Row(m, nLeading, atom.nFirst + i)[atom.nFirst + j];
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

}  // namespace

void AddOneCentreRepulsion(const ListedAtom& atom, const OneCentreList& list,
                           const double* vOneCentre, const double* mDensityT,
                           const double* mDensitySpin, int nLeading, double* mFock) {
    Block p, q, f = {};
    TakeBlock(atom, mDensityT, nLeading, p);
    TakeBlock(atom, mDensitySpin, nLeading, q);
    for (int t = 0; t < list.nCount; ++t)
        AddIntegral(vOneCentre[list.pEntries[t].nValue], list.pEntries[t], p, q, f);
    for (int i = 0; i < atom.nOrbitals; ++i)
        for (int j = 0; j < atom.nOrbitals; ++j)
            Row(mFock, nLeading, atom.nFirst + i)[atom.nFirst + j] += f.m[i][j];
}

}  // namespace qsolve
