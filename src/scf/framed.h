#pragma once

#include <cstddef>

#include "link/memory.h"
#include "scf/guard.h"
#include "scf/orbital_frame.h"

/// Cycles near the end of an SCF, as a search for the turns from one frame of orbitals at which no
/// orbital of one side of the Fermi level couples to the other side. A cycle takes half the
/// products of one that solves or turns with the matrices as they are.

namespace qsolve {

/// Points that are remembered.
constexpr int kFramePoints = 8;

struct FramedSearch {
    OrbitalFrame Frames[2];         ///< of the sets
    std::size_t nTurns = 0;         ///< of all sets
    Array<double> vTurns;           ///< of the orbitals at hand
    Array<double> mTurns, mErrors;  ///< kFramePoints x nTurns: turns and couplings of the points
    int nCount = 0;                 ///< points in use
    int vOrder[kFramePoints] = {};  ///< slot of each, oldest first
    double mDots[kFramePoints * kFramePoints] = {};  ///< of the errors, by slot
};

/// Whether the cycles may go on in a frame below an error, unit of the family: near the end of
/// molecules without open levels, all but the smallest, or of large ones with spins of their own.
bool MayUseFrame(const Electrons& electrons, double dError);

/// Orbitals and levels of all sets from their Fock matrices, which are destroyed, as frames of a
/// search without points. The orbitals are those at hand; densities stay. Yields; Fatal without
/// memory.
void StartSearch(Electrons& electrons, FramedSearch& search);

/// Adds the orbitals at hand with the couplings that their Fock matrices have; the oldest point
/// goes where there is no place. Returns the norm of F P - P F, the root of the sum of the squares
/// of all elements of all sets, unit of the family. Yields.
double RememberPoint(Electrons& electrons, FramedSearch& search);

/// Orbitals to go on with: from the mixture of the points of least error by first order in what it
/// couples. False where they are too far from the frame; then the orbitals of a set are those of
/// before or the new ones. Yields.
bool MovePoint(Electrons& electrons, FramedSearch& search);

/// The largest element of F P - P F of all sets, unit of the family: what to expect from its norm,
/// and what it is, which takes as long as half a cycle and sharpens what is expected.
class ErrorOfNorm {
  public:
    explicit ErrorOfNorm(int n);
    double Expected(double dNorm) const { return dRatio_ * dNorm; }
    double Measured(const Electrons& electrons, double dNorm);

  private:
    double dRatio_;
};

/// Cycles from the present Fock matrices until both limits are met; end is that of the cycles
/// before, with the energy of these matrices. Energy and Fock matrices in the end belong together,
/// and where the limits are met the densities are those that a next cycle would begin with: the
/// gradient, whose error is of first order in theirs, is the sharper by it. False where the energy
/// rises or the orbitals go far: the orbitals at hand are then those of no matrix, and the search
/// is over. Yields; Fatal without memory.
bool RunInFrame(Electrons& electrons, const GuardLimits& limits, GuardEnd& end);

}  // namespace qsolve
