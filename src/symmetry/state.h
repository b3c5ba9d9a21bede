#pragma once

namespace qsolve {

/// The operations by which a point group is told, counted from 1; 0 is the identity. See
/// symmetry/operations.h.
constexpr int kOperations = 20;

/// One atom as the frame at hand shows it.
struct SymmetryAtom {
    double dX = 0.0, dY = 0.0, dZ = 0.0;  ///< about the centre of mass, working unit
    double dMass = 0.0;                   ///< of its element, atomic mass units
    int nAtomicNumber = 0;                ///< with the offset of a capping atom
    int nImage[kOperations + 1] = {};     ///< position, from 1, of its image by operation
};
static_assert(sizeof(SymmetryAtom) == 120);

/// Most classes and species of a character table.
constexpr int kMostClasses = 11;
constexpr int kMostSpecies = 12;

/// One line of a character table. Complex conjugates are one species.
struct Species {
    char sLabel[4] = {};  ///< left-aligned, the rest 0
    int nDegeneracy = 0;  ///< 1 to 5
    double dCharacter[kMostClasses] = {};
};

/// The character table of a point group, as far as operations of the frame stand for its classes.
struct CharacterTable {
    int nClasses = 0, nSpecies = 0;
    int nOperation[kMostClasses] = {};  ///< by class; the first is the identity
    Species Rows[kMostSpecies];
};

/// What is known of the molecule's symmetry. Lives for one calculation.
struct SymmetryState {
    bool fPointGroupKnown = false;
    bool fOrbitalLabelsKnown = false;
    bool fModeLabelsKnown = false;
};
inline SymmetryState symmetry;

}  // namespace qsolve
