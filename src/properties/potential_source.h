#pragma once

#include "integrals/integrals.h"
#include "properties/atom_density.h"
#include "properties/grid.h"

/// The potential of one atom as a sum over multipoles, prepared once for many points. Polynomials
/// in the vector R from the atom are kept by the coefficients of their monomials; atomic units.
///
///     V(R) = sum over L of M_L(R) / R^(2L+1)
///          - sum over clouds of exp(-zeta R) sum over L of H_L(R) Q_nL(zeta R) / R^(2L+1)
///
/// A cloud is what products of orbitals have in common that share n = n_a + n_b and zeta = zeta_a +
/// zeta_b: its H_L are its own multipoles, Q_nL says how much of them a point within it does not
/// see. M_L are the multipoles of the whole atom, the core's charge among them.

namespace qsolve {

struct ScreenedCloud {
    int nPower = 0;  ///< n
    double dZeta = 0.0;
    double dReach = 0.0;               ///< farther away it is a point multipole in all digits
    bool fRank[kTopRank + 1] = {};     ///< ranks that it has
    double vMoments[kMonomials] = {};  ///< H
    double vScreening[kTopRank + 1][kTopScreening + 1] = {};  ///< Q, by power
};

/// Pairs of an atom's shells, a double-zeta shell counting as two.
constexpr int kTopClouds = 10;

struct PotentialSource {
    double dXyz[3] = {};
    double dCore = 0.0;       ///< charge of the core
    double dNetCharge = 0.0;  ///< what a point far away sees
    double dNear = 0.0;       ///< at this distance and beyond, the sum above holds its digits
    int nTopRank = 0;         ///< highest rank of all
    double vMoments[kMonomials] = {};  ///< M
    int nClouds = 0;
    const ScreenedCloud* pClouds = nullptr;
};

/// Most clouds that the density of an atom with nOrbitals orbitals makes.
constexpr int CloudsOf(int nOrbitals) {
    return nOrbitals > kShellBegin[2] ? kTopClouds : nOrbitals > kShellBegin[1] ? 3 : nOrbitals;
}

/// Fills the clouds of a density, pClouds with room for CloudsOf(atom.nOrbitals), and of the source
/// all that follows from density and core. Place and net charge are the caller's.
void BuildPotentialSource(const AtomDensity& atom, double dCore, ScreenedCloud* pClouds,
                          PotentialSource& source);

/// vPotential += the potential of an atom at nPoints points, at most kStripPoints, with their
/// coordinates in three arrays. Nearer than kNoDistance the atom adds nothing, farther than
/// kFarDistance it is its net charge at a point. A point that is no number gets nothing.
void AddPotential(const PotentialSource& source, const AtomDensity& atom, int nPoints,
                  const double* vX, const double* vY, const double* vZ, double* vPotential);

/// A point nearer than this sits on the nucleus; one farther than that sees a point. bohr.
constexpr double kNoDistance = 0.001, kFarDistance = 100.0;

}  // namespace qsolve
