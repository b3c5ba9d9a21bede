#pragma once

#include <algorithm>
#include <cstddef>

#include "job/state.h"
#include "link/link.h"

/// The walk over the points of a plane, the same for all that can be plotted.

namespace qsolve {

/// Most points that are computed together: their values fit the nearest cache.
constexpr int kStripPoints = 64;

/// Calls fill(pStart, pStep, nPoints, pValues) for strips of at most kStripPoints neighbouring
/// points, row after row of the plane that the options describe: options.nGridRows rows of
/// options.nGridCols points, the first at O, the last of row j at O + j r + (nGridCols - 1) c,
/// where flPlotGrid holds O, the step c along a row and the step r from row to row. pStart and
/// pStep are x y z in bohr; the values of a strip lie in pGrid, nGridRows x nGridCols. nUnits is
/// what one point costs, in units of the yield that follows each strip. May unwind.
template <class Fill>
void WalkGrid(float* pGrid, std::size_t nUnits, Fill fill) {
    double vStep[3], vStart[3];
    for (int c = 0; c < 3; ++c) vStep[c] = static_cast<double>(options.flPlotGrid[3 + c]);
    float* pValues = pGrid;
    for (int nRow = 0; nRow < options.nGridRows; ++nRow) {
        int nPoints = 0;
        for (int nLeft = options.nGridCols; nLeft > 0; nLeft -= nPoints) {
            nPoints = std::min(kStripPoints, nLeft);
            const int nFirst = options.nGridCols - nLeft;
            for (int c = 0; c < 3; ++c)
                vStart[c] = static_cast<double>(options.flPlotGrid[c]) +
                            nRow * static_cast<double>(options.flPlotGrid[6 + c]) +
                            nFirst * vStep[c];
            fill(vStart, vStep, nPoints, pValues);
            pValues += nPoints;
            Yield(nUnits * static_cast<std::size_t>(nPoints));
        }
    }
}

/// Coordinates, in three arrays, of the points of a strip.
inline void FillPoints(const double* pStart, const double* pStep, int nPoints, double* vX,
                       double* vY, double* vZ) {
    for (int i = 0; i < nPoints; ++i) {
        vX[i] = pStart[0] + i * pStep[0];
        vY[i] = pStart[1] + i * pStep[1];
        vZ[i] = pStart[2] + i * pStep[2];
    }
}

}  // namespace qsolve
