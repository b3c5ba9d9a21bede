#pragma once

#include "geometry/inertia.h"

/// Translations and rotations of the whole molecule among the eigenvectors of a force matrix. They
/// are not taken out but raised: each gets a level of its own above all vibrations, which keeps
/// them apart, and the levels are taken off once the matrix has been diagonalised.

namespace qsolve {

constexpr int kExternalModes = 6;

/// The levels of the six modes are dFirst + k dStep for k = 1 .. 6; each is a multiple of dStep, by
/// which it is taken off again.
struct ExternalLevels {
    double dFirst, dStep;
};
constexpr ExternalLevels kVibrationLevels = {400.0, 100.0};     ///< mdyn/(Angstrom amu)
constexpr ExternalLevels kSearchLevels = {400000.0, 100000.0};  ///< mdyn/Angstrom

/// Adds the levels to a symmetric matrix of order 3 nAtoms: sum over k of level(k) t(k) t(k)^T for
/// the unit vectors t of three translations and three rotations about the principal axes; about the
/// first axis only where the molecule is not linear. With vMass they are mass-weighted, without
/// (null) each atom counts the same; the inertia is that of the same weights. vWork is 3 nAtoms
/// long.
void RaiseExternalModes(int nAtoms, const double* vXyz, const double* vMass, const Inertia& inertia,
                        const ExternalLevels& levels, double* vWork, double* mMatrix);

}  // namespace qsolve
