#include "scf/fock_nddo_one_centre.h"

#include "integrals/atom_list.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Work charged for an atom.
constexpr std::size_t kChargePerAtom = 300;

constexpr int kOrbitals = 4;

/// An atom's own block of a matrix.
struct OwnBlock {
    double m[kOrbitals][kOrbitals];
};

OwnBlock BlockOn(const ListedAtom& atom, const double* m, int nLeading) {
    OwnBlock block;
    for (int i = 0; i < kOrbitals; ++i)
        for (int j = 0; j < kOrbitals; ++j)
            block.m[i][j] = Row(m, nLeading, atom.nFirst + i)[atom.nFirst + j];
    return block;
}

/// The lower triangle of what an atom with s and p gets.
OwnBlock RepulsionSp(const NddoRow& g, const OwnBlock& P, const OwnBlock& Q, const OwnBlock& O) {
    const double n = P.m[1][1] + P.m[2][2] + P.m[3][3];
    const double m = Q.m[1][1] + Q.m[2][2] + Q.m[3][3];
    OwnBlock f;
    f.m[0][0] = (P.m[0][0] - Q.m[0][0]) * g.dGss + n * g.dGsp - m * g.dHsp;
    for (int i = 1; i < kOrbitals; ++i) {
        f.m[i][0] = 2.0 * P.m[i][0] * g.dHsp - (g.dGsp + g.dHsp) * Q.m[i][0];
        for (int j = 1; j < i; ++j)
            f.m[i][j] = (g.dGpp - g.dGp2) * P.m[i][j] - 0.5 * (g.dGpp + g.dGp2) * Q.m[i][j];
        f.m[i][i] = P.m[0][0] * g.dGsp - Q.m[0][0] * g.dHsp + (n - P.m[i][i]) * g.dGp2 +
                    O.m[i][i] * g.dGpp - 0.5 * (m - Q.m[i][i]) * (g.dGpp - g.dGp2);
    }
    return f;
}

/// Adds the lower triangle of a block to both of the matrix.
void AddBlock(const ListedAtom& atom, const OwnBlock& f, double* mFock, int nLeading) {
    for (int i = 0; i < kOrbitals; ++i)
        for (int j = 0; j <= i; ++j) {
            Row(mFock, nLeading, atom.nFirst + i)[atom.nFirst + j] += f.m[i][j];
            if (j != i) Row(mFock, nLeading, atom.nFirst + j)[atom.nFirst + i] += f.m[i][j];
        }
}

}  // namespace

void BuildFockOneCentreSp(double* mFock, const double* mDensityT, const double* mDensitySpin,
                          const double* mDensityOtherSpin, int nLeading) {
    for (int nPosition = 0; nPosition < system.nSelected; ++nPosition) {
        const ListedAtom atom = AtomAt(nPosition);
        if (atom.IsDummy() || atom.HasD()) continue;
        const NddoRow& g = setup.pNddo[atom.Row()];
        const int k = atom.nFirst;
        if (atom.HasP()) {
            AddBlock(atom,
                     RepulsionSp(g, BlockOn(atom, mDensityT, nLeading),
                                 BlockOn(atom, mDensitySpin, nLeading),
                                 BlockOn(atom, mDensityOtherSpin, nLeading)),
                     mFock, nLeading);
        } else {
            const double dOther =
                Row(mDensityT, nLeading, k)[k] - Row(mDensitySpin, nLeading, k)[k];
            Row(mFock, nLeading, k)[k] += dOther * g.dGss;
        }
        Yield(kChargePerAtom);
    }
}

}  // namespace qsolve
