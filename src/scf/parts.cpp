#include "scf/parts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "integrals/atom_list.h"
#include "job/state.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// The largest element of the core Hamiltonian between two atoms.
double Coupling(const ListedAtom& a, const ListedAtom& b) {
    double d = 0.0;
    for (int i = a.nFirst; i < a.nFirst + a.nOrbitals; ++i) {
        const double* row = Row(scf.mCore.Data(), setup.nOrbitals, i);
        for (int j = b.nFirst; j < b.nFirst + b.nOrbitals; ++j) d = std::max(d, std::abs(row[j]));
    }
    return d;
}

/// Couplings of all pairs of atoms, by position; none of dummies and of an atom with itself.
void FillCouplings(int nAtoms, Array<double>& mCoupling) {
    ForEachStrip(nAtoms, [&](int, int nFirst, int nEnd) {
        for (int i = nFirst; i < nEnd; ++i) {
            const ListedAtom a = AtomAt(i);
            for (int j = 0; j < i; ++j)
                Row(mCoupling.Data(), nAtoms, i)[j] = Row(mCoupling.Data(), nAtoms, j)[i] =
                    a.IsDummy() || AtomAt(j).IsDummy() ? 0.0 : Coupling(a, AtomAt(j));
        }
    });
}

/// The atom whose group an atom belongs to.
int HeadOf(int nAtom, int nAtoms, const Array<double>& mCoupling) {
    const double* row = Row(mCoupling.Data(), nAtoms, nAtom);
    int nHead = nAtom;
    if (AtomAt(nAtom).HasP()) return nHead;
    double dMost = 0.0;
    for (int j = 0; j < nAtoms; ++j)
        if (row[j] > dMost && AtomAt(j).HasP()) {
            dMost = row[j];
            nHead = j;
        }
    return nHead;
}

/// Writes the orbitals of an atom, or counts them where there is no place for them.
void Add(int nAtom, int* pTo, int& nCount) {
    const ListedAtom atom = AtomAt(nAtom);
    if (atom.IsDummy()) return;
    if (pTo)
        for (int i = 0; i < atom.nOrbitals; ++i) pTo[nCount + i] = atom.nFirst + i;
    nCount += atom.nOrbitals;
}

}  // namespace

Parts MakeParts(double dReach) {
    const int nAtoms = system.nSelected;
    const auto nRows = static_cast<std::size_t>(nAtoms);
    Array<double> mCoupling;
    Array<double> mNear;  // by heads of groups, 1 where they are coupled
    Array<int> vHead;
    mCoupling.Take(nRows, nRows, kWork);
    mNear.Take(nRows, nRows, kWork);
    vHead.Take(nRows, kWork);
    FillCouplings(nAtoms, mCoupling);
    for (int i = 0; i < nAtoms; ++i) vHead[i] = HeadOf(i, nAtoms, mCoupling);
    for (int i = 0; i < nAtoms; ++i)
        for (int j = 0; j < nAtoms; ++j)
            if (Row(mCoupling.Data(), nAtoms, i)[j] > dReach)
                Row(mNear.Data(), nAtoms, vHead[i])[vHead[j]] = 1.0;

    Parts parts;
    parts.vFirst.Take(nRows + 1, kWork);
    parts.vOwn.Take(nRows, kWork);
    const auto Fill = [&](int* pTo) {
        int nCount = 0;
        parts.nParts = 0;
        for (int nHead = 0; nHead < nAtoms; ++nHead) {
            const int nFirst = nCount;
            for (int i = 0; i < nAtoms; ++i)
                if (vHead[i] == nHead) Add(i, pTo, nCount);
            if (nCount == nFirst) continue;
            parts.vOwn[parts.nParts] = nCount - nFirst;
            for (int i = 0; i < nAtoms; ++i)
                if (vHead[i] != nHead && Row(mNear.Data(), nAtoms, nHead)[vHead[i]] != 0.0)
                    Add(i, pTo, nCount);
            parts.vFirst[++parts.nParts] = nCount;
        }
        return nCount;
    };
    parts.vOrbitals.Take(static_cast<std::size_t>(Fill(nullptr)), kWork);
    Fill(parts.vOrbitals.Data());
    return parts;
}

}  // namespace qsolve
