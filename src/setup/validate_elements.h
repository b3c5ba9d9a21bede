#pragma once

namespace qsolve {

/// Refuses a selection without a real atom: one that is neither a dummy nor a capping atom.
void CheckRealAtoms();

/// Refuses elements that the method cannot have, among classical, selected and capping atoms, in
/// this order. For MNDO, AM1, PM3 and MNDO/d the lanthanides and actinides are reported on the
/// error channel, and the work goes on.
void CheckElements();

}  // namespace qsolve
