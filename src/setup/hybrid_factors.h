#pragma once

namespace qsolve {

/// Fills setup.vSpHybrid and setup.vPdHybrid (kRows each, Debye): what a density matrix element
/// between s and p, or p and d, of an atom contributes to its dipole moment. Twice the transition
/// moment of the pair of Slater functions, which for exponents z1, z2 of one shell n is
///
///     sp: K (z1 z2)^(n + 1/2) / (z1 + z2)^(2n + 2),  K = 5.0832 (2n + 1) 2^(2n + 1) / sqrt(3)
///
/// J. A. Pople, G. A. Segal, J. Chem. Phys. 43, S136 (1965). The NDDO methods but MINDO/3 take the
/// charge separations of their multipoles instead, so DeriveNddoDParameters has to come before. 0
/// where a row has no such pair of shells. Without memory: Fatal with kMsgOutOfMemorySetUp.
void PrepareHybridFactors();

}  // namespace qsolve
