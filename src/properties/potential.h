#pragma once

#include "link/memory.h"
#include "properties/potential_source.h"

/// The electrostatic potential of the last calculation: cores less the electrons' density, which
/// all methods see as a sum over single atoms, so that every integral is exact. Atomic units.

namespace qsolve {

/// All atoms of the calculation that have a row, by the same index.
struct PotentialField {
    Array<AtomDensity> pAtoms;
    Array<PotentialSource> pSources;
    Array<ScreenedCloud> pClouds;  ///< of all sources, one after the other
};

/// The selected and capping atoms of the last calculation with their total density. Classical atoms
/// have no density and are not among them. Places are those of PlotPositions, which have to live.
/// Without memory: Fatal.
PotentialField BuildPotentialField();

/// pValues = the potential, hartree per unit charge, at nPoints points pStart, pStart + pStep, ...,
/// at most kStripPoints of them, x y z in bohr. An atom adds nothing to a point within 0.001 bohr
/// of it, and only its net charge beyond 100 bohr.
void FillPotentialStrip(const PotentialField& field, const double* pStart, const double* pStep,
                        int nPoints, float* pValues);

/// Fills one plane of a plot with the potential: options.nGridRows rows of options.nGridCols values
/// at the points of options.flPlotGrid (first point, step along a row, step from row to row; bohr).
/// In extended Hueckel there is none: a warning, and zeros. May unwind.
void PlotPotential(float* pGrid);

}  // namespace qsolve
