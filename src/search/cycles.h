#pragma once

namespace qsolve {

/// What dGradientSquared has to come below: 3 nSelected dRms^2, (kcal/(mol Angstrom))^2.
double SquareLimit(double dRms);

/// Whether the gradient's square is below a limit, or zero, so that there is no way to go.
bool IsBelowLimit(double dLimit);

/// Tells of a cycle: its number enters the result block, and at a report point the client gets one,
/// with the energy points so far.
void ReportCycle(int nCycle, int nEnergyPoints);

/// Ends a search in its minimum: one more SCF in the same place, with the full report. Sets
/// fConverged and the counts of the result block.
void FinishConverged(int nCycles, int nEnergyPoints);

/// Ends a search elsewhere: clears fConverged and sets the counts.
void FinishUnconverged(int nCycles, int nEnergyPoints);

/// Ends a search with a Hessian, in either case: one more SCF where it stands, with the full
/// report. Sets fConverged and nEnergyPoints; nCycles stays that of the last step.
void FinishFollowing(bool fConverged, int nEnergyPoints);

}  // namespace qsolve
