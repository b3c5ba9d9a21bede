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

/// The derivative with respect to the distance of what A's core adds to -q_P (Z_A - electrons),
/// eV/Angstrom: of Z_A Z_P V_ss (f - 1) in all methods but MINDO/3, where it is
/// Z_A Z_P (14.399651703941002/R - gamma) x. dSs and dSsSlope are V_ss or gamma and its derivative.
double ClassicalExcessSlopeNddo(const NddoAtom& a, const NddoAtom& p, double dDistance, double dSs,
                                double dSsSlope);
double ClassicalExcessSlopeMindo(const NddoAtom& a, const NddoAtom& p, double dDistance,
                                 double dGamma, double dGammaSlope);

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
