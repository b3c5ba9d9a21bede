#pragma once

namespace qsolve {

/// Adds the electrons' part to a Fock matrix of ZINDO/1 or ZINDO/S that holds the core Hamiltonian,
/// for the spin of mDensitySpin (half the total density in a restricted calculation). Between
/// atoms,
///
///     F_mn -= gamma_mn Q_mn,    F_mm += sum over n of P_nn gamma_mn
///
/// and within one atom all one-centre integrals of its s, p and d orbitals,
///
///     F_mn += sum over l, s of P_ls (mn|ls) - Q_ls (ml|ns)
///
/// All nLeading x nLeading with nLeading = N, hartree. Yields once for each atom.
/// A. D. Bacon, M. C. Zerner, Theor. Chim. Acta 53, 21 (1979).
void BuildFockZindo(const double* mDensityT, const double* mDensitySpin, const double* mCoulomb,
                    int nLeading, double* mFock);

}  // namespace qsolve
