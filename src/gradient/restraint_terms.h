#pragma once

/// Energies of single harmonic restraints and their derivatives. Kernels: functions of their
/// arguments. Positions and derivatives are x y z, lengths in one unit throughout, angles in
/// radians; energies in the unit of the force constant. A derivative is that of the energy with
/// respect to the position of the atom, and the derivatives of a restraint sum to zero.

namespace qsolve {

/// Atoms of the largest restraint.
constexpr int kMostRestraintAtoms = 4;

/// The value of one restraint.
struct RestraintTerm {
    double dEnergy = 0.0;
    double dGradient[kMostRestraintAtoms][3] = {};
};

/// A stretch E = k (r - r0)^2 of two atoms. A target of exactly 0 pulls them together and may be
/// met; with any other, Fatal with kMsgSamePosition where they are within 1e-6 of each other, since
/// the force has no direction.
RestraintTerm StretchTerm(const double* pA, const double* pB, double dForceConstant,
                          double dTarget);

/// A bend E = k (theta - theta0)^2 at b of the angle a-b-c, 0 .. pi. A straight angle has a finite
/// force, along no side if it is exact. Fatal with kMsgSamePosition where a side has no length.
RestraintTerm BendTerm(const double* pA, const double* pB, const double* pC, double dForceConstant,
                       double dTarget);

/// A torsion E = k D^2 about b-c of the chain a-b-c-d, with D the shorter way round from the target
/// to the dihedral angle, -pi .. pi, which is positive where d stands anticlockwise from a, seen
/// along b-c: the opposite of the sign that chemists give it. Where three atoms stand in a line the
/// angle has no meaning, and floors keep the force finite. Near a flat arrangement with target 0
/// the force comes from the series phi / sin phi = 1 + phi^2 / 6 + ..., which does not divide by
/// the vanishing sine.
RestraintTerm TorsionTerm(const double* pA, const double* pB, const double* pC, const double* pD,
                          double dForceConstant, double dTarget);

}  // namespace qsolve
