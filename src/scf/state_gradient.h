#pragma once

#include "link/packets.h"

/// The gradient of half electrons.

namespace qsolve {

/// Whether it can be asked for, and is: levels partly filled, guarded cycles, no configurations.
bool WantsStateGradient();

/// The gradient of the energy of half electrons with its correction. The orbitals minimise the mean
/// energy E and not the corrected one, E + K, and follow the atoms: with H the second derivatives
/// of E by rotations of orbitals and b the slopes of K along them
///
///     d(E + K)/dx = (E + K)_x + sum over rotations of z (dE/drotation)_x,    H z = -b
///
/// where ( )_x is the derivative by integrals alone: N. C. Handy, H. F. Schaefer, J. Chem. Phys.
/// 81, 5031 (1984). E + K is the energy of the determinant of the open levels, of an open singlet
/// twice that of the mixed one less that of the triplet, each with spin densities of its own; the
/// rest is the slope of E along the change of the density that z makes. The two levels of an open
/// singlet are not free to turn into each other either: what keeps them apart is that the Fock
/// matrix has no element between them, which is one equation more, solved ahead.
///
/// To be called after guarded cycles, in place of ComputeGradient, which does the same where this
/// cannot; the record in scf.Force says so. Densities and Fock matrices stay. Yields; Fatal without
/// memory.
void ComputeStateGradient();

}  // namespace qsolve
