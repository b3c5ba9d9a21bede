#pragma once

#include "scf/orbital_hessian.h"
#include "scf/whole_hessian.h"

/// Whether a state is a minimum of the energy: the lowest eigenvalue of the second derivatives of
/// the energy by rotations, E(x) = E + h x x / 2; R. Seeger, J. A. Pople, J. Chem. Phys. 66, 3045
/// (1977).

namespace qsolve {

/// The lowest curvature found, and along what.
struct Curvature {
    bool fKnown = false;   ///< found to its error, or nothing is left to be tried
    bool fLowest = false;  ///< and shown to be the lowest of all, to kLowestError
    double dLowest = 0.0;  ///< eV for a turn by one radian in all
    int nProducts = 0;     ///< Fock matrices of all sets that it took
};

/// Error of a curvature, eV, or of a large one as a part of it. One that is not shown to be the
/// lowest may be above that by more.
constexpr double kCurvatureError = 1e-3, kCurvaturePart = 1e-3;

/// Above this, eV, as in most closed shells, no digit more changes what a curvature says of the
/// state: its residual need only be this part of it. Where as many levels are as near to one
/// another as there are molecules, to tell their curvatures apart takes most of a test.
constexpr double kClearCurvature = 5.0, kClearPart = 0.03;

/// Error of one that is shown to be the lowest, eV.
constexpr double kLowestError = 1e-5;

/// By Davidson's method with products of the Fock builder. The state has to be converged and its
/// orbitals those of its Fock matrices, with levels vEnergy; densities and Fock matrices are
/// destroyed (FillDensities and EvaluateFock make them anew). vDirection gets the vector, of unit
/// length, CountRotations(electrons) long. Stops after nMost products. Yields; Fatal without
/// memory.
Curvature LowestCurvature(Electrons& electrons, Turn turn, int nMost, double* vDirection);

/// The same from all second derivatives, with the proof that none is lower: what is left of the
/// matrix without the value less its error is positive definite.
Curvature LowestCurvature(const WholeHessian& whole, Turn turn, double* vDirection);

/// Both kinds of search on one state, by whichever way costs less: of few rotations from all second
/// derivatives, which both share. As above else.
struct StateTest {
    Electrons& electrons;
    bool fWhole;
    WholeHessian whole = {};

    explicit StateTest(Electrons& e);
    Curvature Lowest(Turn turn, double* vDirection);
};

}  // namespace qsolve
