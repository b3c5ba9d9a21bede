#pragma once

#include <cstddef>

#include "job/methods.h"
#include "job/state.h"
#include "link/packets.h"

/// Walks over the atoms of the job. Dummies, which have no row in the tables, are passed over.

namespace qsolve {

/// The three conditions of an atom in a calculation.
enum class AtomGroup { kSelected, kCapping, kClassical };

/// Atom number, from 1, of a position of the selection list, from 0.
inline int AtomNumberAt(int nPosition) {
    return system.nSelectedAtoms[nPosition];
}

/// Record of an atom by its number from 1.
inline AtomRecord& AtomByNumber(int nAtom) {
    return system.pAtoms[nAtom - 1];
}

/// Whether an atom takes no part in anything, or closes the selected part.
inline bool IsDummy(const AtomRecord& atom) {
    return atom.nAtomicNumber <= 0;
}
inline bool IsCapping(const AtomRecord& atom) {
    return atom.nState == kCapping;
}

/// Row of the tables, from 0. Not for a dummy.
inline int RowOf(const AtomRecord& atom) {
    return atom.nAtomicNumber - 1;
}

/// Atomic number that a person knows: without the offset of a capping atom.
inline int ElementOf(const AtomRecord& atom) {
    return IsCapping(atom) ? atom.nAtomicNumber - kCappingOffset : atom.nAtomicNumber;
}

/// Calls visit(atom number, record) for each atom of the selection list that is no dummy, in the
/// order of the list, capping atoms included.
template <class Visit>
void ForEachCalculatedAtom(Visit visit) {
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = AtomNumberAt(i);
        if (!IsDummy(AtomByNumber(nAtom))) visit(nAtom, AtomByNumber(nAtom));
    }
}

/// The same for one group: selected and capping atoms in the order of the list, classical ones in
/// the order of the molecule.
template <class Visit>
void ForEachAtomOf(AtomGroup nGroup, Visit visit) {
    if (nGroup != AtomGroup::kClassical) {
        ForEachCalculatedAtom([&](int nAtom, AtomRecord& atom) {
            if (IsCapping(atom) == (nGroup == AtomGroup::kCapping)) visit(nAtom, atom);
        });
        return;
    }
    for (int nAtom = 1; nAtom <= system.nAtoms; ++nAtom) {
        AtomRecord& atom = AtomByNumber(nAtom);
        if (atom.nState == AtomState::kClassical && !IsDummy(atom)) visit(nAtom, atom);
    }
}

}  // namespace qsolve
