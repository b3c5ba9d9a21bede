#pragma once

#include "scf/run.h"

/// The stages of an SCF for the log, each written only if the run is verbose.

namespace qsolve {

/// The core Hamiltonian, before the first cycle.
void ReportCore(const ScfRun& run);

/// The Fock matrix of a spin, before the diagonaliser destroys it.
void ReportFock(const ScfRun& run, const SpinRun& s);

/// Orbitals of a spin with a value each, their energies as a rule, and a density; fFinal after the
/// last cycle.
void ReportLevels(const ScfRun& run, const SpinRun& s, const double* vValues,
                  const double* mDensity, bool fFinal);

}  // namespace qsolve
