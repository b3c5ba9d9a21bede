// How fast grids are filled: 80 x 80 x 80 points round a molecule, 3 Angstrom beyond its atoms.
//
//     plots_benchmark METHOD FILE.xyz [METHOD FILE.xyz ...]      METHOD as on the command line

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <limits>
#include <vector>

#include "benchmarks/molecule_files.h"
#include "job/state.h"
#include "properties/plot.h"
#include "properties/plot_positions.h"
#include "properties/potential.h"
#include "scf/scf.h"
#include "setup/state.h"

namespace qsolve {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPoints = 80;
constexpr float kMargin = 3.0F * 1.889726F;

/// Lays the grid round the atoms where a plot sees them. Returns the distance of the planes.
float LayGrid() {
    float flLow[3], flHigh[3];
    std::fill_n(flLow, 3, std::numeric_limits<float>::max());
    std::fill_n(flHigh, 3, std::numeric_limits<float>::lowest());
    for (int nAtom = 1; nAtom <= system.nAtoms; ++nAtom) {
        const float* pXyz = PlotPlace(nAtom);
        for (int c = 0; c < 3; ++c) {
            flLow[c] = std::min(flLow[c], pXyz[c]);
            flHigh[c] = std::max(flHigh[c], pXyz[c]);
        }
    }
    float flStep[3];
    for (int c = 0; c < 3; ++c) {
        options.flPlotGrid[c] = flLow[c] - kMargin;
        flStep[c] = (flHigh[c] - flLow[c] + 2.0F * kMargin) / (kPoints - 1);
    }
    std::fill_n(options.flPlotGrid + 3, 6, 0.0F);
    options.flPlotGrid[3] = flStep[0];
    options.flPlotGrid[7] = flStep[1];
    options.nGridCols = options.nGridRows = kPoints;
    return flStep[2];
}

/// Fills all planes with one kind of plot and prints the rate.
void Time(const char* sKind, float flPlaneStep, const std::function<void(float*)>& Plot) {
    std::vector<float> vGrid(static_cast<std::size_t>(kPoints) * kPoints);
    const float flBottom = options.flPlotGrid[2];
    const auto start = Clock::now();
    for (int nPlane = 0; nPlane < kPoints; ++nPlane) {
        options.flPlotGrid[2] = flBottom + static_cast<float>(nPlane) * flPlaneStep;
        Plot(vGrid.data());
    }
    options.flPlotGrid[2] = flBottom;
    const double dSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("  %-12s %8.3f s  %8.3f million points/s\n", sKind, dSeconds,
                1e-6 * kPoints * kPoints * kPoints / dSeconds);
}

void Measure(int nMethod, const std::vector<Place>& places) {
    SetUpJob(Molecule(nMethod, places));
    RunScf();
    std::printf("%zu atoms, %d orbitals\n", places.size(), setup.nOrbitals);
    const PlotPositions positions;
    const float flPlaneStep = LayGrid();
    options.nPlotOrbitalMode = 1;  // the highest occupied one
    Time("orbital", flPlaneStep, [](float* pGrid) { PlotOrbital(false, pGrid); });
    Time("density", flPlaneStep, PlotChargeDensity);
    Time("potential", flPlaneStep, PlotPotential);
}

}  // namespace
}  // namespace qsolve

int main(int nArguments, char** pArguments) {
    return qsolve::MeasureMolecules(nArguments, pArguments, qsolve::Measure);
}
