#include "properties/potential.h"

#include <algorithm>
#include <cstddef>

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/grid.h"
#include "properties/plot_positions.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Calls visit(position, record) for each atom of the calculation.
template <class Visit>
void ForEachSource(Visit visit) {
    for (int i = 0; i < system.nSelected; ++i) {
        const AtomRecord& atom = AtomByNumber(AtomNumberAt(i));
        if (!IsDummy(atom)) visit(i, atom);
    }
}

int OrbitalsAt(int nPosition) {
    return setup.Map.pLastOrbital[nPosition] - setup.Map.pFirstOrbital[nPosition] + 1;
}

}  // namespace

PotentialField BuildPotentialField() {
    std::size_t nSources = 0, nClouds = 0;
    ForEachSource([&](int nPosition, const AtomRecord&) {
        ++nSources;
        nClouds += static_cast<std::size_t>(CloudsOf(OrbitalsAt(nPosition)));
    });
    PotentialField field;
    field.pAtoms.Take(nSources, kWork);
    field.pSources.Take(nSources, kWork);
    field.pClouds.Take(nClouds, kWork);

    nSources = nClouds = 0;
    ForEachSource([&](int nPosition, const AtomRecord& atom) {
        field.pAtoms[nSources] = DensityOfAtom(nPosition);
        PotentialSource& source = field.pSources[nSources++];
        std::copy_n(PlotPlace(AtomNumberAt(nPosition)), 3, source.dXyz);
        source.dNetCharge = static_cast<double>(atom.flCharge);
        BuildPotentialSource(field.pAtoms[nSources - 1], kCoreCharge[RowOf(atom)],
                             field.pClouds.Data() + nClouds, source);
        nClouds += static_cast<std::size_t>(CloudsOf(OrbitalsAt(nPosition)));
    });
    return field;
}

void FillPotentialStrip(const PotentialField& field, const double* pStart, const double* pStep,
                        int nPoints, float* pValues) {
    double vX[kStripPoints], vY[kStripPoints], vZ[kStripPoints], vPotential[kStripPoints] = {};
    FillPoints(pStart, pStep, nPoints, vX, vY, vZ);
    for (std::size_t i = 0; i < field.pSources.Size(); ++i)
        AddPotential(field.pSources[i], field.pAtoms[i], nPoints, vX, vY, vZ, vPotential);
    for (int k = 0; k < nPoints; ++k) pValues[k] = static_cast<float>(vPotential[k]);
}

void PlotPotential(float* pGrid) {
    const auto nRows = static_cast<std::size_t>(std::max(options.nGridRows, 0));
    const auto nColumns = static_cast<std::size_t>(std::max(options.nGridCols, 0));
    const bool fHueckel = system.MethodId == kExtendedHueckel;
    if (fHueckel) Warn(kMsgHuckelPotential);
    if (fHueckel || !scf.mDensityT) {
        std::fill_n(pGrid, nRows * nColumns, 0.0F);
        return;
    }
    const PotentialField field = BuildPotentialField();
    WalkGrid(pGrid, field.pSources.Size() + 1,
             [&](const double* pStart, const double* pStep, int nPoints, float* pValues) {
                 FillPotentialStrip(field, pStart, pStep, nPoints, pValues);
             });
}

}  // namespace qsolve
