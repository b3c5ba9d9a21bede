#pragma once

/// The face of the room: configuration interaction in a window of levels, from a restricted SCF.

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

/// Matrices of an SCF that a state of a configuration interaction takes over, N x N.
struct StateMatrices {
    double* mDensityT;     ///< in: total density of the SCF; out: of the state
    double* mSpinDensity;  ///< out
    double* mFockA;        ///< scratch
    double* mVectorsA;     ///< out: natural orbitals, one a row, by ascending occupation
    double* vNaturalOcc;   ///< N: their occupations
};

/// Energies of states relative to the SCF, unit of the method.
struct CiEnergies {
    double dHalfElectronCorrection = 0.0;  ///< of the state of the job
    double dNextStateCorrection = 0.0;     ///< in a next lowest state that of the lowest, else 0
};

/// The reference determinant and all its single excitations within the window. Leaves the states in
/// `ci`, the lowest of the job's spin first, writes the spectrum to the log and sets
/// setup.nCiConfigurations; options.nLogLevel 6 and 8 also write the configurations, 7 and 8 the
/// states. Fatal where no state has the spin, or two for a next lowest one, and without memory.
CiEnergies RunSinglesCi(const ScfLevels& levels);

/// Every placement of the electrons in the window. Turns the matrices of the SCF into those of the
/// state, writes the lowest states to the log and sets setup.nCiConfigurations; options.nLogLevel
/// 5, 7 and 8 also write the configurations, 6, 7 and 8 the states. Fatal as RunSinglesCi, and for
/// more than 20 levels.
CiEnergies RunMicrostateCi(const ScfLevels& levels, const StateMatrices& out);

}  // namespace qsolve
