#include "ci/interaction.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Copies the window's orbitals.
void TakeActive(const ScfLevels& levels, Interaction& ci) {
    const int n = setup.nOrbitals, nLevels = ci.Window.nLevels;
    ci.mActive.Take(static_cast<std::size_t>(nLevels), static_cast<std::size_t>(n), kWork);
    const double* pFirst = Row(levels.mVectors, n, ci.Window.nBelow);
    std::copy(pFirst, Row(pFirst, n, nLevels), ci.mActive.begin());
}

}  // namespace

void RequireMatrix(long long nConfigs) {
    if (nConfigs > std::numeric_limits<int>::max()) Fatal(kMsgOutOfMemory);
    const std::size_t nHalf = static_cast<std::size_t>(nConfigs / 2);
    Array<double> mMatrix;
    mMatrix.Take(nHalf, nHalf, kWork);
}

void Solve(const ScfLevels& levels, Interaction& ci) {
    TakeActive(levels, ci);
    FillMoTable(ci.Window.nLevels, ci.mActive.Data(), levels.vOrigin, ci.Table);
    FillActiveEnergies(ci.Window, levels.vEnergy, ci.Table, ci.Energies);
    FillLists(ci.Configs, ci.Lists);
    FillSpinOperator(ci.Configs, ci.Lists, ci.Spin);
    SolveStates({ci.Window, ci.Table, ci.Energies, ci.Configs, ci.Lists}, ci.Spin, ci.States);
}

}  // namespace qsolve
