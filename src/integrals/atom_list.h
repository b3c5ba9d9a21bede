#pragma once

/// The atoms of a calculation as the integral builders walk them: the selection list by position.

namespace qsolve {

struct ListedAtom {
    int nElement =
        0;           ///< atomic number, Z + kCappingOffset for a capping atom; below 1 for a dummy
    int nFirst = 0;  ///< its first orbital, from 0
    int nOrbitals = 0;             ///< 0 for a dummy
    const double* pXyz = nullptr;  ///< its position, working unit

    int Row() const { return nElement - 1; }  ///< row in the parameter tables
    bool IsDummy() const { return nElement < 1 || nOrbitals < 1; }
    bool HasP() const { return nOrbitals >= 4; }
    bool HasD() const { return nOrbitals >= 9; }
};

/// First d orbital within an atom's orbitals; those before it are s and p.
constexpr int kFirstD = 4;

/// Whether an orbital of an atom, counted from 0, is s, p or d: 0, 1, 2.
constexpr int AngularOf(int nOrbital) {
    return nOrbital == 0 ? 0 : nOrbital < kFirstD ? 1 : 2;
}

/// The atom at nPosition, 0 .. system.nSelected - 1. The pointer lives as long as system.pCoords.
ListedAtom AtomAt(int nPosition);

/// The distance of two positions, in their unit.
double Distance(const double* pA, const double* pB);

/// Valence electrons of an element; nElement as in ListedAtom, not a dummy.
double CoreChargeOf(int nElement);

/// Whether an element's core is spread over several configurations of its d shell, in the first
/// (Sc to Cu) or the second (Y to Ag) transition row.
constexpr bool IsFirstTransitionRow(int nElement) {
    return nElement >= 21 && nElement <= 29;
}
constexpr bool IsSecondTransitionRow(int nElement) {
    return nElement >= 39 && nElement <= 47;
}

/// Half a hartree per eV, of the resonance integrals: with other last digits than kHartreePerEv,
/// from which it is not derived.
constexpr double kResonancePerEv = 0.018375597;

/// Parts of a Coulomb matrix between two atoms: s and p orbitals share one value, d have theirs.
struct CoulombBlock {
    double dSpSp = 0.0, dSpD = 0.0, dDSp = 0.0, dDD = 0.0;  ///< orbital of A, orbital of B
};

/// Writes a block into rows of A and columns of B of a matrix.
void StoreCoulombBlock(const ListedAtom& a, const ListedAtom& b, const CoulombBlock& block,
                       double* mCoulomb, int nLeading);

}  // namespace qsolve
