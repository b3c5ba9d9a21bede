#pragma once

/// Overlap of two Slater orbitals in the local frame of their two centres. Distances in bohr,
/// exponents in 1/bohr. A Slater orbital is N r^(n-1) exp(-zeta r) Y(l, m) with a real spherical
/// harmonic and N = (2 zeta)^n sqrt(2 zeta / (2n)!).

namespace qsolve {

/// One Slater shell.
struct SlaterFunction {
    int nPrincipal = 0;    ///< principal quantum number, 1 to 7
    int nAngular = 0;      ///< 0 s, 1 p, 2 d; below nPrincipal
    double dZeta = 0.0;    ///< exponent, 1/bohr
    double dFactor = 0.0;  ///< zeta^(n + 1/2) sqrt((2l + 1) / (2n)!)
};

/// A shell with its factor. An exponent that is not above 0, or a principal quantum number outside
/// 1 to 7 or not above nAngular, gives factor 0, so that all its integrals are 0.
SlaterFunction MakeSlaterFunction(int nPrincipal, int nAngular, double dZeta);

/// Which index the auxiliary integrals of a pair are filled to. It decides where the B integrals
/// come from the exact recursion and where from a truncated series.
enum class AuxiliaryRange {
    kNeeded,  ///< nA + nB, the highest that any shell of the pair reads
    kFull,    ///< kTopAuxiliary
};

/// Overlap integral for |m| = nM, by
///
///     S = f_A f_B R^(nA+nB+1) / 2^(m+1) sum over i, j of T_i(la) T_j(lb) D_ij
///     D_ij = the integral over x, y of (x+y)^I (x-y)^J (1+xy)^La (1-xy)^Lb ((x^2-1)(1-y^2))^m
///            exp(-p x - q y),
///     I = nA - la + i, La = la - m - i, J and Lb alike,
///     p = (zetaA + zetaB) R / 2, q = (zetaA - zetaB) R / 2,
///
/// expanded into products of auxiliary integrals. The z axis of each centre points at the other
/// one; with one common axis from A to B the overlap is (-1)^(lb + m) times this. 0 where p is too
/// small or too large for the auxiliary integrals.
double ComputeLocalOverlap(const SlaterFunction& a, const SlaterFunction& b, int nM,
                           double dDistance, AuxiliaryRange range);

/// The integrals of one pair of shells for m = 0, 1, 2, those above the smaller l being 0, and
/// their derivatives with respect to the distance.
struct ShellPairOverlap {
    double dValue[3] = {};
    double dSlope[3] = {};  ///< stays 0 where only values are asked for
};

/// Auxiliary integrals of one pair of exponents at one distance, kept from one shell pair to the
/// next, since shells mostly share their exponents.
struct PairAuxiliaries {
    double dDistance = 0.0;
    int nTop = 0;                         ///< index that decides how B is computed
    bool fSlope = false;                  ///< derivatives are wanted
    double dZetaA = -1.0, dZetaB = -1.0;  ///< exponents of the arrays below
    bool fNone = true;                    ///< all integrals vanish
    double vA[20], vB[20];                ///< A_k(p), B_k(q)
    double vSlopeA[20], vSlopeB[20];      ///< their derivatives with respect to the distance
};

/// Overlaps of one pair of shells. auxiliaries holds distance, nTop and fSlope; its arrays are
/// filled here when the exponents have changed.
ShellPairOverlap OverlapShells(const SlaterFunction& a, const SlaterFunction& b,
                               PairAuxiliaries& auxiliaries);

}  // namespace qsolve
