#include "integrals/local_charges.h"

namespace qsolve {
namespace {

// What the quotients of two multipoles sum up to.

/// A dipole and the two quadrupoles along and across the axis, with a monopole.
struct WithMonopole {
    double dDipole, dAlong, dAcross;
};

WithMonopole SumWithMonopole(const double* f) {
    return {0.5 * (f[0] - f[1]), 0.25 * (f[2] + f[3]) - 0.5 * f[5], 0.5 * (f[4] - f[5])};
}

/// Two dipoles along the axis, and two across it.
struct TwoDipoles {
    double dAlong, dAcross;
};

TwoDipoles SumOfDipoles(const double* f) {
    return {0.25 * (f[0] + f[1] - f[2] - f[3]), 0.5 * (f[4] - f[5])};
}

/// A quadrupole along, across and skew to the axis with a dipole.
struct WithDipole {
    double dAlong, dAcross, dSkew;
};

WithDipole SumWithDipole(const double* f) {
    const double dCentre = 0.25 * (f[4] - f[5]);
    return {0.125 * (f[0] + f[1] - f[2] - f[3]) - dCentre, 0.25 * (f[6] - f[7]) - dCentre,
            0.25 * (f[8] + f[9] - f[10] - f[11])};
}

/// Two quadrupoles, A's before B's; dOther is for two across the axis and one another.
struct TwoQuadrupoles {
    double dAlongAlong, dAcrossAlong, dAlongAcross, dAcrossAcross, dOther, dSkewSkew;
};

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

void SumSpSp(const double* f, double* vRi) {
    const double dSs = f[0];
    const WithMonopole am = SumWithMonopole(f + kAtA), bm = SumWithMonopole(f + kAtB);
    const TwoDipoles dd = SumOfDipoles(f + kAtDipoles);
    const WithDipole aq = SumWithDipole(f + kAtAQ), bq = SumWithDipole(f + kAtBQ);
    const TwoQuadrupoles qq = SumOfQuadrupoles(f + kAtQuadrupoles);
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

}  // namespace

void SumTerms(bool fPOfA, bool fPOfB, const double* f, double* vRi) {
    if (fPOfA && fPOfB) {
        SumSpSp(f, vRi);
        return;
    }
    vRi[0] = f[0];
    if (!fPOfA && !fPOfB) return;
    const WithMonopole m = SumWithMonopole(f + kAtA);
    vRi[fPOfA ? 1 : 4] = m.dDipole;
    vRi[fPOfA ? 2 : 10] = f[0] + m.dAlong;
    vRi[fPOfA ? 3 : 11] = f[0] + m.dAcross;
}

}  // namespace qsolve
