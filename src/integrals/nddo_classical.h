#pragma once

#include "integrals/nddo_store.h"

/// The atoms outside the selection as point charges that act on the selected ones, in the methods
/// that retain differential overlap. Angstrom and eV.

namespace qsolve {

/// Products of s and p orbitals, which alone meet a classical charge.
constexpr int kClassicalProducts = 10;

/// Where a classical charge stands, seen from an atom.
struct ClassicalPlace {
    double dDistance = 0.0;     ///< Angstrom
    double vDirection[3] = {};  ///< (A - P) / R
};

/// The place of P for A, from their positions in Angstrom. A distance below 1e-6 counts as that.
ClassicalPlace ClassicalPlaceOf(const double* pXyzA, const double* pXyzP);

/// The potential of a unit charge at P in the orbitals of A, eV: vPotential[mu nu] = (mu nu|s s),
/// kClassicalProducts in molecular axes, of which only those that A has are written. P has a
/// monopole alone, with the additive term of its element. *pCoreFactor is what multiplies the
/// repulsion of the cores,
///
///     f = exp(-alpha_A R) + exp(-alpha_P R) / R + 1
///
/// in which the term of P alone is divided by R (in Angstrom); that is meant.
void ClassicalPotential(const NddoAtom& a, const NddoAtom& p, const double* vDirection,
                        double dDistance, double* vPotential, double* pCoreFactor);

/// Adds the potential of all classical charges to mCore, -q_P (mu nu|s s) in the s and p block of
/// each atom and its mirror image, and returns their energy with the cores,
///
///     sum over A of Z_A sum over P of V_ss (Z_P f - (Z_P - q_P))
///
/// Charges Yield for each selected atom.
double AddClassicalChargesNddo(double* mCore, int nLeading);

/// The same in MINDO/3: -q_P gamma on the diagonal, and the energy
///
///     sum over A of Z_A sum over P of ((14.399651703941002/R - gamma) x + gamma) Z_P
///                                     - (Z_P - q_P) gamma,      x = exp(-alpha_AP R)
double AddClassicalChargesMindo(double* mCore, int nLeading);

}  // namespace qsolve
