#pragma once

#include "ci/ci.h"
#include "ci/states.h"

namespace qsolve {

/// A configuration interaction as it comes into being: first the window and the configurations, the
/// rest by Solve. Lives for one of them.
struct Interaction {
    CiWindow Window;
    Determinants Configs;
    Array<double> mActive;  ///< n x N: the orbitals of the window
    MoTable Table;
    ActiveEnergies Energies;
    ConfigLists Lists;
    SpinOperator Spin;
    CiStates States;
};

/// Ends in Fatal where there is no memory for the matrix of so many configurations, before anything
/// is taken that fits.
void RequireMatrix(long long nConfigs);

/// Integrals, matrix and states of the window and the configurations that stand in `ci`. Without
/// memory: Fatal. Yields.
void Solve(const ScfLevels& levels, Interaction& ci);

}  // namespace qsolve
