#pragma once

namespace qsolve {

/// Adds the electrons' part to a Fock matrix of CNDO or INDO that holds the core Hamiltonian, for
/// the spin of mDensitySpin (half the total density in a restricted calculation):
///
///     F_ij -= gamma_ij Q_ij,    F_ii += sum over j of P_jj gamma_ij
///
/// and INDO's one-centre exchange. All N x N, hartree. Yields once for each row.
/// J. A. Pople, D. P. Santry, G. A. Segal, J. Chem. Phys. 43, S129 (1965).
void BuildFockCndo(const double* mDensityT, const double* mDensitySpin, const double* mCoulomb,
                   double* mFock);

/// Adds the exchange integrals G1(s,p) and F2(p,p) of the atoms from Li on that have p orbitals to
/// their own blocks of mFock. N x N, hartree.
/// J. A. Pople, D. L. Beveridge, P. A. Dobosh, J. Chem. Phys. 47, 2026 (1967).
void AddIndoExchange(const double* mDensityT, const double* mDensitySpin, double* mFock);

}  // namespace qsolve
