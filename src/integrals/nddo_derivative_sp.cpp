#include "integrals/nddo_derivative_sp.h"

#include <cmath>

#include "integrals/local_charges.h"
#include "integrals/mindo3.h"
#include "integrals/nddo_pair_sp.h"

namespace qsolve {
namespace {

static_assert(LocalCharges::kRoom >= kMostTerms && LocalCharges::kRoom % kFour == 0);

constexpr int kS = 0, kSigma = 1, kPi = 2, kPiPrime = 3;

/// |e_z| from which the frame is built beside the x axis instead of the z axis.
constexpr double kNearAxis = 0.9;

/// Three axes at right angles, the first along the direction: rows e, y, z'. Unlike FrameOf, which
/// turns with the polar angles, it is as exact near the z axis as elsewhere.
LocalFrame SquareFrameOf(const double* e) {
    LocalFrame f = {{e[0], e[1], e[2]}, {0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}};
    const int k = std::abs(e[2]) < kNearAxis ? 2 : 0;  // the axis that y is at right angles with
    const int i = (k + 1) % 3, j = (k + 2) % 3;
    const double a = std::sqrt(e[i] * e[i] + e[j] * e[j]);
    f.y[i] = -e[j] / a;
    f.y[j] = e[i] / a;
    for (int n = 0; n < 3; ++n) {
        const int n1 = (n + 1) % 3, n2 = (n + 2) % 3;
        f.z[n] = e[n1] * f.y[n2] - e[n2] * f.y[n1];
    }
    return f;
}

// ---- densities in the local frame -------------------------------------------------------------

void TurnRows(const LocalFrame& f, const Square4& m, Square4& t) {
    t.r[kS] = m.r[0];
    t.r[kSigma] = f.e[0] * m.r[1] + f.e[1] * m.r[2] + f.e[2] * m.r[3];
    t.r[kPi] = f.y[0] * m.r[1] + f.y[1] * m.r[2] + f.y[2] * m.r[3];
    t.r[kPiPrime] = f.z[0] * m.r[1] + f.z[1] * m.r[2] + f.z[2] * m.r[3];
}

Square4 Transposed(const Square4& m) {
    Square4 t;
    for (int i = 0; i < kFour; ++i) t.r[i] = Four{m.r[0][i], m.r[1][i], m.r[2][i], m.r[3][i]};
    return t;
}

/// Rows and columns over s, sigma, pi and pi'.
Square4 Turned(const LocalFrame& f, const Square4& m) {
    Square4 half, t;
    TurnRows(f, m, half);
    TurnRows(f, Transposed(half), t);
    return Transposed(t);
}

double Contract(const Square4& a, const Square4& b) {
    return Sum(a.r[0] * b.r[0] + a.r[1] * b.r[1] + a.r[2] * b.r[2] + a.r[3] * b.r[3]);
}

/// To first order in the angle by which sigma is turned towards the orbital nAcross, the change of
/// sum_ij v_ij m_ij where only the rows of m turn.
double TurnOfRows(const Square4& v, const Square4& m, int nAcross) {
    return Sum(v.r[kSigma] * m.r[nAcross] - v.r[nAcross] * m.r[kSigma]);
}

/// The local integrals with A and B in each other's place.
void Exchanged(const double* g, double* h) {
    constexpr int vPlace[kLocalIntegrals] = {0, 4, 10, 11, 1,  5,  6,  12, 13, 14, 2,
                                             3, 7, 8,  9,  15, 17, 16, 18, 19, 20, 21};
    for (int n = 0; n < kLocalIntegrals; ++n) h[n] = g[vPlace[n]];
}

/// v_ij = sum over kl of B of (ij|kl) q_kl for the orbitals ij of A.
Square4 PotentialOf(const double* g, const Square4& q) {
    const double ss = q.r[0][0], sp = 2.0 * q.r[0][1], pp = q.r[1][1];
    const double a = q.r[2][2], b = q.r[3][3], dAcross = a + b;
    const double dSs = g[0] * ss + g[4] * sp + g[10] * pp + g[11] * dAcross;
    const double dSp = g[1] * ss + g[5] * sp + g[12] * pp + g[13] * dAcross;
    const double dPp = g[2] * ss + g[7] * sp + g[15] * pp + g[17] * dAcross;
    const double d = g[3] * ss + g[8] * sp + g[16] * pp;
    const double dAa = d + g[18] * a + g[20] * b, dBb = d + g[20] * a + g[18] * b;
    const double dSa = 2.0 * (g[6] * q.r[0][2] + g[14] * q.r[1][2]);
    const double dSb = 2.0 * (g[6] * q.r[0][3] + g[14] * q.r[1][3]);
    const double dPa = 2.0 * (g[9] * q.r[0][2] + g[19] * q.r[1][2]);
    const double dPb = 2.0 * (g[9] * q.r[0][3] + g[19] * q.r[1][3]);
    const double dAb = 2.0 * g[21] * q.r[2][3];
    return {{Four{dSs, dSp, dSa, dSb}, Four{dSp, dPp, dPa, dPb}, Four{dSa, dPa, dAa, dAb},
             Four{dSb, dPb, dAb, dBb}}};
}

/// k_ik = sum over j of A, l of B of (ij|kl) p_jl, rows of A and columns of B.
Square4 ExchangeOf(const double* g, const Square4& p) {
    const double ss = p.r[0][0], st = p.r[0][1], ts = p.r[1][0], tt = p.r[1][1];
    const double sa = p.r[0][2], ta = p.r[1][2], as = p.r[2][0], at = p.r[2][1];
    const double sb = p.r[0][3], tb = p.r[1][3], bs = p.r[3][0], bt = p.r[3][1];
    const double aa = p.r[2][2], bb = p.r[3][3], ab = p.r[2][3], ba = p.r[3][2];
    const double d = aa + bb, dAcross = g[6] * ss + g[14] * st + g[9] * ts + g[19] * tt;
    return {{Four{g[0] * ss + g[4] * st + g[1] * ts + g[5] * tt + g[6] * d,
                  g[4] * ss + g[10] * st + g[5] * ts + g[12] * tt + g[14] * d,
                  g[11] * sa + g[13] * ta + g[6] * as + g[14] * at,
                  g[11] * sb + g[13] * tb + g[6] * bs + g[14] * bt},
             Four{g[1] * ss + g[5] * st + g[2] * ts + g[7] * tt + g[9] * d,
                  g[5] * ss + g[12] * st + g[7] * ts + g[15] * tt + g[19] * d,
                  g[13] * sa + g[17] * ta + g[9] * as + g[19] * at,
                  g[13] * sb + g[17] * tb + g[9] * bs + g[19] * bt},
             Four{g[3] * as + g[8] * at + g[6] * sa + g[9] * ta,
                  g[8] * as + g[16] * at + g[14] * sa + g[19] * ta,
                  dAcross + g[18] * aa + g[21] * bb, g[20] * ab + g[21] * ba},
             Four{g[3] * bs + g[8] * bt + g[6] * sb + g[9] * tb,
                  g[8] * bs + g[16] * bt + g[14] * sb + g[19] * tb, g[20] * ba + g[21] * ab,
                  dAcross + g[18] * bb + g[21] * aa}}};
}

/// The derivatives along the axes of the local frame.
struct LocalForce {
    double dAlong = 0.0;  ///< with respect to the distance
    double dTurnY = 0.0;  ///< with respect to the angle towards y
    double dTurnZ = 0.0;  ///< towards z'
};

void AddExchange(const double* g, const double* gSlope, const Square4& p, double dWeight,
                 LocalForce& force) {
    const Square4 k = ExchangeOf(g, p), kT = Transposed(k), pT = Transposed(p);
    force.dAlong -= dWeight * Contract(ExchangeOf(gSlope, p), p);
    force.dTurnY -= 2.0 * dWeight * (TurnOfRows(k, p, kPi) + TurnOfRows(kT, pT, kPi));
    force.dTurnZ -= 2.0 * dWeight * (TurnOfRows(k, p, kPiPrime) + TurnOfRows(kT, pT, kPiPrime));
}

void ContractSpSp(const LocalFrame& frame, double R, const double* g, const double* gSlope,
                  const PairDensity& density, double* v) {
    const Square4 a = Turned(frame, *density.pA), b = Turned(frame, *density.pB);
    double gExchanged[kLocalIntegrals];
    Exchanged(g, gExchanged);
    const Square4 vA = PotentialOf(g, b), vB = PotentialOf(gExchanged, a);
    LocalForce force;
    force.dAlong = Contract(PotentialOf(gSlope, b), a);
    force.dTurnY = 2.0 * (TurnOfRows(vA, a, kPi) + TurnOfRows(vB, b, kPi));
    force.dTurnZ = 2.0 * (TurnOfRows(vA, a, kPiPrime) + TurnOfRows(vB, b, kPiPrime));
    for (int n = 0; n < density.nSpins; ++n)
        AddExchange(g, gSlope, Turned(frame, density.mSpin[n]), density.dExchange, force);
    for (int k = 0; k < 3; ++k)
        v[k] =
            force.dAlong * frame.e[k] + (force.dTurnY * frame.y[k] + force.dTurnZ * frame.z[k]) / R;
}

// ---- an atom with p and one without ------------------------------------------------------------

/// The density that the atom with p shows to the monopole of the other.
void TakeMonopoleDensity(bool fPOfA, const PairDensity& density, double m[kFour][kFour]) {
    const Square4& q = fPOfA ? *density.pA : *density.pB;
    const double dMonopole = fPOfA ? density.pB->r[0][0] : density.pA->r[0][0];
    for (int i = 0; i < kFour; ++i)
        for (int j = 0; j < kFour; ++j) m[i][j] = dMonopole * q.r[i][j];
    for (int n = 0; n < density.nSpins; ++n) {
        double p[kFour];
        for (int i = 0; i < kFour; ++i)
            p[i] = fPOfA ? density.mSpin[n].r[i][0] : density.mSpin[n].r[0][i];
        for (int i = 0; i < kFour; ++i)
            for (int j = 0; j < kFour; ++j) m[i][j] -= density.dExchange * p[i] * p[j];
    }
}

/// The derivative of sum_ij m_ij (ij|ss), where with the unit vector e
///     (ss|ss) = g0,  (p_i s|ss) = g1 e_i,  (p_i p_j|ss) = g2 e_i e_j + g3 (delta_ij - e_i e_j),
/// and de_i/dx_j = (delta_ij - e_i e_j) / R.
void ContractWithMonopole(const double m[kFour][kFour], const double* e, double R, const double* g,
                          const double* gSlope, double* v) {
    double vAcross[3], dSp = 0.0, dPp = 0.0, dTrace = 0.0, dInward = 0.0;
    for (int i = 0; i < 3; ++i) {
        const double* mI = m[i + 1];
        const double dMe = mI[1] * e[0] + mI[2] * e[1] + mI[3] * e[2];
        dSp += mI[0] * e[i];
        dPp += dMe * e[i];
        dTrace += mI[i + 1];
        vAcross[i] = 2.0 * (g[1] * mI[0] + (g[2] - g[3]) * dMe);
        dInward += vAcross[i] * e[i];
    }
    const double dAlong = gSlope[0] * m[0][0] + 2.0 * gSlope[1] * dSp +
                          (gSlope[2] - gSlope[3]) * dPp + gSlope[3] * dTrace;
    for (int i = 0; i < 3; ++i) v[i] = dAlong * e[i] + (vAcross[i] - dInward * e[i]) / R;
}

void ContractSpS(bool fPOfA, const PairGeometry& geometry, const double* g, const double* gSlope,
                 const PairDensity& density, double* v) {
    double m[kFour][kFour];
    TakeMonopoleDensity(fPOfA, density, m);
    if (fPOfA) {
        ContractWithMonopole(m, geometry.vDirection, geometry.dDistance, g, gSlope, v);
        return;
    }
    const double vOfB[] = {g[0], g[4], g[10], g[11]};
    const double vSlopeOfB[] = {gSlope[0], gSlope[4], gSlope[10], gSlope[11]};
    ContractWithMonopole(m, geometry.vDirection, geometry.dDistance, vOfB, vSlopeOfB, v);
}

}  // namespace

void MakeLocalCharges(const NddoAtom& a, const NddoAtom& b, LocalCharges& charges) {
    ChargeTerm vTerms[kMostTerms];
    FillSquares(a, b, ChargeShift{}, vTerms);
    const int nTerms = TermsOf(a, b);
    charges.fPOfA = a.HasP();
    charges.fPOfB = b.HasP();
    charges.nTerms = (nTerms + kFour - 1) / kFour * kFour;
    for (int n = 0; n < charges.nTerms; ++n) {
        charges.vShift[n] = n < nTerms ? vTerms[n].dShift : 0.0;
        charges.vConstant[n] = n < nTerms ? vTerms[n].dConstant : 1.0;
    }
}

void ComputeLocalDerivatives(const LocalCharges& charges, double dDistance, double* vRi,
                             double* vRiDerivative) {
    const double r = dDistance * kBohrPerAngstrom;
    double f[LocalCharges::kRoom], fSlope[LocalCharges::kRoom];
    for (int n = 0; n < charges.nTerms; ++n) {
        const double x = r + charges.vShift[n], y = x * x + charges.vConstant[n];
        const double dInverse = 1.0 / (y > 0.0 ? y : 1.0);
        f[n] = y > 0.0 ? kElectronVoltBohr * std::sqrt(dInverse) : 0.0;
        fSlope[n] = -kBohrPerAngstrom * x * f[n] * dInverse;
    }
    SumTerms(charges.fPOfA, charges.fPOfB, f, vRi);
    SumTerms(charges.fPOfA, charges.fPOfB, fSlope, vRiDerivative);
}

void ComputePairDerivativesSp(const LocalCharges& charges, const PairGeometry& geometry,
                              const PairDensity& density, PairDerivative& derivative) {
    double g[kLocalIntegrals], gSlope[kLocalIntegrals];
    ComputeLocalDerivatives(charges, geometry.dDistance, g, gSlope);
    derivative.dSs = g[0];
    derivative.dSsDerivative = gSlope[0];
    if (charges.fPOfA && charges.fPOfB) {
        ContractSpSp(SquareFrameOf(geometry.vDirection), geometry.dDistance, g, gSlope, density,
                     derivative.vOfA);
        return;
    }
    if (charges.fPOfA || charges.fPOfB) {
        ContractSpS(charges.fPOfA, geometry, g, gSlope, density, derivative.vOfA);
        return;
    }
    double dDensity = density.pA->r[0][0] * density.pB->r[0][0];
    for (int n = 0; n < density.nSpins; ++n)
        dDensity -= density.dExchange * Square(density.mSpin[n].r[0][0]);
    for (int k = 0; k < 3; ++k) derivative.vOfA[k] = dDensity * gSlope[0] * geometry.vDirection[k];
}

void ComputePairDerivativesMindo(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                                 const PairDensity& density, PairDerivative& derivative) {
    const double R = geometry.dDistance;
    derivative.dSs = MindoCoulomb(a, b, R);
    derivative.dSsDerivative = MindoCoulombSlope(derivative.dSs, R);
    double dDensity = density.pA->r[0][0] * density.pB->r[0][0];
    for (int n = 0; n < density.nSpins; ++n)
        dDensity -= density.dExchange * Contract(density.mSpin[n], density.mSpin[n]);
    for (int k = 0; k < 3; ++k)
        derivative.vOfA[k] = dDensity * derivative.dSsDerivative * geometry.vDirection[k];
}

}  // namespace qsolve
