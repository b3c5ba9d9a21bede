#pragma once

/// Velocities of the atoms of the selection list: x y z by position, Angstrom/ps for every method.
/// An atom that stands still by its nature (a capping atom, a dummy) has a row like any other.

namespace qsolve {

/// Draws velocities for dTemperature (K; below 0 counts as 0) from a fresh generator, for every
/// atom of the molecule in turn so that the numbers of an atom do not depend on the selection, and
/// takes the velocity of the centre of mass out of every row. Rows of capping atoms hold just that.
void InitVelocities(double dTemperature, int nSeed, double* pVelocity);

/// Twice the kinetic energy over three times the active atoms and Boltzmann's constant, K.
double InstantTemperature(const double* pVelocity);

/// Kinetic energy that belongs to a temperature (K) for all atoms of the molecule, kcal/mol. In a
/// part of a molecule it counts more atoms than the temperature does, and that is meant.
double KineticEnergyAt(double dTemperature);

/// Multiplies every row.
void ScaleVelocities(double dFactor, double* pVelocity);

/// Scales every row so that the temperature becomes dTemperature; nothing for 1e-6 K and less.
void ScaleToTemperature(double dTemperature, double* pVelocity);

/// Zeroes the rows of capping atoms and dummies.
void RestUnmovingAtoms(double* pVelocity);

/// Adds the effect of the forces of a time step, ps: v -= (418.4 / mass) dTimeStep g, with g in
/// kcal/mol per working unit of length and the unit's factor in the time step. Dummies keep theirs.
void KickVelocities(double dTimeStep, const double* pGradient, double* pVelocity);

}  // namespace qsolve
