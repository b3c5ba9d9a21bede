#pragma once

#include <cstddef>

#include "scf/electrons.h"

/// Rotations of orbitals between shells. A vector of rotations lists, for each set of orbitals, for
/// each occupied level p every level q above its shell: x_pq, by which C_p gains x_pq C_q and C_q
/// loses x_pq C_p. Matrices are N x N, orbitals one a row, energies in the unit of the family.

namespace qsolve {

/// Rotations of one set, and of all sets.
std::size_t RotationsOf(const Shells& shells);
std::size_t CountRotations(const Electrons& electrons);

/// The slope of the energy along each rotation, 2 w (f_p - f_q) F_pq with the Fock matrices of the
/// sets. Where vBend is not null, also 2 w (f_p - f_q) (F_qq - F_pp), the curvature but for what
/// the electrons answer. Returns the largest |(f_p - f_q) F_pq|, which is the commutator's element
/// in these orbitals. mWork, N x N and another, is scratch.
double RotationSlope(const Electrons& electrons, double* mWork, double* vSlope, double* vBend);

/// Turns the orbitals of all sets by a vector of rotations: C := (I + X) C, made orthonormal again
/// in the order of the levels.
void RotateOrbitals(Electrons& electrons, const double* vRotations);

/// Density of each set from its orbitals.
void FillDensities(Electrons& electrons);

/// Orbitals of a density of the shells, the full ones first. mWork, N x N, is scratch, and so is
/// vWork, N.
void OrbitalsOfDensity(const Shells& shells, const double* mDensity, double* mWork,
                       double* mVectors, double* vWork);

/// The orbitals that make a Fock matrix diagonal within the shells: occupied ones stay among
/// themselves. vEnergy gets the levels, which ascend within a shell.
void OrbitalsWithinShells(const Shells& shells, const double* mFock, double* mVectors,
                          double* vEnergy);

/// The first-order change of a set's density along rotations, C^T S C with S_pq = (f_p - f_q) x_pq
/// on both sides. vRotations are those of this set; mWork, N x N, is scratch.
void DensityChange(const Shells& shells, const double* mVectors, const double* vRotations,
                   double* mWork, double* mChange);

/// Adds dFactor (f_p - f_q) (C_p M C_q) to the rotations of one set. mWork is scratch.
void AddMatrixOfRotations(const Shells& shells, const double* mVectors, const double* mMatrix,
                          double dFactor, double* mWork, double* vRotations);

}  // namespace qsolve
