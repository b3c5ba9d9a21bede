#pragma once

#include "symmetry/state.h"

/// How orbitals and displacements turn under a symmetry operation, and the character of a vector of
/// either: the part of the turned vector that lies along the vector itself.

namespace qsolve {

/// Coefficients of a smaller size count as 0.
constexpr double kNoCoefficient = 1e-5;

/// The matrices D of the shells under an operation R: a function f_j becomes
/// f_j(R^-1 r) = sum over i of D_ij f_i(r). Row-major; p x y z, d z2 xz yz x2-y2 xy, f z3 xz2 yz2
/// z(x2-y2) xyz x(x2-3y2) y(3x2-y2).
struct ShellRotation {
    double mP[9], mD[25], mF[49];
};

/// The highest degree of the shells that an atom with n orbitals has; that of f for more than 9.
constexpr int HighestDegree(int n) {
    return n <= 1 ? 0 : n <= 4 ? 1 : n <= 9 ? 2 : 3;
}

/// Fills the matrices of an operation, a 3 x 3 orthogonal matrix, for shells up to a degree of 3;
/// the others are left as they are.
void BuildShellRotation(int nDegree, const double* mOperation, ShellRotation& rotation);

/// c . R c for orbital coefficients c. pAtoms tells the image of each atom under nOperation,
/// pRanges by the same position its orbitals, and rotation belongs to the operation in the axes
/// of the orbitals. An atom and its image have equally many orbitals.
double OrbitalCharacter(int nAtoms, const SymmetryAtom* pAtoms, const AtomRange* pRanges,
                        int nOperation, const ShellRotation& rotation, const double* vCoefficients);

/// The same for displacements, x y z by atom.
double ModeCharacter(int nAtoms, const SymmetryAtom* pAtoms, const AtomRange* pRanges,
                     int nOperation, const ShellRotation& rotation, const double* vDisplacements);

}  // namespace qsolve
