#pragma once

#include <cstddef>

namespace qsolve {

/// Adds to a Fock matrix that holds the core Hamiltonian the repulsion of the electrons on
/// different atoms, for the spin of mDensitySpin (half the total density in a restricted
/// calculation):
///
///     F_mu nu     -= sum over lambda on A, sigma on B of Q_lambda sigma (mu lambda|nu sigma)
///     F_mu lambda += sum over B, nu, sigma on B of P_nu sigma (mu lambda|nu sigma)
///
/// mu and lambda on A, nu and sigma on B, P the total and Q the spin density. In MINDO/3 only the
/// products of an orbital with itself repel, and all alike. All matrices are symmetric, nLeading x
/// nLeading with nLeading = N, eV; vTwoCentre and pPairIndex as BuildNddoCore leaves them.
///
/// The part of P that is read, and the potentials made of it, stand in scf.pWork meanwhile. Fatal
/// with kMsgBufferOverflow where it does not hold FockBufferBytes. Charges Yield for each atom and
/// row. J. A. Pople, D. P. Santry, G. A. Segal, J. Chem. Phys. 43, S129 (1965).
void BuildFockTwoCentre(double* mFock, const double* mDensityT, const double* mDensitySpin,
                        const double* vTwoCentre, const int* pPairIndex, int nLeading);

/// Bytes that the scratch must have at least: a head of 16 and the diagonal of the density in
/// MINDO/3; in the other methods a head of 32, two doubles for each atom after the first, and the
/// density, which is more than the products of the atoms and their potentials take.
std::size_t FockBufferBytes(int nMethod, int nOrbitals, int nAtoms);

}  // namespace qsolve
