#pragma once

namespace qsolve {

/// Adds to a Fock matrix the repulsion of the electrons on one atom, for each atom without d
/// orbitals and the spin of mDensitySpin. With P the total density, Q this spin's and O the other
/// one's, n and m the sums of P and Q over the p diagonal,
///
///     F_ss += (P_ss - Q_ss) Gss + n Gsp - m Hsp
///     F_sp += 2 P_sp Hsp - (Gsp + Hsp) Q_sp
///     F_pp += P_ss Gsp - Q_ss Hsp + (n - P_pp) Gp2 + O_pp Gpp - (m - Q_pp) (Gpp - Gp2) / 2
///     F_pp' += (Gpp - Gp2) P_pp' - (Gpp + Gp2) Q_pp' / 2
///
/// In a restricted calculation Q and O are the half density. All nLeading x nLeading with nLeading
/// = N, eV; the integrals are those of setup.pNddo. Charges Yield for each atom. M. J. S. Dewar, W.
/// Thiel, J. Am. Chem. Soc. 99, 4899 (1977).
void BuildFockOneCentreSp(double* mFock, const double* mDensityT, const double* mDensitySpin,
                          const double* mDensityOtherSpin, int nLeading);

}  // namespace qsolve
