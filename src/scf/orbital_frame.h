#pragma once

#include <cstddef>

#include "link/memory.h"
#include "scf/electrons.h"

/// Orbitals near the end of an SCF, as turns from those of a Fock matrix that has been solved.

namespace qsolve {

/// Orthonormal orbitals and their levels, N of either, and the two sides of the Fermi level: the
/// smaller one, which a density is summed from, and the larger one. With turns Y, nSmall x nLarge,
/// the orbitals of the smaller side span S + Y L, whose products are 1 + Y Y^T, and are made
/// orthonormal one after the other; those of the larger side span L - Y^T S, at right angles to
/// them: any density of as many orbitals that is not too far is one of such turns, and of one only.
struct OrbitalFrame {
    int n = 0, nSmall = 0, nLarge = 0, nFirstSmall = 0, nFirstLarge = 0;
    Array<double> mOrbitals;  ///< N x N, one a row
    Array<double> vLevel;     ///< N

    std::size_t CountTurns() const {
        return static_cast<std::size_t>(nSmall) * static_cast<std::size_t>(nLarge);
    }
    const double* Small() const;
    const double* Large() const;
};

/// A frame of the orbitals and levels of a set without open levels. Fatal without memory.
void TakeFrame(const Shells& shells, const double* mVectors, const double* vLevel,
               OrbitalFrame& frame);

/// The orbitals of the smaller side, in their place among mVectors, N x N; the others stay. mFirst
/// and mSecond, N x N, are scratch. False, with nothing done, where the turns are too large.
/// Yields.
bool PlaceOrbitals(const OrbitalFrame& frame, const double* mTurns, double* mFirst, double* mSecond,
                   double* mVectors);

/// The elements of a Fock matrix, N x N, between the orbitals of the smaller side, which
/// PlaceOrbitals has made, and what spans the larger one: nSmall x nLarge, all 0 in a state at
/// rest. mFirst and mSecond are scratch. Yields.
void ElementsInFrame(const OrbitalFrame& frame, const double* mTurns, const double* mFock,
                     const double* mVectors, double* mFirst, double* mSecond, double* mElements);

}  // namespace qsolve
