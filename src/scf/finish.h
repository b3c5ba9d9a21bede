#pragma once

#include "scf/run.h"

namespace qsolve {

/// What follows from the last orbitals and the last density of an SCF, in this order: the checks,
/// the correction of open levels, the labels of the levels, their last dump, the gradient with the
/// restraints, populations and charges, energies in their units, the report, the dipole. Sets
/// scf.fResultsValid at the end.
void FinishRun(const ScfRun& run, const SpinRun& a, const SpinRun& b);

}  // namespace qsolve
