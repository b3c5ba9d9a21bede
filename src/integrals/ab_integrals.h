#pragma once

/// Auxiliary integrals on which every two-centre formula of Slater orbitals stands, in prolate
/// spheroidal coordinates x = (r_A + r_B) / R, y = (r_A - r_B) / R:
///
///     A_k(p) = integral from 1 to infinity of x^k exp(-p x) dx
///     B_k(q) = integral from -1 to 1 of y^k exp(-q y) dy
///
/// R. S. Mulliken, C. A. Rieke, D. Orloff, H. Orloff, J. Chem. Phys. 17, 1248 (1949).
///
/// All arrays hold kAuxiliaries entries; entries above nTop become 0. An nTop outside
/// 0 .. kTopAuxiliary means kTopAuxiliary. Nothing here fails.

namespace qsolve {

constexpr int kTopAuxiliary = 19;
constexpr int kAuxiliaries = kTopAuxiliary + 1;

/// Arguments up to here count as 0, and from here on as too large to matter.
constexpr double kSmallestArgument = 1e-6, kLargestArgument = 1000.0;

/// dBase to a whole power by repeated squaring. A base of exactly 0 gives 0 for every power, 0 and
/// negative ones included.
double ExponentPower(double dBase, int nPower);

/// A_k(dP), k = 0 .. nTop, dP a mean exponent times the distance. All become 0 where dP is too
/// small to divide by or too large to matter.
void FillA(double dP, int nTop, double* vA);

/// B_k(dQ), k = 0 .. nTop, dQ half the difference of two exponents times the distance. Upward
/// recursion where it is stable for this nTop, otherwise a power series of 7 to 16 terms, whose
/// absolute error is below 6e-6; the exact limit near 0. All become 0 where dQ is too large.
void FillB(double dQ, int nTop, double* vB);

/// FillB, and in vSlope the derivative d B_k / d dQ of what it gives. It is -B_(k+1); within the
/// power series the terms are differentiated one by one, so that an energy and its derivative come
/// from the same truncated series.
void FillBWithSlope(double dQ, int nTop, double* vB, double* vSlope);

/// FillA and FillB in one call.
void ComputeABIntegrals(double* vA, double* vB, double dP, double dQ, int nTop);

}  // namespace qsolve
