#pragma once

#include "scf/run.h"

/// What a method family puts into a Fock matrix: the one place of the SCF that tells them apart.

namespace qsolve {

/// Integrals and core Hamiltonian of the geometry in system.pCoords: fills scf.mCore and the stores
/// of `integrals`. Returns the core-core energy, in the unit of the family.
double BuildIntegrals();

/// Adds the electrons' part to the Fock matrix of a spin, which holds the core Hamiltonian and, in
/// the first cycle of a job, may get a seed in place of that part.
void AddElectrons(const ScfRun& run, const SpinRun& s);

/// Adds the electrons' part to a Fock matrix of one spin whatever the cycle. It is linear in the
/// densities: of all electrons, of this spin and of the other one, the same half density twice in a
/// restricted calculation. All N x N.
void AddRepulsion(const double* mTotal, const double* mSpin, const double* mOther, double* mFock);

}  // namespace qsolve
