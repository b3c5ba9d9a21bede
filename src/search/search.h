#pragma once

/// The face of the search room: minimisers of the energy over Cartesian coordinates.
///
/// A search starts from the energy and gradient of an SCF that has run at system.pCoords. It moves
/// the selected atoms there and runs SCFs; energies are scf.dTotalEnergy, kcal/mol, gradients
/// gradient.pGradient, kcal/mol per working unit of length. It has converged when
///
///     gradient.dGradientSquared < 3 nSelected dRms^2,
///
/// with dRms in kcal/(mol Angstrom) and the capping atoms in the count, or when the gradient is
/// zero. It then runs a last SCF in the same place with setup.fFinalReport set, which writes the
/// full report. Any other end leaves results.Block.fConverged 0 and writes none.
///
/// nCycles and nEnergyPoints of the result block are set at the end. In every nReportPeriod-th
/// cycle the client gets a report point. Steps, in particular the first one, are in the working
/// unit, bohr or Angstrom, and not scaled.

namespace qsolve {

/// Follows the gradient downhill with a step length that grows by 1.2 while the energy falls and is
/// halved when it does not. Ends, with a warning, when the step gets shorter than 1e-6.
void SteepestDescent(double dRms, int nMaxCycles);

/// Conjugate gradients with beta = g'^2 / g^2, restarted every 3 nSelected cycles. R. Fletcher and
/// C. M. Reeves, Comput. J. 7, 149 (1964). Ends unconverged when the energy has no number any more,
/// or falls without end along a line. Fatal with kMsgOutOfMemory without memory for its vectors.
void FletcherReeves(double dRms, int nMaxCycles);

/// Conjugate gradients with beta = g'(g' - g) / g^2. E. Polak and G. Ribiere, Rev. Fr. Inform.
/// Rech. Oper. 3, 35 (1969). Ends and fails as FletcherReeves.
void PolakRibiere(double dRms, int nMaxCycles);

}  // namespace qsolve
