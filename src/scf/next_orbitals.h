#pragma once

#include <cmath>

#include "scf/electrons.h"

namespace qsolve {

/// Whether the orbitals of the next cycle may be turned, and of which sets all orbitals are at
/// hand, with the levels of the solution that they come from.
struct Turns {
    bool fNear = false;
    bool fAll[2] = {};
    double dFormer = HUGE_VAL;  ///< the error before

    /// By the largest element of the error, unit of the family: orbitals are turned near the end
    /// and on the way to it.
    void Judge(const Electrons& electrons, double dError);
};

/// Orbitals of a set from its Fock matrix, of which the lower triangle is read and which is
/// destroyed: those of its density, or all. Turned to first order where that is allowed and small
/// enough, else solved for. Yields.
void NewOrbitals(Electrons& electrons, int nSet, Turns& turns);

}  // namespace qsolve
