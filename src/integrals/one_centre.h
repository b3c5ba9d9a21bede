#pragma once

/// Two-electron integrals of one atom's orbitals from its Slater-Condon constants, in ZINDO and,
/// for atoms with d orbitals, in the methods that retain differential overlap. Orbitals of an atom
/// are counted from 0: s, px, py, pz, dz2, dxz, dyz, dx2-y2, dxy.

namespace qsolve {

/// Length of the list of distinct values in ZINDO, and with the integrals that it neglects.
constexpr int kOneCentreValues = 45;
constexpr int kOneCentreValuesNddo = 58;

/// Fills the list W of an element's distinct one-centre integrals, hartree; vOneCentre has
/// kOneCentreValues entries. The dG are the Coulomb integrals of its shells, s with s, s with d and
/// d with d; p counts as s. The higher constants are read from setup.pZindo, eV there.
///
/// Entries 1 to 5 are written only for an atom with p orbitals and 6 to 44 only for one with d
/// orbitals, nOrbitalsOnAtom being 1, 4 or 9.
void BuildOneCentreIntegrals(int nElement, int nOrbitalsOnAtom, double dGss, double dGsd,
                             double dGdd, double* vOneCentre);

/// The same list, eV, from the Slater-Condon constants of setup.pExtended, with a Coulomb integral
/// of its own for each pair of shells. For an atom with d orbitals kOneCentreValuesNddo entries are
/// written: those from kOneCentreValues on are multiples of R1(sp,pd), R2(sd,pp) and R2(sd,dd).
void BuildOneCentreIntegralsNddo(int nElement, int nOrbitalsOnAtom, double* vOneCentre);

/// One integral that is not zero: (ij|kl) = W[nValue], with i >= j, k >= l and (i, j) not
/// before (k, l). Its seven other forms under exchange of i with j, k with l and of the two pairs
/// have the same value and are not listed.
struct OneCentreEntry {
    int i = 0, j = 0, k = 0, l = 0;
    int nValue = 0;
};

/// Integrals that are not zero, nCount of them at pEntries.
struct OneCentreList {
    const OneCentreEntry* pEntries;
    int nCount;
};

/// The integrals of an atom with nOrbitalsOnAtom orbitals, 1, 4 or 9. They follow from the
/// expansion in Legendre polynomials of the angle between the electrons,
///
///     (ij|kl) = sum over n of R^n(ij,kl) <<Y_i Y_j P_n(cos theta_12) Y_k Y_l>>
///
/// with the angular means over both spheres and R^n the F^n or G^n of the shells. Integrals with
/// other R^n, as of (sp|pd), (sd|pp) and (sd|dd), are neglected in INDO.
/// J. C. Slater, Quantum Theory of Atomic Structure I, McGraw-Hill 1960, chapter 13; A. D. Bacon,
/// M. C. Zerner, Theor. Chim. Acta 53, 21 (1979).
OneCentreList OneCentreIntegralsOf(int nOrbitalsOnAtom);

/// The same for the list of BuildOneCentreIntegralsNddo: nothing is neglected.
OneCentreList OneCentreIntegralsNddo(int nOrbitalsOnAtom);

}  // namespace qsolve
