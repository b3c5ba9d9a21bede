#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "job/atoms.h"
#include "job/state.h"
#include "properties/plot.h"
#include "properties/plot_positions.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"

namespace qsolve {

/// Plots of finished calculations.
class PlotTest : public FreshState {
  protected:
    ~PlotTest() override { positions.reset(); }

    /// Runs a job.
    static void Run(const JobScript& script) {
        positions.reset();
        SetUpJob(script);
        RunScf();
        client.Sent.clear();
    }

    static JobScript WithSpin(JobScript script, int nMultiplicity, int nSpinTreatment) {
        script.Options.nMultiplicity = nMultiplicity;
        script.Options.nSpinTreatment = nSpinTreatment;
        return script;
    }

    /// Puts the atoms where a plot sees them, until the next job.
    static void PlaceAtoms() {
        positions.reset();
        positions.emplace();
    }

    /// A grid of 3 rows of 5 columns, askew, bohr.
    static void AskForAGrid(int nKind = kPlotDensity) {
        options.fPlot = 1;
        options.nPlotKind = nKind;
        options.nPlotPlanes = 1;
        options.nGridCols = 5;
        options.nGridRows = 3;
        const float flGrid[9] = {-1.0F, 0.5F, 0.25F, 0.75F, 0.1F, 0.125F, 0.0F, -0.5F, 0.5F};
        std::copy_n(flGrid, 9, options.flPlotGrid);
    }

    static void AskForOrbital(int nMode, int nOffset, int fBeta = 0) {
        options.nPlotOrbitalMode = nMode;
        options.nPlotOrbitalOffset = nOffset;
        options.fPlotBetaSpin = fBeta;
    }

    /// The grid of the options as one kind of plot fills it.
    template <class Plot>
    static std::vector<float> Filled(Plot plot, float flBefore = 7.0F) {
        std::vector<float> grid(static_cast<std::size_t>(options.nGridRows * options.nGridCols),
                                flBefore);
        plot(grid.data());
        return grid;
    }

    static std::vector<float> Orbital(bool fSquare = false) {
        return Filled([=](float* pGrid) { PlotOrbital(fSquare, pGrid); });
    }

    /// The integral over a cube of dEdge bohr round the origin, by nPoints^3 equal cells.
    template <class Plot>
    static double Integral(Plot plot, double dEdge = 16.0, int nPoints = 96) {
        const double dStep = dEdge / nPoints, dFirst = -0.5 * dEdge + 0.5 * dStep;
        const auto flStep = static_cast<float>(dStep), flFirst = static_cast<float>(dFirst);
        options.nGridCols = options.nGridRows = nPoints;
        const float flGrid[9] = {flFirst, flFirst, flFirst, flStep, 0, 0, 0, flStep, 0};
        std::copy_n(flGrid, 9, options.flPlotGrid);
        double dSum = 0.0;
        for (int nPlane = 0; nPlane < nPoints; ++nPlane) {
            options.flPlotGrid[2] = static_cast<float>(dFirst + nPlane * dStep);
            for (const float fl : Filled(plot)) dSum += static_cast<double>(fl);
        }
        return dSum * dStep * dStep * dStep;
    }

  private:
    static inline std::optional<PlotPositions> positions;
};

}  // namespace qsolve
