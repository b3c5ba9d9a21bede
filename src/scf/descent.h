#pragma once

#include "scf/guarded.h"

namespace qsolve {

/// Goes down in energy from the present orbitals by rotations between shells until the limits of
/// the cycles are met: quasi-Newton steps that remember the last ones, in the frame of the turning
/// orbitals, each shortened until the energy falls. It cannot rise, and keeps the shells that it
/// began with, whatever the order of the levels. T. Van Voorhis, M. Head-Gordon, Mol. Phys. 100,
/// 1713 (2002); J. Nocedal, Math. Comput. 35, 773 (1980).
///
/// Ends with densities, Fock matrices and energy of the same orbitals. Yields; Fatal without
/// memory.
GuardEnd Descend(Electrons& electrons, const GuardLimits& limits);

}  // namespace qsolve
