#pragma once

namespace qsolve {

/// What turns the energy of a restricted calculation with partly filled levels into that of its
/// state, in the unit of the method. The SCF spreads each odd electron evenly over both spins,
/// where it repels itself and has half of the exchange. With M_ij = (ij|ij) over the open levels,
/// D the sum of M_ii and X that of M_ij over i > j:
///
///     doublet                -D/4
///     triplet to septet      -D/4 - X/2      all open levels with one spin
///     next lowest singlet    -D/4 + 3X/2     two open levels with opposite spins, coupled to S = 0
///
/// and 0 for any other singlet. It is the energy of the state exactly, in these orbitals, which
/// belong to the mean of its spins and not to the state. M. J. S. Dewar, J. A. Hashmall, C. G.
/// Venier, J. Am. Chem. Soc. 90, 1953 (1968).
///
/// vEnergy has N orbital energies and mVectors, N x N, the orbitals, one a row, as the last
/// diagonalisation left them. The open levels are found by the order that BuildDensity has noted,
/// and the state by the options. Without memory for the open orbitals and a product of them: Fatal
/// with kMsgOutOfMemory. Yields.
double HalfElectronCorrection(const double* vEnergy, const double* mVectors);

/// How that changes when an open level i turns towards any other level q, by which C_i gains x C_q:
///
///     dE/dx = 4 sum over j of k_ij (qj|ij)
///
/// with k_ii = -1/4, and k_ij half of what an exchange counts above. mVectors has the open levels
/// behind the doubly filled ones, in the order of the rows; mSlopes is nOpen x N. Yields; Fatal
/// without memory.
void FillHalfElectronSlopes(const double* mVectors, double* mSlopes);

}  // namespace qsolve
