#include "properties/plot_positions.h"

#include <cstddef>

#include "job/state.h"
#include "properties/state.h"
#include "setup/parameters.h"

namespace qsolve {

namespace {

/// The way back from bohr.
constexpr double kPlotAngstromPerBohr = 0.52917725;

float Scaled(float fl, double dFactor) {
    return static_cast<float>(static_cast<double>(fl) * dFactor);
}

bool WorksInAngstrom() {
    return FamilyOf(system.MethodId) == Family::kNddo;
}

/// Zeros where a failed job has left no geometry.
void TakeFromGeometry() {
    properties.vPlotXyz.Take(3, static_cast<std::size_t>(system.nAtoms), kWork);
    if (system.pCoords.Size() != properties.vPlotXyz.Size()) return;
    for (std::size_t i = 0; i < system.pCoords.Size(); ++i)
        properties.vPlotXyz[i] = static_cast<float>(system.pCoords[i]);
}

}  // namespace

PlotPositions::PlotPositions() {
    if (!properties.vPlotXyz) TakeFromGeometry();
    const double dFactor = WorksInAngstrom() ? kIntakeBohrPerAngstrom : 1.0;
    properties.vPlotBohr.Take(properties.vPlotXyz.Size(), kWork);
    for (std::size_t i = 0; i < properties.vPlotXyz.Size(); ++i)
        properties.vPlotBohr[i] = Scaled(properties.vPlotXyz[i], dFactor);
}

PlotPositions::~PlotPositions() {
    const double dFactor = WorksInAngstrom() ? kPlotAngstromPerBohr : 1.0;
    for (std::size_t i = 0; i < properties.vPlotXyz.Size(); ++i)
        properties.vPlotXyz[i] = Scaled(properties.vPlotBohr[i], dFactor);
    properties.vPlotBohr.Reset();
}

const float* PlotPlace(int nAtom) {
    return properties.vPlotBohr.Data() + 3 * static_cast<std::ptrdiff_t>(nAtom - 1);
}

}  // namespace qsolve
