#include "integrals/overlap_matrix.h"

#include <algorithm>

#include "algebra/mirror.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Atoms whose rows are filled between two yields, and the number of atoms from which the threads
/// share them.
constexpr int kAtomsOfStrip = 32, kWorthThreads = 40;

ShellExponents ExponentsOf(int nRow) {
    ShellExponents x;
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo: {
            const CindoRow& row = parameters.pCindoParams[nRow];
            x.dZetaS = row.dZetaS, x.dZetaP = row.dZetaP, x.dZetaD1 = row.dZetaD;
            x.dCoefD2 = 0.0;
            break;
        }
        case Family::kZindo: {
            const ZindoRow& row = setup.pZindo[nRow];
            x = {row.dZetaS, row.dZetaP, row.dZetaD1, row.dZetaD2, row.dCoefD1, row.dCoefD2};
            break;
        }
        case Family::kNddo: {
            const NddoRow& row = setup.pNddo[nRow];
            x.dZetaS = row.dZetaS, x.dZetaP = row.dZetaP, x.dZetaD1 = row.dZetaD;
            break;
        }
        case Family::kNone:
            break;
    }
    return x;
}

/// Writes the overlap of A with an earlier atom B into rows of A and columns of B.
void StoreBlock(const ListedAtom& a, const ListedAtom& b, const double* mBlock, double* mCore,
                int nLeading) {
    for (int i = 0; i < a.nOrbitals; ++i) {
        double* pRow = Row(mCore, nLeading, a.nFirst + i) + b.nFirst;
        for (int j = 0; j < b.nOrbitals; ++j) pRow[j] = mBlock[kAtomOrbitals * j + i];
    }
}

void ClearToUnit(double* m, int nLeading, int nOrder) {
    for (int i = 0; i < nOrder; ++i) {
        double* pRow = Row(m, nLeading, i);
        std::fill_n(pRow, nOrder, 0.0);
        pRow[i] = 1.0;
        Yield(static_cast<std::size_t>(nOrder));
    }
}

}  // namespace

AtomShells ShellsOf(const ListedAtom& atom) {
    if (atom.IsDummy()) return {};
    return MakeAtomShells(system.MethodId, atom.nElement, atom.nOrbitals, ExponentsOf(atom.Row()));
}

OverlapWeights WeightsOfJob() {
    if (FamilyOf(system.MethodId) != Family::kZindo) return {};
    return {options.flOverlapSigma, options.flOverlapPi};
}

void BuildOverlapMatrix(double* mCore, int nLeading, int nOrbitals) {
    ClearToUnit(mCore, nLeading, nOrbitals);
    const double dBohr = UsesAtomicUnits(system.MethodId) ? 1.0 : kBohrPerAngstrom;
    const OverlapWeights weights = WeightsOfJob();
    const int nAtoms = system.nSelected;
    Array<AtomShells> vShells;
    vShells.Take(static_cast<std::size_t>(nAtoms), kWork);
    for (int i = 0; i < nAtoms; ++i) vShells[i] = ShellsOf(AtomAt(i));
    const auto nRowWork = static_cast<std::size_t>(std::max(nOrbitals, nAtoms));
    const auto FillRowsOf = [&](int iA) {
        if (vShells[iA].nShells == 0) return;
        const ListedAtom a = AtomAt(iA);
        for (int iB = 0; iB < iA; ++iB) {
            if (vShells[iB].nShells == 0) continue;
            const ListedAtom b = AtomAt(iB);
            double pVector[3], mBlock[kAtomOrbitals * kAtomOrbitals];
            for (int c = 0; c < 3; ++c) pVector[c] = b.pXyz[c] * dBohr - a.pXyz[c] * dBohr;
            ComputeDiatomicOverlap(vShells[iA], vShells[iB], pVector, weights, mBlock);
            StoreBlock(a, b, mBlock, mCore, nLeading);
        }
    };
    for (int i = 0; i < nAtoms; i += kAtomsOfStrip) {
        const int nStrip = std::min(kAtomsOfStrip, nAtoms - i);
        ForEachTaskIf(nAtoms >= kWorthThreads, nStrip, [&](int nTask) { FillRowsOf(i + nTask); });
        Yield(nRowWork * static_cast<std::size_t>(nStrip));
    }
    CopyLowerToUpper(mCore, nLeading, nOrbitals);
}

}  // namespace qsolve
