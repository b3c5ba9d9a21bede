#pragma once

#include "dynamics/random_force.h"

namespace qsolve {

/// The integrator of the Langevin equation, exact for a free particle: with friction f, time step t
/// and h = f t,
///
///     C0 = exp(-h), C1 = (1 - C0) / h, C2 = (1 - C1) / h.
///
/// The noise of a place and of a velocity component of mass m at temperature T are Gaussian, with
/// variances t^2 kT/m wr^2 and kT/m wv^2 and the correlation c, where
///
///     wr^2 = (2 - (exp(-2h) + 3 - 4 exp(-h)) / h) / h, wv^2 = 1 - exp(-2h),
///     c wr wv = (1 - C0)^2 / h.
///
/// M. P. Allen, D. J. Tildesley, Computer Simulation of Liquids, 1987, section 9.3.
struct LangevinTerms {
    double C0 = 1.0, C1 = 1.0, C2 = 0.5;
    double dPlaceWidth = 0.0;     ///< wr
    double dVelocityWidth = 0.0;  ///< wv
    double dCorrelation = 0.0;    ///< c; 0 where a width is
};

/// The terms for h above 0, to a few units of rounding however small h is.
LangevinTerms DeriveLangevinTerms(double h);

/// One run's integrator. A friction of 0 or less makes it velocity Verlet, without noise.
struct LangevinStep {
    double dTimeStep = 0.0;  ///< ps
    bool fFriction = false;
    LangevinTerms Terms;
    double dPlaceUnit = 1.0;     ///< working units in an Angstrom, of places
    double dVelocityUnit = 1.0;  ///< the same, of forces on velocities
    double dNoiseUnit = 1.0;     ///< the same, of the noise of places
};

/// The integrator of a method. The noise of places is added in Angstrom to places in bohr too,
/// unless fScaledNoise asks for the working unit: their variance is then too small by about 0.45 h.
LangevinStep StartLangevin(int nMethod, double dFriction, double dTimeStep, bool fScaledNoise);

/// Moves the atoms that are free to move, and their velocities by what is known before the new
/// force: places in pCoords (by atom), velocities and pGradient by position. dTemperature is that
/// of the random force, K; below 0 it counts as 0.
void LangevinHalfStep(const LangevinStep& step, double dTemperature, const double* pGradient,
                      RandomForce& force, double* pCoords, double* pVelocity);

/// Adds the new force's part to the velocities of the same atoms.
void LangevinFinishStep(const LangevinStep& step, const double* pGradient, double* pVelocity);

}  // namespace qsolve
