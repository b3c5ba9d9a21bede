#pragma once

/// The density that one session leaves to the next, where its client asks for it: a walk over
/// neighbouring points of one molecule then starts each SCF from the state of the last.

namespace qsolve {

/// Keeps the densities of the SCF that has just ended, where the client asks for it and the SCF has
/// converged; else forgets what was kept, as it does where there is no memory.
void KeepDensity(bool fConverged) noexcept;

/// Puts the kept densities into `scf` as the start of a job's first SCF. False, with nothing done,
/// where the client does not ask for it, nothing is kept, or it is of another calculation: of other
/// atoms, method, electrons, spins or levels, or with an atom farther than 0.5 Angstrom from where
/// it was.
bool TakeKeptDensity();

/// Forgets what was kept, unless this session may start from it.
void ForgetUnwantedDensity() noexcept;

}  // namespace qsolve
