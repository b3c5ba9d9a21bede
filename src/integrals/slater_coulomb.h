#pragma once

/// Repulsion of two spherical Slater charge clouds, hartree. A cloud is the density of an s
/// orbital,
///
///     rho(r) = (2 zeta)^(2n+1) / (4 pi (2n)!) r^(2n-2) exp(-2 zeta r),
///
/// one electron; a p or d shell enters with its own n and zeta and is spherical all the same.
/// C. C. J. Roothaan, J. Chem. Phys. 19, 1445 (1951).

namespace qsolve {

/// Highest principal quantum number of a cloud.
constexpr int kTopCloud = 5;

struct SlaterCloud {
    int nPrincipal = 0;  ///< 1 to kTopCloud
    double dZeta = 0.0;  ///< 1/bohr
};

/// A function of the distance and its derivative, atomic units.
struct RadialValue {
    double dValue = 0.0;
    double dSlope = 0.0;
};

/// Repulsion of two clouds on one nucleus. 0 for a cloud outside the allowed range.
double OneCentreCoulomb(const SlaterCloud& a, const SlaterCloud& b);

/// Repulsion of two clouds dDistance bohr apart, symmetric in them:
///
///     gamma = V_B(R) - 2 pi N_B sum over k < 2 nA of (2nA - k) / (2nA k!) (2 zetaA)^k
///             (R/2)^(k+2nB) E_k,
///     E_k = integral of (x+y)^k (x-y)^(2nB-1) exp(-a x - b y),
///     V_n(R) = (1 - exp(-2 zeta R) sum over k < 2n of (2n - k) / (2n) (2 zeta R)^k / k!) / R,
///
/// with a = (zetaA + zetaB) R, b = (zetaA - zetaB) R: the potential of B's cloud at A, less what
/// the extent of A's cloud takes away. Where the clouds coincide it is the one-centre value. 0 for
/// a cloud outside the allowed range.
double EvaluateSlaterCoulomb(const SlaterCloud& a, const SlaterCloud& b, double dDistance);

/// The same with its derivative with respect to the distance, hartree/bohr, which is 0 where the
/// clouds coincide.
RadialValue EvaluateSlaterCoulombSlope(const SlaterCloud& a, const SlaterCloud& b,
                                       double dDistance);

}  // namespace qsolve
