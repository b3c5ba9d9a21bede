#pragma once

#include <string>
#include <vector>

/// A molecule as set-up leaves it, made by hand: atoms with so many orbitals each, and no tables.

namespace qsolve {

struct BareAtom {
    int nAtomicNumber;           ///< Z + 105 for a capping atom, 0 for a dummy
    int nOrbitals;               ///< 0, 1, 4 or 9
    double x = 0, y = 0, z = 0;  ///< working unit
};

struct BareMolecule {
    std::vector<BareAtom> Atoms;
    std::vector<int> Selection = {};  ///< atom numbers from 1, capping atoms last; all if empty
    int nMethod = 6;
    bool fUnrestricted = false;
};

/// Fills system, the orbital map and arrays of `setup`, scf.nOrbitals, scf.nSpinTreatment and the
/// orbital results, whose values are all zero and whose labels are "  ?".
void Build(const BareMolecule& molecule);

/// A chain of carbon atoms and, for what is left of nOrbitals, hydrogen atoms.
BareMolecule WithOrbitals(int nOrbitals, bool fUnrestricted = false);

/// printf into a string.
std::string Print(const char* sFormat, ...) __attribute__((format(printf, 1, 2)));

}  // namespace qsolve
