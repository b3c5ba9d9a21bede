#pragma once

#include "scf/electrons.h"

namespace qsolve {

/// The SCF of a client that asks for guarded cycles: cycles, a descent where they stall, further
/// starts and the test of the state as further.Scf says. Leaves in scf the densities, orbitals and
/// levels of the lowest state found, its energy in the run, and the last word in scf.End.
void FindLowestState(ScfRun& run, SpinRun& a, SpinRun& b);

}  // namespace qsolve
