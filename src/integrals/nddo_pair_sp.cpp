#include "integrals/nddo_pair_sp.h"

#include <cmath>

#include "integrals/mindo3.h"
#include "integrals/nddo_core_core.h"
#include "integrals/overlap_matrix.h"
#include "link/state.h"

namespace qsolve {
namespace {

/// What a unit vector on the z axis may have across it.
constexpr double kOnAxis = 1e-12;

constexpr int kProducts = 10;  ///< of s and p

double Square(double x) {
    return x * x;
}

/// Square of the additive terms of two multipoles.
double Additive(double dRhoA, double dRhoB) {
    return Square(dRhoA + dRhoB);
}

/// v[i] becomes 27.211396 / sqrt(v[i]), and 0 for a radicand of 0 or less.
void TakeQuotients(int n, double* v) {
    for (int i = 0; i < n; ++i) {
        const double x = v[i] > 0.0 ? v[i] : 1.0;
        v[i] = v[i] > 0.0 ? kElectronVoltBohr / std::sqrt(x) : 0.0;
    }
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

void SquaresWithMonopole(double R, double d, double D, double a1, double a2, double* v) {
    const double q = 2.0 * D;
    v[0] = Square(R + d) + a1;
    v[1] = Square(R - d) + a1;
    v[2] = Square(R + q) + a2;
    v[3] = Square(R - q) + a2;
    v[4] = Square(R) + Square(q) + a2;
    v[5] = Square(R) + a2;
}

WithMonopole SumWithMonopole(const double* f) {
    return {0.5 * (f[0] - f[1]), 0.25 * (f[2] + f[3]) - 0.5 * f[5], 0.5 * (f[4] - f[5])};
}

/// Two dipoles along the axis, and two across it.
constexpr int kTwoDipoles = 6;
struct TwoDipoles {
    double dAlong, dAcross;
};

void SquaresOfDipoles(double R, double dA, double dB, double a, double* v) {
    v[0] = Square(R + dA - dB) + a;
    v[1] = Square(R - dA + dB) + a;
    v[2] = Square(R + dA + dB) + a;
    v[3] = Square(R - dA - dB) + a;
    v[4] = Square(R) + Square(dA - dB) + a;
    v[5] = Square(R) + Square(dA + dB) + a;
}

TwoDipoles SumOfDipoles(const double* f) {
    return {0.25 * (f[0] + f[1] - f[2] - f[3]), 0.5 * (f[4] - f[5])};
}

/// A quadrupole along, across and skew to the axis with a dipole d of the other atom: along it
/// for the first two, across it for the last.
constexpr int kWithDipole = 12;
struct WithDipole {
    double dAlong, dAcross, dSkew;
};

void SquaresWithDipole(double R, double D, double d, double a, double* v) {
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

WithDipole SumWithDipole(const double* f) {
    const double dCentre = 0.25 * (f[4] - f[5]);
    return {0.125 * (f[0] + f[1] - f[2] - f[3]) - dCentre, 0.25 * (f[6] - f[7]) - dCentre,
            0.25 * (f[8] + f[9] - f[10] - f[11])};
}

/// Two quadrupoles, A's before B's; dOther is for two across the axis and one another.
constexpr int kTwoQuadrupoles = 26;
struct TwoQuadrupoles {
    double dAlongAlong, dAcrossAlong, dAlongAcross, dAcrossAcross, dOther, dSkewSkew;
};

void SquaresOfQuadrupoles(double R, double DA, double DB, double a, double* v) {
    const double qA = 2.0 * DA, qB = 2.0 * DB, rr = Square(R) + a;
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

TwoQuadrupoles SumOfQuadrupoles(const double* f) {
    const double dA = 0.125 * (f[4] + f[5]), dB = 0.125 * (f[6] + f[7]), dCentre = 0.25 * f[8];
    const double dAcrossA = 0.25 * f[9], dAcrossB = 0.25 * f[10];
    return {0.0625 * (f[0] + f[1] + f[2] + f[3]) - dA - dB + dCentre,
            0.125 * (f[11] + f[12]) - dAcrossA - dB + dCentre,
            0.125 * (f[13] + f[14]) - dAcrossB - dA + dCentre,
            0.125 * (f[15] + f[16]) - dAcrossA - dAcrossB + dCentre,
            0.25 * f[17] - dAcrossA - dAcrossB + dCentre,
            0.125 * (f[18] + f[19] + f[20] + f[21] - f[22] - f[23] - f[24] - f[25])};
}

double SsOf(const NddoAtom& a, const NddoAtom& b, double r) {
    double dSs = Square(r) + Additive(a.dRho0, b.dRho0);
    TakeQuotients(1, &dSs);
    return dSs;
}

/// The integrals of two atoms with p, r in bohr.
void LocalIntegralsSpSp(const NddoAtom& a, const NddoAtom& b, double r, double* vRi) {
    constexpr int kA = 1, kB = kA + kWithMonopole, kDipoles = kB + kWithMonopole;
    constexpr int kAQ = kDipoles + kTwoDipoles, kBQ = kAQ + kWithDipole, kQ = kBQ + kWithDipole;
    double v[kQ + kTwoQuadrupoles];
    const double dA = a.dDipole, dB = b.dDipole, DA = a.dQuadrupole, DB = b.dQuadrupole;
    v[0] = Square(r) + Additive(a.dRho0, b.dRho0);
    SquaresWithMonopole(r, dA, DA, Additive(a.dRho1, b.dRho0), Additive(a.dRho2, b.dRho0), v + kA);
    SquaresWithMonopole(r, -dB, DB, Additive(a.dRho0, b.dRho1), Additive(a.dRho0, b.dRho2), v + kB);
    SquaresOfDipoles(r, dA, dB, Additive(a.dRho1, b.dRho1), v + kDipoles);
    SquaresWithDipole(r, DA, dB, Additive(a.dRho2, b.dRho1), v + kAQ);
    SquaresWithDipole(r, DB, -dA, Additive(a.dRho1, b.dRho2), v + kBQ);
    SquaresOfQuadrupoles(r, DA, DB, Additive(a.dRho2, b.dRho2), v + kQ);
    TakeQuotients(kQ + kTwoQuadrupoles, v);

    const double dSs = v[0];
    const WithMonopole am = SumWithMonopole(v + kA), bm = SumWithMonopole(v + kB);
    const TwoDipoles dd = SumOfDipoles(v + kDipoles);
    const WithDipole aq = SumWithDipole(v + kAQ), bq = SumWithDipole(v + kBQ);
    const TwoQuadrupoles qq = SumOfQuadrupoles(v + kQ);
    vRi[0] = dSs;
    vRi[1] = am.dDipole;
    vRi[2] = dSs + am.dAlong;
    vRi[3] = dSs + am.dAcross;
    vRi[4] = bm.dDipole;
    vRi[5] = dd.dAlong;
    vRi[6] = dd.dAcross;
    vRi[7] = bm.dDipole + aq.dAlong;
    vRi[8] = bm.dDipole + aq.dAcross;
    vRi[9] = aq.dSkew;
    vRi[10] = dSs + bm.dAlong;
    vRi[11] = dSs + bm.dAcross;
    vRi[12] = am.dDipole + bq.dAlong;
    vRi[13] = am.dDipole + bq.dAcross;
    vRi[14] = bq.dSkew;
    vRi[15] = dSs + am.dAlong + bm.dAlong + qq.dAlongAlong;
    vRi[16] = dSs + am.dAcross + bm.dAlong + qq.dAcrossAlong;
    vRi[17] = dSs + am.dAlong + bm.dAcross + qq.dAlongAcross;
    vRi[18] = dSs + am.dAcross + bm.dAcross + qq.dAcrossAcross;
    vRi[19] = qq.dSkewSkew;
    vRi[20] = dSs + am.dAcross + bm.dAcross + qq.dOther;
    vRi[21] = 0.5 * (vRi[18] - vRi[20]);
}

/// The expansion of the products of s and p in molecular axes over those in the local frame,
/// m[local][molecular]; local products in the same order with sigma, pi and pi' for x, y and z.
struct ProductRotation {
    double m[kProducts][kProducts];
};

enum LocalProduct { kSS, kPs, kPP, kQs, kQP, kQQ, kTs, kTP, kTQ, kTT };

ProductRotation RotationOf(const LocalFrame& f) {
    ProductRotation t = {};
    t.m[kSS][0] = 1.0;
    for (int i = 0; i < 3; ++i) {
        const int nS = ProductNumber(i + 1, 0);
        t.m[kPs][nS] = f.e[i];
        t.m[kQs][nS] = f.y[i];
        t.m[kTs][nS] = f.z[i];
        for (int j = 0; j <= i; ++j) {
            const int n = ProductNumber(i + 1, j + 1);
            t.m[kPP][n] = f.e[i] * f.e[j];
            t.m[kQQ][n] = f.y[i] * f.y[j];
            t.m[kTT][n] = f.z[i] * f.z[j];
            t.m[kQP][n] = f.e[i] * f.y[j] + f.y[i] * f.e[j];
            t.m[kTP][n] = f.e[i] * f.z[j] + f.z[i] * f.e[j];
            t.m[kTQ][n] = f.y[i] * f.z[j] + f.z[i] * f.y[j];
        }
    }
    return t;
}

/// The block with the products of A in the local frame and those of B in molecular axes.
void RotateColumns(const ProductRotation& t, const double* g, double half[kProducts][kProducts]) {
    for (int n = 0; n < kProducts; ++n) {
        const double s = t.m[kSS][n], ps = t.m[kPs][n], pp = t.m[kPP][n];
        const double qq = t.m[kQQ][n], tt = t.m[kTT][n], dAcross = qq + tt;
        half[kSS][n] = g[0] * s + g[4] * ps + g[10] * pp + g[11] * dAcross;
        half[kPs][n] = g[1] * s + g[5] * ps + g[12] * pp + g[13] * dAcross;
        half[kPP][n] = g[2] * s + g[7] * ps + g[15] * pp + g[17] * dAcross;
        half[kQQ][n] = g[3] * s + g[8] * ps + g[16] * pp + g[18] * qq + g[20] * tt;
        half[kTT][n] = g[3] * s + g[8] * ps + g[16] * pp + g[20] * qq + g[18] * tt;
        half[kQs][n] = g[6] * t.m[kQs][n] + g[14] * t.m[kQP][n];
        half[kTs][n] = g[6] * t.m[kTs][n] + g[14] * t.m[kTP][n];
        half[kQP][n] = g[9] * t.m[kQs][n] + g[19] * t.m[kQP][n];
        half[kTP][n] = g[9] * t.m[kTs][n] + g[19] * t.m[kTP][n];
        half[kTQ][n] = g[21] * t.m[kTQ][n];
    }
}

/// Row of a molecular product in the block: the sum of the local rows with its coefficients.
void SumRows(const ProductRotation& t, const double half[kProducts][kProducts], int nProduct,
             const int* vLocal, int nLocal, double* pRow) {
    double v[kProducts] = {};
    for (int k = 0; k < nLocal; ++k) {
        const double c = t.m[vLocal[k]][nProduct];
        const double* h = half[vLocal[k]];
        for (int n = 0; n < kProducts; ++n) v[n] += c * h[n];
    }
    for (int n = 0; n < kProducts; ++n) pRow[n] = v[n];
}

void RotateBlockSpSp(const LocalFrame& frame, const double* vRi, double* pBlock) {
    constexpr int vOfSs[] = {kSS};
    constexpr int vOfPs[] = {kPs, kQs, kTs};
    constexpr int vOfPp[] = {kPP, kQP, kQQ, kTP, kTQ, kTT};
    const ProductRotation t = RotationOf(frame);
    double half[kProducts][kProducts];
    RotateColumns(t, vRi, half);
    SumRows(t, half, 0, vOfSs, 1, pBlock);
    for (int i = 1; i <= 3; ++i) {
        const int nS = ProductNumber(i, 0);
        SumRows(t, half, nS, vOfPs, 3, pBlock + kProducts * nS);
        for (int j = 1; j <= i; ++j) {
            const int n = ProductNumber(i, j);
            SumRows(t, half, n, vOfPp, 6, pBlock + kProducts * n);
        }
    }
}

void ComputePairMindo(const NddoAtom& a, const NddoAtom& b, double R, double* pBlock,
                      PairTerms& terms) {
    const double dGamma = MindoCoulomb(a, b, R);
    *pBlock = dGamma;
    for (int n = 0; n < ProductsOf(a.Listed.nOrbitals); ++n) terms.vE1b[n] = 0.0;
    for (int n = 0; n < ProductsOf(b.Listed.nOrbitals); ++n) terms.vE2a[n] = 0.0;
    for (int i = 0; i < a.Listed.nOrbitals; ++i)
        terms.vE1b[ProductNumber(i, i)] = -b.dCore * dGamma;
    for (int i = 0; i < b.Listed.nOrbitals; ++i)
        terms.vE2a[ProductNumber(i, i)] = -a.dCore * dGamma;
    terms.dPairEnergy = MindoCoreCore(a, b, R, dGamma);
}

}  // namespace

void ComputeLocalIntegrals(const NddoAtom& a, const NddoAtom& b, double dDistance, double* vRi) {
    const double r = dDistance * kBohrPerAngstrom;
    if (a.HasP() && b.HasP()) {
        LocalIntegralsSpSp(a, b, r, vRi);
        return;
    }
    vRi[0] = SsOf(a, b, r);
    if (!a.HasP() && !b.HasP()) return;
    const NddoAtom& p = a.HasP() ? a : b;
    const NddoAtom& s = a.HasP() ? b : a;
    double v[kWithMonopole];
    SquaresWithMonopole(r, a.HasP() ? p.dDipole : -p.dDipole, p.dQuadrupole,
                        Additive(p.dRho1, s.dRho0), Additive(p.dRho2, s.dRho0), v);
    TakeQuotients(kWithMonopole, v);
    const WithMonopole m = SumWithMonopole(v);
    vRi[a.HasP() ? 1 : 4] = m.dDipole;
    vRi[a.HasP() ? 2 : 10] = vRi[0] + m.dAlong;
    vRi[a.HasP() ? 3 : 11] = vRi[0] + m.dAcross;
}

LocalFrame FrameOf(const double* vDirection) {
    LocalFrame f = {
        {vDirection[0], vDirection[1], vDirection[2]}, {0.0, 1.0, 0.0}, {1.0, 0.0, 0.0}};
    const double a = std::sqrt(f.e[0] * f.e[0] + f.e[1] * f.e[1]);
    if (a < kOnAxis) {
        f.e[2] = f.e[2] < 0.0 ? -1.0 : 1.0;
        return f;
    }
    const double dSign = f.e[0] < 0.0 ? -1.0 : 1.0;
    f.y[0] = -f.e[1] * dSign / a;
    f.y[1] = std::abs(f.e[0]) / a;
    f.z[0] = -f.e[0] * f.e[2] / a;
    f.z[1] = -f.e[1] * f.e[2] / a;
    f.z[2] = a;
    return f;
}

void RotateWithMonopole(const LocalFrame& f, const double* vRi, double* pBlock) {
    pBlock[0] = vRi[0];
    for (int i = 0; i < 3; ++i) {
        pBlock[ProductNumber(i + 1, 0)] = vRi[1] * f.e[i];
        for (int j = 0; j <= i; ++j)
            pBlock[ProductNumber(i + 1, j + 1)] =
                vRi[2] * f.e[i] * f.e[j] + vRi[3] * (f.y[i] * f.y[j] + f.z[i] * f.z[j]);
    }
}

void ComputePairSp(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                   double* pBlock, PairTerms& terms) {
    const double R = geometry.dDistance;
    if (system.MethodId == kMindo3) {
        ComputePairMindo(a, b, R, pBlock, terms);
        return;
    }
    double g[kLocalIntegrals];
    ComputeLocalIntegrals(a, b, R, g);
    const bool fP = a.HasP() || b.HasP();
    const LocalFrame frame = fP ? FrameOf(geometry.vDirection) : LocalFrame{};
    if (a.HasP() && b.HasP())
        RotateBlockSpSp(frame, g, pBlock);
    else if (a.HasP())
        RotateWithMonopole(frame, g, pBlock);
    else if (b.HasP()) {
        const double vOfB[] = {g[0], g[4], g[10], g[11]};
        RotateWithMonopole(frame, vOfB, pBlock);
    } else
        pBlock[0] = g[0];
    for (int m = 0; m < a.nProducts; ++m) terms.vE1b[m] = -b.dCore * pBlock[m * b.nProducts];
    for (int n = 0; n < b.nProducts; ++n) terms.vE2a[n] = -a.dCore * pBlock[n];
    terms.dPairEnergy = NddoCoreCore(a, b, R, g[0]);
}

}  // namespace qsolve
