#pragma once

#include <cstddef>

/// Every array that a calculation takes before its first SCF, with its size, and the one place that
/// frees them. The rooms that use them own them, in their state.h; without memory each ends in
/// Fatal with kMsgOutOfMemorySetUp.

namespace qsolve {

/// Frees and clears what a calculation leaves: set-up, geometry, integrals, SCF, gradient,
/// properties, CI, symmetry and results. The molecule and the selection, which come with the
/// intake, stay, and so do force matrix and modes, which have rules of their own.
void FreeCalculation() noexcept;

/// Takes the index arrays of setup.Map, one entry a position.
void TakeOrbitalMap();

/// Takes all other arrays: per-orbital parameters, orbital results, integrals, the matrices of the
/// SCF and its scratch, the gradient. Needs the orbital map, SetOrbitalBlocks and the level counts.
/// Without orbitals there are no N x N matrices.
void TakeJobArrays();

/// Doubles of the store of two-centre integrals: for each ordered pair of atoms 1, 10, 45, 100, 450
/// or 2025, by the products of orbitals that either has. nAtoms counts all atoms of the selection
/// list, nWithP those with s and p, nWithD those with s, p and d. A single atom has 100. The
/// largest size where the sum does not fit, so that taking it fails.
std::size_t TwoCentreSize(int nAtoms, int nWithP, int nWithD);

}  // namespace qsolve
