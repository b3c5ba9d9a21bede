#pragma once

#include "integrals/rotation.h"

/// The valence electrons of one atom, as all methods see them: a density over its own orbitals and
/// none between atoms. Atomic units.

namespace qsolve {

/// The Slater functions of which one shell's orbitals are made.
struct ShellTerms {
    int nPrincipal = 0;
    int nTerms = 0;  ///< 1, or 2 for a double-zeta d shell; 0 for a shell that is not there
    double dZeta[2] = {};
    double dWeight[2] = {};
};

/// The terms of the shell that an orbital, from 0, of the last calculation belongs to.
ShellTerms TermsOfOrbital(int nOrbital);

struct AtomDensity {
    int nOrbitals = 0;                                    ///< 0, 1, 4 or 9
    ShellTerms Shells[3];                                 ///< s, p, d
    double mDensity[kAtomOrbitals * kAtomOrbitals] = {};  ///< symmetric, electrons
};

/// Shell, 0 to 2, of an atom's orbital.
constexpr int ShellOfOrbital(int i) {
    return i < kShellBegin[1] ? 0 : i < kShellBegin[2] ? 1 : 2;
}

/// The electrons of the atom at a position of the selection list, from 0, of the last calculation:
/// orbitals of `setup`, total density of `scf`.
AtomDensity DensityOfAtom(int nPosition);

/// The integral of the density over |r - R|, hartree: what the electrons take from the potential at
/// R = pVector, x y z from the atom, of length r above 0. By nuclear attraction integrals in the
/// frame whose z axis points at R, turned to molecular axes.
double AttractionOfDensity(const AtomDensity& atom, const double* pVector, double r);

}  // namespace qsolve
