#pragma once

namespace qsolve {

/// Which levels of a spin hold electrons.
struct LevelCounts {
    int nOcc;          ///< occupied levels, 0 .. N
    int nDoubly;       ///< the lowest of them that hold two electrons; 0 in an unrestricted job
    int nIndexOffset;  ///< place of the spin in the per-orbital results: 0, or N for beta
};

/// Levels from 0 on, nFirst .. nEnd - 1.
struct LevelRange {
    int nFirst = 0, nEnd = 0;
};

/// The levels whose orbitals BuildDensity reads, but for those that equal the first or the last of
/// them to the last digit.
LevelRange DensityLevels(const LevelCounts& counts);

/// P = sum_k w_k C_k C_k^T over the occupied orbitals: weight 2 for those in the energy window of
/// the doubly occupied levels, dOpenOccupancy for those in the window of the open ones. A level
/// that equals the bound of a window to the last digit is occupied with it. In the Nddo family,
/// when more than half of the levels are filled, the same sum is taken over the holes: 2 I less the
/// empty ones.
///
/// N is the number of orbitals. vEnergy, N, ascending; vLevel becomes a copy of it. mVectors, N x
/// N, one orbital a row; mDensity, N x N. Also sets the order and the raw energies of the orbitals
/// in the results of the spin. vWeights, N, become the weights w, 0 for the orbitals that are not
/// read. Yields.
void BuildDensity(const LevelCounts& counts, const double* vEnergy, double* vLevel,
                  const double* mVectors, double* mDensity, double* vWeights);

/// Sets the order and the raw energies of a spin's orbitals in the results, from its place there
/// on, and vLevel to a copy of vEnergy.
void PublishLevels(int nIndexOffset, const double* vEnergy, double* vLevel);

}  // namespace qsolve
