#pragma once

namespace qsolve {

/// Turns the overlap matrix in mCore into the core Hamiltonian of MINDO/3, MNDO, AM1, PM3 or
/// MNDO/d, in place, and fills the store of two-centre integrals. eV.
///
///     H_mu nu = S_mu nu (beta_mu + beta_nu) / 2                 on different atoms
///     H_mu nu = delta_mu nu U_mu - sum over B of Z_B (mu nu|s_B s_B)    on one atom
///
/// with beta_AB (I_mu + I_nu) for the factor of S in MINDO/3. mCore has rows nLeading apart and is
/// nOrbitals x nOrbitals. vTwoCentre takes the blocks of all ordered pairs (nddo_store.h), one
/// after the other with the second atom running fastest; pPairIndex, nSelected x nSelected, their
/// offsets, or kNoBlock. *pCoreEnergy is the core-core repulsion, with the classical charges where
/// some atoms are not selected.
///
/// Charges Yield for each atom. Fatal with kMsgOutOfMemory where there is no memory for a table of
/// atoms, or where an offset does not fit.
void BuildNddoCore(double* mCore, double* vTwoCentre, int* pPairIndex, double* pCoreEnergy,
                   int nLeading, int nOrbitals);

}  // namespace qsolve
