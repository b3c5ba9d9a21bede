#pragma once

#include "link/memory.h"

namespace qsolve {

/// A molecule in parts that overlap. Each is about a group, an atom with p orbitals and the atoms
/// without them that are coupled to it most, and holds all groups that one of resonance integrals
/// couples to its own; so one group is near another where that one is near it.
struct Parts {
    int nParts = 0;
    Array<int> vFirst;     ///< nParts + 1: where the orbitals of each part begin in vOrbitals
    Array<int> vOwn;       ///< nParts: orbitals of its group, which come first
    Array<int> vOrbitals;  ///< by part

    int Size(int nPart) const { return vFirst[nPart + 1] - vFirst[nPart]; }
    const int* Orbitals(int nPart) const { return vOrbitals.Data() + vFirst[nPart]; }
};

/// The parts of the selected atoms, by the core Hamiltonian; dummies are in none. dReach is the
/// least resonance integral that couples, unit of the family. Fatal without memory.
Parts MakeParts(double dReach);

}  // namespace qsolve
