#pragma once

/// Additive terms of the multipole charge model: a multipole of point charges at distance 0 from
/// itself, each pair of charges interacting as 1 / sqrt(r^2 + (2x)^2), has to have the energy of
/// the one-centre integral that it stands for. M. J. S. Dewar, W. Thiel, Theor. Chim. Acta 46, 89
/// (1977).

namespace qsolve {

/// Additive term x in bohr of a dipole, charges +1/2 and -1/2 at +d and -d (bohr), whose
/// self-interaction is p (hartree): the root of
///
///     1/x = 4p + 1/sqrt(x^2 + d^2)
///
/// found by iterating to 1e-10. 0 where there is none or 1000 iterations do not reach it.
double DipoleAdditiveTerm(double d, double p);

/// Additive term x in bohr of a square quadrupole, charges 1/4 and -1/4 in turn at the corners of a
/// square of side 2d (bohr), whose self-interaction is p (hartree): the root of
///
///     1/x = 8p + 2/sqrt(x^2 + d^2) - 1/sqrt(x^2 + 2 d^2)
///
/// found by iterating to 1e-10. 0 where there is none or 1000 iterations do not reach it.
double QuadrupoleAdditiveTerm(double d, double p);

}  // namespace qsolve
