#pragma once

#include "integrals/atom_list.h"
#include "integrals/slater_coulomb.h"

/// Coulomb matrices of the methods that neglect differential overlap: element (mu, nu) is the
/// repulsion of the shells of two orbitals, which depends on their atoms and on whether each is a d
/// orbital. Hartree, bohr.

namespace qsolve {

/// Charge clouds of an atom's s and p shells, and of its d shell one principal quantum number
/// below, in CNDO, INDO and ZINDO/1.
struct AtomClouds {
    SlaterCloud sp, d;
};

/// The clouds of an atom by the rows of this job's method.
AtomClouds CloudsOf(const ListedAtom& atom);

/// Slater Coulomb integrals: mCoulomb, rows nLeading apart, nOrbitals x nOrbitals, full and
/// symmetric. Pairs below kNearest and from kFarthest on have 0; there is no 1/R tail unless
/// further.Scf.fFarRepulsion asks for it. CNDO, INDO,
/// ZINDO/1. Charges Yield for each atom and row.
void BuildSlaterCoulombMatrix(double* mCoulomb, int nLeading, int nOrbitals);

/// The denominator's constant of the Mataga-Nishimoto formula between one-centre values dG1 and
/// dG2, eV: gamma = kMatagaStrength / (R + offset), offset = 2 kMatagaStrength / (g1 + g2) in bohr.
constexpr double kMatagaStrength = 1.2;
double MatagaOffset(double dG1, double dG2);

/// Two-centre integrals by N. Mataga, K. Nishimoto, Z. phys. Chem. (Frankfurt) 13, 140 (1957) with
/// the strength of INDO/S; shapes as above. They have no cut-off and stay finite for atoms in one
/// place. ZINDO/S.
void BuildMatagaCoulombMatrix(double* mCoulomb, int nLeading, int nOrbitals);

}  // namespace qsolve
