#pragma once

#include "integrals/atom_list.h"
#include "integrals/slater_coulomb.h"

/// The atoms outside the selection as point charges that act on the selected ones, in the methods
/// that neglect differential overlap. Hartree, bohr.

namespace qsolve {

/// Partial charges smaller than this are ignored, with their cores.
constexpr double kSmallestCharge = 1e-5;

/// Whether an atom record is a classical atom that counts. nAtom is counted from 0.
bool IsClassicalCharge(int nAtom);

/// Repulsion of an electron in a shell of a selected atom with one in the valence shell of a
/// classical one, dDistance bohr apart. dReach is the smaller radius of the two atoms
/// (ClassicalReach): below six of it the true clouds, up to kFarthest two 1s clouds of the same
/// exponents, whose shape no longer matters there, and 1/R elsewhere and for atoms in one place.
double ClassicalSlaterCoulomb(const SlaterCloud& shell, const SlaterCloud& classical, double dReach,
                              double dDistance);

/// The same with its derivative with respect to the distance, hartree/bohr.
RadialValue ClassicalSlaterCoulombSlope(const SlaterCloud& shell, const SlaterCloud& classical,
                                        double dReach, double dDistance);

/// 1/R of the classical charges, with its derivative; 1e6 for atoms in one place.
RadialValue ClassicalPointCharge(double dDistance);

/// The smaller of the mean radii (n + 1/2) / zeta of a selected and a classical atom, bohr. A
/// classical atom beyond the third shell has radius 0.
double ClassicalReach(const SlaterCloud& selected, const SlaterCloud& classical);

/// The valence cloud of a classical atom, from its element's row.
SlaterCloud ClassicalCloud(int nElement);

/// The same repulsion in ZINDO/S, by the Mataga-Nishimoto formula with one-centre values in eV.
RadialValue ClassicalMatagaCoulomb(double dGammaShell, double dGammaClassical, double dDistance);

/// Adds the potential of all classical charges q_P to the diagonal of mCore, -q_P g for each
/// orbital, and returns their energy with the cores Z_A of the selected atoms,
///
///     sum over A of Z_A sum over P of Z_P / R - (Z_P - q_P) g(s of A, P).
///
/// Charges Yield for each selected atom.
double AddClassicalCharges(double* mCore, int nLeading);

}  // namespace qsolve
