#pragma once

#include <cmath>

#include "integrals/nddo_store.h"

/// The point charges by which two atoms with s and p orbitals repel in their local frame
/// (nddo_pair_sp.h). Every pair of charges gives a term 27.211396 q1 q2 / sqrt(x) with
///
///     x = (R + shift)^2 + constant,
///
/// bohr^2, in which shift and constant belong to the two elements. The functions that list the x
/// are templates: of a double they make the x of one distance, of a ChargeShift the shifts and
/// constants of all.

namespace qsolve {

/// x^2.
inline double Square(double x) {
    return x * x;
}

/// R + dShift, bohr, for any R.
struct ChargeShift {
    double dShift = 0.0;
};

/// (R + dShift)^2 + dConstant, bohr^2, for any R.
struct ChargeTerm {
    double dShift = 0.0, dConstant = 0.0;
};

/// Shifted by d, bohr.
constexpr ChargeShift operator+(ChargeShift s, double d) {
    return {s.dShift + d};
}
/// Shifted by -d, bohr.
constexpr ChargeShift operator-(ChargeShift s, double d) {
    return {s.dShift - d};
}
/// With d more, bohr^2.
constexpr ChargeTerm operator+(ChargeTerm t, double d) {
    return {t.dShift, t.dConstant + d};
}
/// Its square, with no constant yet.
constexpr ChargeTerm Square(ChargeShift s) {
    return {s.dShift, 0.0};
}

/// Square of the additive terms of two multipoles.
inline double Additive(double dRhoA, double dRhoB) {
    return Square(dRhoA + dRhoB);
}

// The squares of the distances of the charges of two multipoles, additive terms included. d is the
// place of the positive charge of a dipole; that of B counts down the axis from A, so that its sign
// is turned where A and B change roles. q = 2 D.

constexpr int kWithMonopole = 6, kTwoDipoles = 6, kWithDipole = 12, kTwoQuadrupoles = 26;

/// Those of a dipole and the two quadrupoles along and across the axis with a monopole.
template <class Length, class Term>
void SquaresWithMonopole(Length R, double d, double D, double a1, double a2, Term* v) {
    const double q = 2.0 * D;
    v[0] = Square(R + d) + a1;
    v[1] = Square(R - d) + a1;
    v[2] = Square(R + q) + a2;
    v[3] = Square(R - q) + a2;
    v[4] = Square(R) + Square(q) + a2;
    v[5] = Square(R) + a2;
}

/// Two dipoles along the axis, and two across it.
template <class Length, class Term>
void SquaresOfDipoles(Length R, double dA, double dB, double a, Term* v) {
    v[0] = Square(R + dA - dB) + a;
    v[1] = Square(R - dA + dB) + a;
    v[2] = Square(R + dA + dB) + a;
    v[3] = Square(R - dA - dB) + a;
    v[4] = Square(R) + Square(dA - dB) + a;
    v[5] = Square(R) + Square(dA + dB) + a;
}

/// A quadrupole along, across and skew to the axis with a dipole d of the other atom: along it
/// for the first two, across it for the last.
template <class Length, class Term>
void SquaresWithDipole(Length R, double D, double d, double a, Term* v) {
    const double q = 2.0 * D;
    v[0] = Square(R + q - d) + a;
    v[1] = Square(R - q - d) + a;
    v[2] = Square(R + q + d) + a;
    v[3] = Square(R - q + d) + a;
    v[4] = Square(R - d) + a;
    v[5] = Square(R + d) + a;
    v[6] = Square(R - d) + Square(q) + a;
    v[7] = Square(R + d) + Square(q) + a;
    v[8] = Square(R + D) + Square(D - d) + a;
    v[9] = Square(R - D) + Square(D + d) + a;
    v[10] = Square(R + D) + Square(D + d) + a;
    v[11] = Square(R - D) + Square(D - d) + a;
}

/// Two quadrupoles.
template <class Length, class Term>
void SquaresOfQuadrupoles(Length R, double DA, double DB, double a, Term* v) {
    const double qA = 2.0 * DA, qB = 2.0 * DB;
    const Term rr = Square(R) + a;
    v[0] = Square(R + qA - qB) + a;
    v[1] = Square(R + qA + qB) + a;
    v[2] = Square(R - qA - qB) + a;
    v[3] = Square(R - qA + qB) + a;
    v[4] = Square(R + qA) + a;
    v[5] = Square(R - qA) + a;
    v[6] = Square(R + qB) + a;
    v[7] = Square(R - qB) + a;
    v[8] = rr;
    v[9] = rr + Square(qA);
    v[10] = rr + Square(qB);
    v[11] = v[6] + Square(qA);
    v[12] = v[7] + Square(qA);
    v[13] = v[4] + Square(qB);
    v[14] = v[5] + Square(qB);
    v[15] = rr + Square(qA - qB);
    v[16] = rr + Square(qA + qB);
    v[17] = rr + Square(qA) + Square(qB);
    const double dLess = Square(DA - DB) + a, dMore = Square(DA + DB) + a;
    v[18] = Square(R + DA - DB) + dLess;
    v[19] = Square(R - DA + DB) + dLess;
    v[20] = Square(R + DA + DB) + dMore;
    v[21] = Square(R - DA - DB) + dMore;
    v[22] = Square(R + DA + DB) + dLess;
    v[23] = Square(R - DA - DB) + dLess;
    v[24] = Square(R + DA - DB) + dMore;
    v[25] = Square(R - DA + DB) + dMore;
}

/// Places of the terms in the list of two atoms: that of the monopoles, and where both have p, A's
/// dipole and quadrupoles with B's monopole and the reverse, the dipoles, A's quadrupoles with B's
/// dipole and the reverse, the quadrupoles.
constexpr int kAtA = 1, kAtB = kAtA + kWithMonopole, kAtDipoles = kAtB + kWithMonopole;
constexpr int kAtAQ = kAtDipoles + kTwoDipoles, kAtBQ = kAtAQ + kWithDipole;
constexpr int kAtQuadrupoles = kAtBQ + kWithDipole;
constexpr int kMostTerms = kAtQuadrupoles + kTwoQuadrupoles;

/// Length of the list: 1, 7 or kMostTerms.
inline int TermsOf(const NddoAtom& a, const NddoAtom& b) {
    if (a.HasP() && b.HasP()) return kMostTerms;
    return a.HasP() || b.HasP() ? 1 + kWithMonopole : 1;
}

/// The list of two atoms. r is a distance in bohr, or a ChargeShift.
template <class Length, class Term>
void FillSquares(const NddoAtom& a, const NddoAtom& b, Length r, Term* v) {
    const double dA = a.dDipole, dB = b.dDipole, DA = a.dQuadrupole, DB = b.dQuadrupole;
    v[0] = Square(r) + Additive(a.dRho0, b.dRho0);
    if (a.HasP())
        SquaresWithMonopole(r, dA, DA, Additive(a.dRho1, b.dRho0), Additive(a.dRho2, b.dRho0),
                            v + kAtA);
    if (b.HasP())
        SquaresWithMonopole(r, -dB, DB, Additive(a.dRho0, b.dRho1), Additive(a.dRho0, b.dRho2),
                            v + (a.HasP() ? kAtB : kAtA));
    if (!a.HasP() || !b.HasP()) return;
    SquaresOfDipoles(r, dA, dB, Additive(a.dRho1, b.dRho1), v + kAtDipoles);
    SquaresWithDipole(r, DA, dB, Additive(a.dRho2, b.dRho1), v + kAtAQ);
    SquaresWithDipole(r, DB, -dA, Additive(a.dRho1, b.dRho2), v + kAtBQ);
    SquaresOfQuadrupoles(r, DA, DB, Additive(a.dRho2, b.dRho2), v + kAtQuadrupoles);
}

/// The local integrals of two atoms, in the order of ComputeLocalIntegrals, from the quotients that
/// belong to the terms; their derivatives from those of the quotients.
void SumTerms(bool fPOfA, bool fPOfB, const double* f, double* vRi);

}  // namespace qsolve
