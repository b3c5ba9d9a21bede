#pragma once

#include "scf/orbital_hessian.h"

/// Whether a state is a minimum of the energy.

namespace qsolve {

/// The lowest curvature found, and along what.
struct Curvature {
    bool fKnown = false;   ///< found to its error, or nothing is left to be tried
    double dLowest = 0.0;  ///< eV for a turn by one radian in all
    int nProducts = 0;     ///< Fock matrices of all sets that it took
};

/// Error of a curvature, eV, or of a large one as a part of it.
constexpr double kCurvatureError = 1e-3, kCurvaturePart = 1e-3;

/// The lowest eigenvalue of the second derivatives of the energy by rotations, E(x) = E + h x x /
/// 2, by Davidson's method with products of the Fock builder; R. Seeger, J. A. Pople, J. Chem.
/// Phys. 66, 3045 (1977). The state has to be converged and its orbitals those of its Fock
/// matrices, with levels vEnergy; densities and Fock matrices are destroyed (FillDensities and
/// EvaluateFock make them anew). vDirection gets the vector, of unit length,
/// CountRotations(electrons) long. Stops after nMost products. Yields; Fatal without memory.
Curvature LowestCurvature(Electrons& electrons, Turn turn, int nMost, double* vDirection);

}  // namespace qsolve
