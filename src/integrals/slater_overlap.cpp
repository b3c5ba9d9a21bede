#include "integrals/slater_overlap.h"

#include <algorithm>
#include <cmath>

#include "integrals/ab_integrals.h"
#include "integrals/power_product.h"

namespace qsolve {
namespace {

/// Beyond this mean exponent times distance exp(-p) times the B integrals loses all meaning; the
/// true overlap is below 1e-300.
constexpr double kLargestMeanArgument = 700.0;

constexpr int kHighestShell = 7;

/// T(i, m, l): coefficient of cos^(l-m-i) in the angular function of l and m, over the factor
/// sqrt((2l + 1) / 4 pi) (and sqrt 2 sin^m for m above 0) that stands outside. The square roots are
/// these rounded numbers.
constexpr double AngularCoefficient(int i, int m, int l) {
    if (i == 2) return m == 0 && l == 2 ? -0.5 : 0.0;
    if (l < 2) return 1.0;
    return m == 0 ? 1.5 : m == 1 ? 1.73205 : 1.224745;
}

/// Sum over x^i y^j terms of (x+y)^I (x-y)^J (1+xy)^La (1-xy)^Lb, x^k replaced by vX[k] and y^k by
/// vY[k].
template <int La, int Lb>
double PolynomialSum(int I, int J, const double* vX, const double* vY) {
    const auto& h = kPowerProduct[static_cast<std::size_t>(I)][static_cast<std::size_t>(J)];
    constexpr auto& z = kPowerProduct[La][Lb];
    double dSum = 0.0;
    for (int s = 0; s <= I + J; ++s) {
        double dTerm = 0.0;
        for (int v = 0; v <= La + Lb; ++v)
            dTerm += z[static_cast<std::size_t>(v)] * vX[I + J - s + v] * vY[s + v];
        dSum += h[static_cast<std::size_t>(s)] * dTerm;
    }
    return dSum;
}

/// The sum over i and j of T T D for shells la, lb. vX and vY are the auxiliary integrals with
/// (x^2 - 1)^m and (1 - y^2)^m multiplied in.
template <int la, int lb, int m>
double AngularSum(int nA, int nB, const double* vX, const double* vY) {
    constexpr double kA0 = AngularCoefficient(0, m, la), kB0 = AngularCoefficient(0, m, lb);
    const int I = nA - la, J = nB - lb;
    double dSum = kA0 * kB0 * PolynomialSum<la - m, lb - m>(I, J, vX, vY);
    if constexpr (la - m == 2)
        dSum += AngularCoefficient(2, m, la) * kB0 * PolynomialSum<0, lb - m>(I + 2, J, vX, vY);
    if constexpr (lb - m == 2)
        dSum += kA0 * AngularCoefficient(2, m, lb) * PolynomialSum<la - m, 0>(I, J + 2, vX, vY);
    if constexpr (la - m == 2 && lb - m == 2)
        dSum += AngularCoefficient(2, m, la) * AngularCoefficient(2, m, lb) *
                PolynomialSum<0, 0>(I + 2, J + 2, vX, vY);
    return dSum;
}

/// Multiplies (x^2 - 1), or (1 - y^2) with dSign -1, into auxiliary integrals 0 .. nTop, in place:
/// entries 0 .. nTop - 2 then hold the result.
void MultiplySquare(double dSign, int nTop, double* v) {
    for (int k = 0; k + 2 <= nTop; ++k) v[k] = dSign * (v[k + 2] - v[k]);
}

template <int la, int lb, int m>
void AddForM(int nA, int nB, double* vX, double* vY, double* dResult) {
    if constexpr (m <= la && m <= lb) {
        const int nTop = nA + nB - 2 * m + 2;
        if constexpr (m > 0) {
            MultiplySquare(1.0, nTop, vX);
            MultiplySquare(-1.0, nTop, vY);
        }
        dResult[m] += AngularSum<la, lb, m>(nA, nB, vX, vY) / (2 << m);
        AddForM<la, lb, m + 1>(nA, nB, vX, vY, dResult);
    }
}

/// Adds to dResult[m], m = 0 .. 2, the bilinear form of the shell pair in vA and vB, without the
/// factors that depend on exponents and distance.
template <int la, int lb>
void AddBilinear(int nA, int nB, const double* vA, const double* vB, double* dResult) {
    if constexpr (la == 0 || lb == 0) {
        dResult[0] += 0.5 * AngularSum<la, lb, 0>(nA, nB, vA, vB);
    } else {
        double vX[kAuxiliaries], vY[kAuxiliaries];
        std::copy_n(vA, kAuxiliaries, vX);
        std::copy_n(vB, kAuxiliaries, vY);
        AddForM<la, lb, 0>(nA, nB, vX, vY, dResult);
    }
}

void AddBilinearOf(const SlaterFunction& a, const SlaterFunction& b, const double* vA,
                   const double* vB, double* dResult) {
    const int nA = a.nPrincipal, nB = b.nPrincipal;
    switch (3 * a.nAngular + b.nAngular) {
        case 0:
            return AddBilinear<0, 0>(nA, nB, vA, vB, dResult);
        case 1:
            return AddBilinear<0, 1>(nA, nB, vA, vB, dResult);
        case 2:
            return AddBilinear<0, 2>(nA, nB, vA, vB, dResult);
        case 3:
            return AddBilinear<1, 0>(nA, nB, vA, vB, dResult);
        case 4:
            return AddBilinear<1, 1>(nA, nB, vA, vB, dResult);
        case 5:
            return AddBilinear<1, 2>(nA, nB, vA, vB, dResult);
        case 6:
            return AddBilinear<2, 0>(nA, nB, vA, vB, dResult);
        case 7:
            return AddBilinear<2, 1>(nA, nB, vA, vB, dResult);
        case 8:
            return AddBilinear<2, 2>(nA, nB, vA, vB, dResult);
    }
}

void FillAuxiliaries(double dZetaA, double dZetaB, PairAuxiliaries& x) {
    const double dHalf = 0.5 * x.dDistance;
    const double p = (dZetaA + dZetaB) * dHalf, q = (dZetaA - dZetaB) * dHalf;
    x.dZetaA = dZetaA;
    x.dZetaB = dZetaB;
    x.fNone = !(p > kSmallestArgument && p < kLargestMeanArgument);
    if (x.fNone) return;
    if (!x.fSlope) {
        FillA(p, x.nTop, x.vA);
        FillB(q, x.nTop, x.vB);
        return;
    }
    FillA(p, std::min(x.nTop + 1, kTopAuxiliary), x.vA);
    FillBWithSlope(q, x.nTop, x.vB, x.vSlopeB);
    const double dPerBohrP = 0.5 * (dZetaA + dZetaB), dPerBohrQ = 0.5 * (dZetaA - dZetaB);
    for (int k = 0; k < kTopAuxiliary; ++k) x.vSlopeA[k] = -dPerBohrP * x.vA[k + 1];
    x.vSlopeA[kTopAuxiliary] = 0.0;
    for (int k = 0; k < kAuxiliaries; ++k) x.vSlopeB[k] *= dPerBohrQ;
}

}  // namespace

SlaterFunction MakeSlaterFunction(int nPrincipal, int nAngular, double dZeta) {
    SlaterFunction f{nPrincipal, nAngular, dZeta, 0.0};
    if (nPrincipal < 1 || nPrincipal > kHighestShell || nAngular < 0 || nAngular > 2) return f;
    if (nAngular >= nPrincipal || !(dZeta > 0.0)) return f;
    double dFactorial = 1.0;
    for (int k = 2; k <= 2 * nPrincipal; ++k) dFactorial *= k;
    f.dFactor =
        ExponentPower(dZeta, nPrincipal) * std::sqrt(dZeta * (2 * nAngular + 1) / dFactorial);
    return f;
}

ShellPairOverlap OverlapShells(const SlaterFunction& a, const SlaterFunction& b,
                               PairAuxiliaries& auxiliaries) {
    ShellPairOverlap result;
    PairAuxiliaries& x = auxiliaries;
    const double dFactors = a.dFactor * b.dFactor;
    if (dFactors == 0.0) return result;
    if (x.dZetaA != a.dZeta || x.dZetaB != b.dZeta) FillAuxiliaries(a.dZeta, b.dZeta, x);
    if (x.fNone) return result;

    const int nPower = a.nPrincipal + b.nPrincipal + 1;
    const double dScale = dFactors * ExponentPower(x.dDistance, nPower);
    AddBilinearOf(a, b, x.vA, x.vB, result.dValue);
    if (x.fSlope) {
        AddBilinearOf(a, b, x.vSlopeA, x.vB, result.dSlope);
        AddBilinearOf(a, b, x.vA, x.vSlopeB, result.dSlope);
    }
    for (int m = 0; m < 3; ++m) {
        if (x.fSlope)
            result.dSlope[m] =
                dScale * (result.dSlope[m] + nPower / x.dDistance * result.dValue[m]);
        result.dValue[m] *= dScale;
    }
    return result;
}

double ComputeLocalOverlap(const SlaterFunction& a, const SlaterFunction& b, int nM,
                           double dDistance, AuxiliaryRange range) {
    PairAuxiliaries x;
    x.dDistance = dDistance;
    x.nTop = range == AuxiliaryRange::kNeeded ? a.nPrincipal + b.nPrincipal : kTopAuxiliary;
    return nM < 0 || nM > 2 ? 0.0 : OverlapShells(a, b, x).dValue[nM];
}

}  // namespace qsolve
