#pragma once

/// Integrals over the radial parts of Slater functions on one centre,
///
///     R(r) = (2 zeta)^(n + 1/2) / sqrt((2n)!) r^(n-1) exp(-zeta r)
///
/// in atomic units. The principal quantum number n is 1 .. 7.

namespace qsolve {

/// Radial part of a Slater function.
struct SlaterShell {
    int n = 0;           ///< principal quantum number
    double dZeta = 0.0;  ///< exponent, 1/bohr
};

/// Slater-Condon integral in hartree, electron 1 in a and c, electron 2 in b and d:
///
///     R^k(ab, cd) = int int a(1) c(1) r_<^k / r_>^(k+1) b(2) d(2) r1^2 r2^2 dr1 dr2
///
/// with r_< and r_> the smaller and the larger radius. J. C. Slater, Quantum Theory of Atomic
/// Structure, vol. 1 (1960). 0 where an exponent is not positive, a quantum number is out of range
/// or the integral does not exist: k has to be below n_a + n_c and below n_b + n_d, and at most 6.
double RadialIntegral(int k, const SlaterShell& a, const SlaterShell& b, const SlaterShell& c,
                      const SlaterShell& d);

/// RadialIntegral over four times the same shell n with exponent 1, in hartree. R^k of a shell with
/// exponent zeta is zeta times this.
double UnitRadialIntegral(int k, int n);

/// Radial moment in bohr^l, from which the separations of the charges of a multipole follow:
///
///     int R_1 R_2 r^(l + 2) dr
///
/// W. Thiel, A. A. Voityuk, Theor. Chim. Acta 81, 391 (1992). 0 where an exponent is not positive,
/// a quantum number is out of range or l is not 0 .. 6.
double ChargeSeparation(int n1, int n2, int l, double dZeta1, double dZeta2);

}  // namespace qsolve
