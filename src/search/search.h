#pragma once

/// The face of the search room: minima and saddle points of the energy over Cartesian coordinates.
///
/// A minimiser without a Hessian starts from the energy and gradient of an SCF that has run at
/// system.pCoords. It moves the selected atoms there and runs SCFs; energies are scf.dTotalEnergy,
/// kcal/mol, gradients gradient.pGradient, kcal/mol per working unit of length. It has converged
/// when
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

/// Follows the eigenvectors of a Hessian, with steps within a trust radius: in an optimisation
/// downhill from a model Hessian, in a search for a transition state uphill along one mode and
/// downhill along the others from one computed by differences, or kept from an earlier job
/// (options.fComputeHessian). With options.fTsSearch clear such a job only finds the modes of its
/// Hessian, which fill results.Modes. Runs its first SCF itself.
///
/// The end is a full report in any case, converged or not; without the Hessian that was asked for
/// there is none. Warns when the trust radius is used up. Fatal with kMsgTransitionOneAtom, and
/// with kMsgOutOfMemory without memory.
///
/// As a plain client gets it, a minimisation refuses each step on which the gradient grows, and a
/// search for a saddle point converges wherever the gradient is small. A client that asks for a
/// careful search (further.Search) gets one that looks at the energy alone, gives a curvature to
/// modes that the guess lacks, keeps to the degrees of freedom of the place where it stands, and
/// takes no minimum for a saddle point.
void EigenvectorFollow(double dRms, int nMaxCycles);

/// Searches a transition state between system.dReactantXyz and dProductXyz from the geometry at
/// hand: climbs the mode along the line (options.nFollowMode 0) or circle through them, then
/// follows it. Runs its first SCF itself; ends and fails as EigenvectorFollow. The two ends are
/// freed.
void RunSynchronousTransit(double dRms, int nMaxCycles);

}  // namespace qsolve
