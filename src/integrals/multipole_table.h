#pragma once

/// Two-electron integrals of s, p and d orbitals on two atoms in their local frame, by multipoles
/// of point charges. The products of two orbitals of an atom are replaced by the multipoles that
/// they hold, up to quadrupoles; the multipoles by charges; and charges q1 and q2 at r interact as
///
///     27.211396 q1 q2 / sqrt(r^2 + (rho1 + rho2)^2)
///
/// W. Thiel, A. A. Voityuk, Theor. Chim. Acta 81, 391 (1992). Lengths are in bohr, energies in eV.
/// The local z axis runs from B to A; orbitals and products are numbered as in molecular axes.

namespace qsolve {

/// The multipoles of an atom by the shells whose products hold them, each with an additive term
/// and, but for the monopoles, a separation D of its own. p with p shares the monopole of s with s.
enum Multipole {
    kMonopoleS,
    kMonopoleD,
    kDipoleSp,
    kDipolePd,
    kQuadrupolePp,
    kQuadrupoleSd,
    kQuadrupoleDd,
    kMultipoles
};

/// An atom by its highest shell: 0 for s, 1 for p, 2 for d. It has the products of its orbitals, 1,
/// 10 or 45, and the multipoles of its shells.
constexpr int kHighestKind = 2;

/// Kind of an atom of 1, 4 or 9 orbitals.
constexpr int HighestShellOf(int nOrbitals) {
    return nOrbitals >= 9 ? 2 : nOrbitals >= 4 ? 1 : 0;
}

/// Whether an atom of a kind has a multipole.
constexpr bool HasMultipole(int nKind, Multipole t) {
    if (nKind == 2 || t == kMonopoleS) return true;
    return nKind == 1 && (t == kDipoleSp || t == kQuadrupolePp);
}

/// The charges of an atom's multipoles. Those that it does not have are not looked at.
struct MultipoleTerms {
    int nKind = 0;
    double dSeparation[kMultipoles] = {};
    double dRho[kMultipoles] = {};
};

/// Length of the table of interactions. Two multipoles interact if they are of one order m about
/// the axis, 0, 1 or 2, and the cosine of one never with the sine of another.
constexpr int kInteractions = kMultipoles * kMultipoles * 3;

/// Place of the interaction of multipole nA of A with nB of B, both of order m.
constexpr int InteractionIndex(int nA, int nB, int m) {
    return (nA * kMultipoles + nB) * 3 + m;
}

/// Fills vInteraction, kInteractions, eV, for two atoms at a distance; those of multipoles that an
/// atom lacks become 0. With D the separation, the charges of a multipole are
///
///     monopole             1 at the atom
///     dipole               1/2 at +D, -1/2 at -D, along the axis (m = 0) or across it (1)
///     quadrupole, m = 0    1/4 at +-sqrt(2) D along the axis, -1/8 at +-sqrt(2) D on both axes
///                          across it: the mean over all directions across the axis
///     quadrupole, m = 1    1/4 and -1/4 in turn at the corners of a square of side 2D in the plane
///                          of the axis, with its sides along and across it
///     quadrupole, m = 2    the same across the axis, with the corners on the axes
///
/// Returns false, with zeros, where an additive term is not a positive number, a separation or the
/// distance not a number, or a kind none of the three.
bool ComputeMultipoleInteractions(const MultipoleTerms& a, const MultipoleTerms& b,
                                  double dDistance, double* vInteraction);

/// The derivatives of these interactions with respect to the distance, eV/bohr, in the same places.
/// Fails as they do.
bool ComputeMultipoleDerivatives(const MultipoleTerms& a, const MultipoleTerms& b, double dDistance,
                                 double* vDerivative);

/// Makes the local block of two atoms of the interactions of the multipoles: products of A by
/// products of B. Returns false and writes nothing where a kind is none of the three.
bool ExpandLocalBlock(int nKindA, int nKindB, const double* vInteraction, double* vLocalBlock);

}  // namespace qsolve
