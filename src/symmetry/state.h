#pragma once

#include "link/memory.h"

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

/// Three axes and how far three-fold ones lean. Both are rotations, row-major.
struct Frame {
    double mAxes[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};  ///< rows are x, y and z
    double mTilt[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};  ///< T; operation R is T R T^T for C3 and S6
};

/// Where the components of an atom stand in a vector.
struct AtomRange {
    int nFirst = 0;  ///< from 0
    int nCount = 0;  ///< orbitals s, p, d, f: 1, 4, 9 or 16; displacements: 3; nothing: 0
};

/// What is known of the molecule's symmetry. Lives for one calculation.
struct SymmetryState {
    // What the last report was asked for.
    bool fPointGroupKnown = false;
    bool fOrbitalLabelsKnown = false;
    bool fModeLabelsKnown = false;

    int nSymmetryFailure = 0;      ///< 0; 2 where the operations are of no group; 99 labels missing
    bool fCharacterTable = false;  ///< the group is one of the table, and Table is its own
    bool fLinear = false;          ///< C*V or D*H
    int nSymmetryNumber = 0;       ///< rotations that bring the molecule into itself; 0 unknown
    CharacterTable Table;
    Frame Axes;  ///< of the group, in the axes of the molecule

    // The atoms that were looked at: selected and capping ones, without dummies.
    int nSymmetryAtoms = 0;
    Array<SymmetryAtom> pSymmetryAtoms;
    Array<double> vCentred;         ///< x y z by atom, about the centre of mass
    Array<AtomRange> vOrbitals;     ///< by atom, among the orbitals of the calculation
    Array<AtomRange> vCoordinates;  ///< by atom, among those of the selection

    // Entropies but for what depends on the temperature, cal/(mol K) at 298.15 K and 1 atm; of
    // methods in hartree the moments are in bohr.
    double dTranslationalEntropy = 0.0;
    double dRotationalEntropy = 0.0;
};
inline SymmetryState symmetry;

}  // namespace qsolve
