#pragma once

namespace qsolve {

/// Least tangent of a rotation that is made: 10 sqrt(rounding).
constexpr double kRotationFloor = 10.0 * 0x1p-26;

/// One sweep of two-by-two rotations between occupied and virtual orbitals, which lessens the part
/// of the Fock matrix that joins them; orbital energies are not computed. J. J. P. Stewart, P.
/// Csaszar, P. Pulay, J. Comput. Chem. 3, 227 (1982).
///
/// mFock, n x n and symmetric, and vLevel, n, are read; mVectors, n x n, one orbital a row, are
/// rotated in place. nOcc, 0 .. n, orbitals are occupied; with 0 or n nothing is done. vFock has
/// nOcc * (n - nOcc) doubles of scratch, mWork n x n. Yields.
void PseudoDiagonalise(int n, int nOcc, const double* mFock, double* mVectors, const double* vLevel,
                       double* vFock, double* mWork);

}  // namespace qsolve
