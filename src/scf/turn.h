#pragma once

#include "scf/electrons.h"

namespace qsolve {

/// Turns orbitals towards those of a Fock matrix that is nearly diagonal in them, instead of
/// solving it: C_p gains F_pq / (e_p - e_q) C_q for each filled p and empty q, first order in what
/// couples the two. The orbitals of the smaller side, which a density is summed from, come out
/// orthonormal to rounding; those of the other one nearly.
///
/// Without open levels only. mFock, N x N, whole, is destroyed; mVectors holds all orbitals, vLevel
/// their levels; mFirst and mSecond, N x N, are scratch. False, and the Fock matrix and the
/// orbitals are those of before, where a turn is too large for that. Yields.
bool TurnOrbitals(const Shells& shells, double* mFock, const double* vLevel, double* mVectors,
                  double* mFirst, double* mSecond);

}  // namespace qsolve
