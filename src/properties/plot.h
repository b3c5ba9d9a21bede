#pragma once

/// The plot step: values on a grid, plane after plane, from what the last calculation left. All
/// that a plot has to know of that calculation stands with its arrays; the options, which may be of
/// a later session, say only what is to be plotted and where. Atomic units.

namespace qsolve {

/// Sends what options.nPlotKind asks for on options.nPlotPlanes planes, each as one chunked run of
/// nGridRows x nGridCols floats: 0 the electrostatic potential, followed by the density of the same
/// plane, 1 the density, 2 an orbital, 3 its square, 4 the spin density. The planes stand
/// flPlotGrid[3] apart in z: the x of the step along a row is also the distance of the planes.
///
/// Fatal before anything is sent: kMsgNothingToPlot without a finished calculation whose atoms are
/// still there, kMsgPlotGrid for fewer than one row or column, kMsgOutOfMemory for a grid beyond
/// 2^28 points or without memory, kMsgPlotKind for an unknown kind. Nothing happens without planes.
/// The atoms stand where PlotPositions put them.
void RunPlot();

/// Fills pGrid, nGridRows x nGridCols, with the orbital that the options choose, or with its
/// square; leaves it as it is, with a warning, where there is none of that number. Orbitals are
/// counted from 1 in the order of their energies. Beta orbitals are those of an unrestricted
/// calculation; in a restricted one the beta flag takes the last doubly occupied level for the
/// HOMO.
void PlotOrbital(bool fSquare, float* pGrid);

/// Fills pGrid with the total density, electrons/bohr^3: sum over atoms, and over pairs of orbitals
/// of each, of P_mv chi_m chi_v. Products of two atoms' orbitals are neglected as they are in all
/// methods, so that the integral over space is the number of electrons.
void PlotChargeDensity(float* pGrid);

/// Fills pGrid with the density of alpha less that of beta electrons, of one centre as above; zeros
/// for a restricted calculation of multiplicity 1.
void PlotSpinDensity(float* pGrid);

/// scf.mDensityB := sum of C_k C_k^T over the orbitals whose energy in vEnergy lies from
/// vLevel[nDoublyOcc] to vLevel[nOccupied - 1], times the electrons of an open level. vEnergy and
/// vLevel have N entries, mVectors N rows of N; the matrix, which is taken here if need be, is zero
/// where there are no such levels. Without memory: Fatal.
void BuildSpinDensityRhf(const double* vEnergy, const double* vLevel, const double* mVectors,
                         int nOccupied, int nDoublyOcc);

}  // namespace qsolve
