#pragma once

/// Real spherical harmonics under rotation. Orbitals of an atom stand in the order s, px, py, pz,
/// d(z2), d(xz), d(yz), d(x2-y2), d(xy), counted from 0.

namespace qsolve {

/// Orbitals of an atom with s, p and d shells, and first orbital and end of each shell.
constexpr int kAtomOrbitals = 9;
constexpr int kShellBegin[4] = {0, 1, 4, 9};

/// Functions of the local frame, by which the rotation is indexed.
enum LocalFunction { kDelta1, kPi1, kSigma, kPi2, kDelta2, kLocalFunctions };

/// Coefficients of the molecular orbitals of nShells shells (1 s, 2 s p, 3 s p d) on the functions
/// of the local frame whose sigma axis runs along pVector, x y z, of length dDistance. mRotation is
/// kAtomOrbitals x kLocalFunctions and is zeroed first. With polar angles theta, phi of the vector
/// the axes are
///     sigma (sin theta cos phi, sin theta sin phi, cos theta), pi-1 (-sin phi, cos phi, 0),
///     pi-2 (cos theta cos phi, cos theta sin phi, -sin theta);
/// on the z axis phi is 0 for a vector that points up, pi and theta pi for one that points down.
/// dDistance must not be 0.
void BuildRotation(const double* pVector, double dDistance, int nShells, double* mRotation);

/// The same between the orbitals of the two frames: chi_i = sum over a of R_ai chi'_a, where the
/// primed orbitals stand in the frame x' = pi-2, y' = pi-1, z' = sigma and a and i are orbitals of
/// an atom in their order. A block L of the primed frame is R^T L R in molecular axes. vDirection
/// is the unit vector of sigma; mRotation is kAtomOrbitals x kAtomOrbitals, of which the rows and
/// columns of nOrbitals, 1, 4 or 9, are filled and all others 0.
void BuildRotation(const double* vDirection, double* mRotation, int nOrbitals);

/// mRotated = G_k M + M G_k^T for the generator G_k of rotations about the Cartesian axis nAxis:
/// to first order a rotation by the angle w about it turns the block M of two atoms into
/// M + w mRotated. Blocks are kAtomOrbitals x kAtomOrbitals; nShellsRow and nShellsColumn say how
/// many shells of rows and columns are in use, the rest of mRotated becomes 0.
void RotateInfinitesimally(int nAxis, int nShellsRow, int nShellsColumn, const double* mBlock,
                           double* mRotated);

}  // namespace qsolve
