#pragma once

#include <cstddef>

#include "integrals/atom_list.h"
#include "setup/parameters.h"

/// The two-electron integrals between two atoms that retain the differential overlap of orbitals on
/// one atom, and how they are stored. Angstrom and eV.
///
/// The products of two orbitals of an atom are counted over the lower triangle of its orbitals, row
/// after row: ss, xs, xx, ys, yx, yy, zs, zx, zy, zz and on over the d orbitals. The block of the
/// ordered pair (A, B) holds (mu nu|lambda sigma) with the products of A as its rows and those of B
/// as its columns, so that the block of (B, A) is its transpose. An atom of 1, 4 or 9 orbitals has
/// 1, 10 or 45 products; in MINDO/3 it counts as one, since all its products repel alike.

namespace qsolve {

/// Orbitals and products of the largest atom.
constexpr int kMostOrbitals = 9;
constexpr int kMostProducts = 45;

/// Products of an atom's orbitals.
constexpr int ProductsOf(int nOrbitals) {
    return nOrbitals * (nOrbitals + 1) / 2;
}

/// Place of the product of orbitals i and j of an atom, from 0, with j <= i.
constexpr int ProductNumber(int i, int j) {
    return i * (i + 1) / 2 + j;
}

/// Entry of pPairIndex for a pair that has no block: an atom with itself, with a dummy, or with
/// one in the same place.
constexpr int kNoBlock = -1;

/// Entry (iA, iB) of the table of nAtoms x nAtoms offsets.
inline int BlockOf(const int* pPairIndex, int nAtoms, int iA, int iB) {
    return pPairIndex[static_cast<std::size_t>(iA) * static_cast<std::size_t>(nAtoms) +
                      static_cast<std::size_t>(iB)];
}

/// Square of the distance below which two atoms are in one place, Angstrom^2.
constexpr double kOnePlaceSquare = 1e-6;

/// Coulomb constant, eV bohr.
constexpr double kElectronVoltBohr = kEvPerHartree;

/// One atom with what its pair terms need, read from the tables once per geometry.
struct NddoAtom {
    ListedAtom Listed;  ///< element, first orbital from 0, orbitals, position in Angstrom
    const NddoRow* pRow = nullptr;  ///< of setup.pNddo
    int nProducts = 0;              ///< rows of its blocks: 1, 10 or 45; MINDO/3 1; a dummy 0
    double dCore = 0.0;             ///< core charge
    double dRho0 = 0.0, dRho1 = 0.0, dRho2 = 0.0;  ///< additive terms of s and p, bohr
    double dDipole = 0.0;                          ///< D1: the charges of sp stand at +-D1, bohr
    double dQuadrupole = 0.0;  ///< D2: those of pp at +-2 D2 or at the corners (+-D2, +-D2), bohr

    bool IsDummy() const { return Listed.IsDummy(); }
    bool HasP() const { return Listed.HasP(); }
    bool HasD() const { return Listed.HasD(); }
};

/// The local integrals of s and p: those that do not vanish.
constexpr int kLocalIntegrals = 22;

/// What a pair of atoms gives beside its block. Only the products that an atom has are written.
struct PairTerms {
    double vE1b[kMostProducts];  ///< attraction of the electrons of A by the core of B, eV
    double vE2a[kMostProducts];  ///< of those of B by the core of A, eV
    double dPairEnergy;          ///< core-core repulsion, eV
};

/// A pair as the pair routines take it: A, B, and the unit vector from B to A.
struct PairGeometry {
    double dDistance = 0.0;     ///< Angstrom, at most 1e10
    double vDirection[3] = {};  ///< (A - B) / R: the z axis of the local frame
};

/// Whether two atoms are closer than kOnePlaceSquare allows: they have no block and no terms.
bool AreInOnePlace(const NddoAtom& a, const NddoAtom& b);

/// The geometry of a pair. Two atoms in one place are for the caller to skip.
PairGeometry GeometryOf(const NddoAtom& a, const NddoAtom& b);

/// An atom of an element without a place and orbitals, as classical atoms are; nElement as in
/// ListedAtom, not a dummy. An additive term that the table lacks is infinite: what has it repels
/// nothing.
NddoAtom NddoAtomOf(int nElement);

/// The atom at a position of the selection list; its tables are read from setup.pNddo by
/// system.MethodId.
NddoAtom NddoAtomAt(int nPosition);

/// Adds vProducts, the lower triangle over the first nOrbitals orbitals of an atom, to its block on
/// the diagonal of m and to the mirror image.
void AddProducts(const NddoAtom& atom, int nOrbitals, const double* vProducts, double* m,
                 int nLeading);

/// pTransposed, nColumns x nRows, becomes the transpose of pBlock, nRows x nColumns.
void TransposeBlock(const double* pBlock, int nRows, int nColumns, double* pTransposed);

}  // namespace qsolve
