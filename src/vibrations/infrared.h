#pragma once

namespace qsolve {

/// Zero-point energy of a vibration of 1/cm, kcal/mol.
constexpr double kZeroPointOfWavenumber = 0.0014295718;

/// Intensity of a mode whose dipole derivative is 1 Debye/(Angstrom sqrt(amu)): integrated decadic
/// absorption, km/mol. The natural one is larger by ln 10.
constexpr double kDecadicIntensity = 18.354488;

/// Frequency, 1/cm, of a mass-weighted force constant, mdyn/(Angstrom amu): that of a negative one
/// is imaginary, and given negative.
double FrequencyOf(double dForceConstant);

/// Derivatives of the dipole along normal coordinates: row m of mModeDipoles, n x 3, is the sum
/// over i of L_mi dmu_i for the modes L, n x n, one a row, and the mass-weighted derivatives dmu,
/// n x 3.
void FillModeDipoles(int n, const double* mModes, const double* mDipoles, double* mModeDipoles);

/// Intensity, km/mol, of a mode from the derivative of its dipole, x y z, Debye/(Angstrom
/// sqrt(amu)).
double IntensityOf(const double* vModeDipole);

}  // namespace qsolve
