#include "properties/plot.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "job/state.h"
#include "link/held.h"
#include "link/link.h"
#include "properties/plot_positions.h"
#include "properties/potential.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Most points of a plane.
constexpr long long kMostPoints = 1LL << 28;

/// Where a plane ends up that lies beyond what a float holds.
constexpr double kFarthestPlane = std::numeric_limits<float>::max();

/// Whether the last calculation left what a plot needs. Extended Hueckel computes nothing, but
/// answers for the potential with a text of its own.
bool IsUsable() {
    if (!system.pAtoms) return false;
    if (system.MethodId == kExtendedHueckel)
        return options.nPlotKind == kPlotPotential && setup.Map.pFirstOrbital;
    return scf.fResultsValid;
}

void CheckGrid() {
    if (options.nGridCols < 1 || options.nGridRows < 1)
        Fatal(kMsgPlotGrid, options.nGridCols, options.nGridRows);
    if (static_cast<long long>(options.nGridCols) * options.nGridRows > kMostPoints)
        Fatal(kMsgOutOfMemory);
}

void Send(const Array<float>& grid) {
    SendChunked(kPacketData, grid.Data(), grid.Size() * sizeof(float));
}

void PlotPlane(Array<float>& grid) {
    switch (options.nPlotKind) {
        case kPlotPotential:
            PlotPotential(grid.Data());
            Send(grid);
            PlotChargeDensity(grid.Data());
            break;
        case kPlotDensity:
            PlotChargeDensity(grid.Data());
            break;
        case kPlotOrbital:
            PlotOrbital(false, grid.Data());
            break;
        case kPlotOrbitalSquare:
            PlotOrbital(true, grid.Data());
            break;
        case kPlotSpinDensity:
            PlotSpinDensity(grid.Data());
            break;
        default:
            Fatal(kMsgPlotKind);
    }
    Send(grid);
}

}  // namespace

void RunPlot() {
    if (!IsUsable()) Fatal(kMsgNothingToPlot);
    if (options.nPlotPlanes < 1) return;
    CheckGrid();
    Array<float> grid;
    grid.Take(static_cast<std::size_t>(options.nGridRows),
              static_cast<std::size_t>(options.nGridCols), kWork);

    const PlotPositions positions;
    const double dFirst = static_cast<double>(options.flPlotGrid[2]);
    const double dStep = static_cast<double>(options.flPlotGrid[3]);
    for (int nPlane = 0; nPlane < options.nPlotPlanes; ++nPlane) {
        const Held plane(options.flPlotGrid[2],
                         static_cast<float>(
                             std::clamp(dFirst + nPlane * dStep, -kFarthestPlane, kFarthestPlane)));
        PlotPlane(grid);
    }
}

}  // namespace qsolve
