#pragma once

#include "integrals/atom_list.h"

/// What the terms that depend on populations and distances alone share.

namespace qsolve {

/// Electrons in the s and p shells and in the d shell of an atom.
struct ShellPopulations {
    double dSp = 0.0, dD = 0.0;
};

/// The populations of an atom by the diagonal of the total density, setup.nOrbitals squared.
ShellPopulations PopulationsOf(const ListedAtom& atom, const double* mDensityT);

/// Adds the gradient at pA of a function of the distance R of pA and pB, whose derivative with
/// respect to R is dSlope: dSlope (A - B) / R. R must not be 0; three components.
void AddRadial(const double* pA, const double* pB, double R, double dSlope, double* pGradientA);

}  // namespace qsolve
