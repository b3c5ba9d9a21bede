#pragma once

#include "ci/matrix.h"
#include "ci/sectors.h"
#include "ci/spin.h"

namespace qsolve {

/// The states of a configuration interaction, in the order of a list: by energy, but for a state
/// that has been moved to the front. Energies are relative to the SCF, unit of the method.
struct CiStates {
    int nConfigs = 0;           ///< configurations, and states
    Array<double> vCiEnergy;    ///< by place in the list
    Array<double> vSpinSquare;  ///< by place in the list: S(S + 1)
    Array<int> vCiIndex;        ///< by place in the list: number of the eigenvector, from 0
    Array<int> vSector, vRow;   ///< by eigenvector: where its combinations stand
    SpinSectors Sectors;
    Array<double> mCiVectors[2];  ///< by sector: a vector a row
};

/// Builds the matrix, diagonalises it and orders the states by their energies. The largest
/// coefficient of a state is positive. Tells on the status line what it does. Without memory:
/// Fatal. Yields.
void SolveStates(const CiOperator& ci, const SpinOperator& spin, CiStates& states);

/// Writes the nConfigs coefficients of the state at a place of the list.
void TakeState(const CiStates& states, int nPlace, double* vState);

/// The states of the spin that is asked for.
struct ChosenStates {
    int nFirst;                   ///< place of the lowest
    int nWanted;                  ///< place of that of the job
    double dCorrection;           ///< its energy relative to the SCF
    double dNextStateCorrection;  ///< in a next lowest state that of the lowest, else 0
};

/// Chooses by options.nMultiplicity and options.fNextLowestState: the lowest state with its spin,
/// or the second such. Without one: Fatal.
ChosenStates ChooseState(const CiStates& states);

/// Moves the state at a place of the list to the front; those before it move up by one.
void MoveToFront(int nPlace, CiStates& states);

}  // namespace qsolve
