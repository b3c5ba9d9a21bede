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

constexpr ChargeShift operator+(ChargeShift s, double d) {
    return {s.dShift + d};
}
constexpr ChargeShift operator-(ChargeShift s, double d) {
    return {s.dShift - d};
}
constexpr ChargeTerm operator+(ChargeTerm t, double d) {
    return {t.dShift, t.dConstant + d};
}
constexpr ChargeTerm Square(ChargeShift s) {
    return {s.dShift, 0.0};
}

/// Square of the additive terms of two multipoles.
inline double Additive(double dRhoA, double dRhoB) {
    return Square(dRhoA + dRhoB);
}

// The interactions of two multipoles come in pairs of functions: the first writes the squares of
// the distances of the charges, additive terms included, the second sums the quotients made of
// them. d is the place of the positive charge of a dipole; that of B counts down the axis from A,
// so that its sign is turned where A and B change roles. q = 2 D.

/// A dipole and the two quadrupoles along and across the axis, with a monopole.
constexpr int kWithMonopole = 6;
struct WithMonopole {
    double dDipole, dAlong, dAcross;
};

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

inline WithMonopole SumWithMonopole(const double* f) {
    return {0.5 * (f[0] - f[1]), 0.25 * (f[2] + f[3]) - 0.5 * f[5], 0.5 * (f[4] - f[5])};
}

/// Two dipoles along the axis, and two across it.
constexpr int kTwoDipoles = 6;
struct TwoDipoles {
    double dAlong, dAcross;
};

template <class Length, class Term>
void SquaresOfDipoles(Length R, double dA, double dB, double a, Term* v) {
    v[0] = Square(R + dA - dB) + a;
    v[1] = Square(R - dA + dB) + a;
    v[2] = Square(R + dA + dB) + a;
    v[3] = Square(R - dA - dB) + a;
    v[4] = Square(R) + Square(dA - dB) + a;
    v[5] = Square(R) + Square(dA + dB) + a;
}

inline TwoDipoles SumOfDipoles(const double* f) {
    return {0.25 * (f[0] + f[1] - f[2] - f[3]), 0.5 * (f[4] - f[5])};
}

/// A quadrupole along, across and skew to the axis with a dipole d of the other atom: along it
/// for the first two, across it for the last.
constexpr int kWithDipole = 12;
struct WithDipole {
    double dAlong, dAcross, dSkew;
};

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

inline WithDipole SumWithDipole(const double* f) {
    const double dCentre = 0.25 * (f[4] - f[5]);
    return {0.125 * (f[0] + f[1] - f[2] - f[3]) - dCentre, 0.25 * (f[6] - f[7]) - dCentre,
            0.25 * (f[8] + f[9] - f[10] - f[11])};
}

/// Two quadrupoles, A's before B's; dOther is for two across the axis and one another.
constexpr int kTwoQuadrupoles = 26;
struct TwoQuadrupoles {
    double dAlongAlong, dAcrossAlong, dAlongAcross, dAcrossAcross, dOther, dSkewSkew;
};

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

inline TwoQuadrupoles SumOfQuadrupoles(const double* f) {
    const double dA = 0.125 * (f[4] + f[5]), dB = 0.125 * (f[6] + f[7]), dCentre = 0.25 * f[8];
    const double dAcrossA = 0.25 * f[9], dAcrossB = 0.25 * f[10];
    return {0.0625 * (f[0] + f[1] + f[2] + f[3]) - dA - dB + dCentre,
            0.125 * (f[11] + f[12]) - dAcrossA - dB + dCentre,
            0.125 * (f[13] + f[14]) - dAcrossB - dA + dCentre,
            0.125 * (f[15] + f[16]) - dAcrossA - dAcrossB + dCentre,
            0.25 * f[17] - dAcrossA - dAcrossB + dCentre,
            0.125 * (f[18] + f[19] + f[20] + f[21] - f[22] - f[23] - f[24] - f[25])};
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
