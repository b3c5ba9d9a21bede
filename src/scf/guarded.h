#pragma once

#include "scf/guard.h"
#include "scf/mixing.h"

/// Cycles that are guarded against a rising energy and that judge the density too.

namespace qsolve {

/// What is known of the densities that the cycles start from.
struct GuardStart {
    bool fNear = false;    ///< they are nearly those of the end
    GuardEnd before = {};  ///< of the cycles that have made them
};

/// Cycles from the present densities of the sets until both limits are met: the Fock matrix of the
/// densities, a mixture of it with those before, new orbitals, new densities with the lowest levels
/// filled by number. The mixture makes the error smallest while the energy falls, and the energy
/// lowest while it does not; near the end of large molecules the cycles of framed.h take over, and
/// give back where they do not get on. Densities and energy in the end belong together, unless the
/// end says that the densities are ahead; Fock matrices are unmixed. Yields; Fatal without memory
/// for the history, which is taken where it is too small.
GuardEnd RunGuarded(Electrons& electrons, const GuardLimits& limits, MixHistory& history,
                    const GuardStart& start = {});

/// Orbitals of the present Fock matrices, which are destroyed, and their levels. The densities
/// become those of the orbitals where the lowest levels were occupied, unless they are ahead of the
/// matrices; else the orbitals are made within each shell, so that the occupied ones stay first.
/// Returns whether they are the lowest.
bool TakeOrbitals(Electrons& electrons, bool fAhead = false);

}  // namespace qsolve
