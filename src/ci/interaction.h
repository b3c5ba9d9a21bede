#pragma once

#include "ci/states.h"

namespace qsolve {

/// The restricted SCF that a configuration interaction starts from, N being the number of orbitals.
/// Energies are in the unit of the method, lengths in its working unit.
struct ScfLevels {
    const double* vEnergy;   ///< N, ascending: of the last full diagonalisation
    const double* vLevel;    ///< N: the same as the density was made from
    const double* mVectors;  ///< N x N, one orbital a row
    double dEnergy;          ///< electronic energy
    double dCoreEnergy;
    const double* vOrigin;  ///< 3: what dipole moments refer to
};

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
