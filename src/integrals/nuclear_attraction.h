#pragma once

/// Attraction of the product of two Slater orbitals of one centre by a unit charge at r:
///
///     V_ab(R) = integral of chi_a(r) chi_b(r) / |r - R|
///             = N_a N_b / zeta^n sum over L of F_nL(zeta R) <Y_a Y_b P_L(cos gamma)>,
///     F_nL(x) = x^-(L+1) integral from 0 to x of t^(n+L) exp(-t) dt
///             + x^L      integral from x to infinity of t^(n-L-1) exp(-t) dt,
///
/// n = n_a + n_b, zeta = zeta_a + zeta_b, gamma the angle between r and R, by the Laplace expansion
/// of 1/|r - R|. Atomic units throughout. Orbitals are N r^(n-1) exp(-zeta r) Y(l, m) with real
/// spherical harmonics, and are counted from 0 in the order s, px, py, pz, d(z2), d(xz), d(yz),
/// d(x2-y2), d(xy).
/// C. C. J. Roothaan, J. Chem. Phys. 19, 1445 (1951); E. Steinborn, K. Ruedenberg, Adv. Quantum
/// Chem. 7, 1 (1973).

namespace qsolve {

/// Highest principal quantum number and sum of two.
constexpr int kTopPrincipal = 7;
constexpr int kTopPairPower = 2 * kTopPrincipal;

/// Highest rank L, which two d orbitals have.
constexpr int kTopRank = 4;

/// F_nL(x) for x of 0 and more, L < n <= kTopPairPower, L <= kTopRank. Sums of terms of one
/// sign at every x, so that all digits hold from the centre to far away.
double RadialPotential(int n, int L, double x);

/// Highest power of a screening polynomial.
constexpr int kTopScreening = kTopPairPower + kTopRank - 1;

/// Fills the coefficients, kTopScreening + 1 of them by ascending power, of the polynomial Q in
///
///     F_nL(x) = (n + L)! x^-(L+1) (1 - exp(-x) Q_nL(x)),
///
/// the part of a charge cloud that a point outside does not see as a point multipole. Its degree
/// is n + L - 1; higher coefficients become 0. Below x of about L the difference loses digits.
void FillScreeningPolynomial(int n, int L, double* vCoefficients);

/// n! for n up to 22, exact.
constexpr double ExactFactorial(int n) {
    double d = 1.0;
    for (int k = 2; k <= n; ++k) d *= k;
    return d;
}

/// Whether a Slater orbital can be had: n from 1 to kTopPrincipal and above l of 0 to 2, and an
/// exponent above 0.
constexpr bool IsSlaterOrbital(int n, int l, double dZeta) {
    return n >= 1 && n <= kTopPrincipal && l >= 0 && l <= 2 && l < n && dZeta > 0.0;
}

/// N_a N_b / zeta^n, 1/bohr, of two Slater orbitals by principal quantum number and exponent.
double PairFactor(int nOrbitalA, double dZetaA, int nOrbitalB, double dZetaB);

/// dValue = V_ab at the distance r, bohr, on the z axis, hartree: nuclear attraction of orbitals
/// (n, l, m) and (n, l, m) of one atom. m below 0 is the real orbital with sin(|m| phi), m above 0
/// that with cos(m phi). 0 unless mA equals mB, and for what is no Slater orbital.
void PotentialIntegral(double r, int nOrbitalA, int lA, int mA, double dZetaA, int nOrbitalB,
                       int lB, int mB, double dZetaB, double& dValue);

/// Monomials x^a y^b z^c of rank a + b + c, and where those of a rank begin among all up to
/// kTopRank: by descending a, then descending b.
constexpr int MonomialsOfRank(int nRank) {
    return (nRank + 1) * (nRank + 2) / 2;
}
constexpr int FirstMonomial(int nRank) {
    return nRank * (nRank + 1) * (nRank + 2) / 6;
}
constexpr int kMonomials = FirstMonomial(kTopRank + 1);

/// Index of a monomial among all.
constexpr int MonomialIndex(int nX, int nY, int nZ) {
    const int n = nY + nZ;
    return FirstMonomial(nX + n) + n * (n + 1) / 2 + nZ;
}

/// Adds dWeight times the polynomial of rank L in the vector R,
///
///     R^L <Y_i Y_j P_L(cos gamma)>,
///
/// of the orbitals i and j, 0 to 8, to the coefficients of that rank in vMonomials, which has
/// kMonomials entries.
void AddDirectionPolynomial(int i, int j, int L, double dWeight, double* vMonomials);

}  // namespace qsolve
