#include "integrals/local_charges.h"

namespace qsolve {
namespace {

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
