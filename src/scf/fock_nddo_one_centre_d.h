#pragma once

namespace qsolve {

/// Adds to a Fock matrix the repulsion of the electrons on one atom, for each atom with d orbitals
/// and the spin of mDensitySpin (half the total density in a restricted calculation):
///
///     F_mu nu += sum over lambda, sigma of P_lambda sigma (mu nu|lambda sigma)
///                                        - Q_lambda sigma (mu lambda|nu sigma)
///
/// All nLeading x nLeading with nLeading = N, eV; the integrals are those of setup.pExtended.
/// Charges Yield for each atom. W. Thiel, A. A. Voityuk, Theor. Chim. Acta 81, 391 (1992).
void BuildFockOneCentreD(double* mFock, const double* mDensityT, const double* mDensitySpin,
                         int nLeading);

}  // namespace qsolve
