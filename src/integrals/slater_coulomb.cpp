#include "integrals/slater_coulomb.h"

#include <cmath>
#include <utility>

#include "integrals/ab_integrals.h"
#include "integrals/power_product.h"

namespace qsolve {
namespace {

/// 0! to 18!. From 16! on they hold ten significant digits, which is meant: the one-centre values
/// of the heavy rows were always formed with these.
constexpr double kRoundedFactorial[19] = {1.0,
                                          1.0,
                                          2.0,
                                          6.0,
                                          24.0,
                                          120.0,
                                          720.0,
                                          5040.0,
                                          40320.0,
                                          362880.0,
                                          3628800.0,
                                          39916800.0,
                                          479001600.0,
                                          6227020800.0,
                                          87178291200.0,
                                          1307674368000.0,
                                          20922789890000.0,
                                          355687428100000.0,
                                          6402373706000000.0};

/// From this argument on exp(-a) has no weight beside the potential of a point charge.
constexpr double kLargestExponent = 700.0;

bool IsCloud(const SlaterCloud& c) {
    return c.nPrincipal >= 1 && c.nPrincipal <= kTopCloud && c.dZeta > 0.0;
}

/// The potential V_n of a cloud at distance r above 0.
RadialValue CloudPotential(const SlaterCloud& c, double r) {
    const int nTerms = 2 * c.nPrincipal;
    const double u = 2.0 * c.dZeta * r, e = std::exp(-u);
    // Within the bracket f = exp(-u) g(u); term is u^k / k!.
    double g = 0.0, dg = 0.0, dTerm = 1.0, dBefore = 0.0;
    for (int k = 0; k < nTerms; ++k) {
        const double dWeight = static_cast<double>(nTerms - k) / nTerms;
        g += dWeight * dTerm;
        dg += dWeight * dBefore;
        dBefore = dTerm;
        dTerm *= u / (k + 1);
    }
    if (e == 0.0) return {1.0 / r, -1.0 / (r * r)};
    const double dValue = (1.0 - e * g) / r;
    return {dValue, -(dValue + 2.0 * c.dZeta * e * (dg - g)) / r};
}

/// E_k for the polynomial (x+y)^k (x-y)^nOdd.
double Moment(int k, int nOdd, const double* vA, const double* vB) {
    const auto& h = kPowerProduct[static_cast<std::size_t>(k)][static_cast<std::size_t>(nOdd)];
    double dSum = 0.0;
    for (int s = 0; s <= k + nOdd; ++s)
        dSum += h[static_cast<std::size_t>(s)] * vA[k + nOdd - s] * vB[s];
    return dSum;
}

/// What the extent of A's cloud takes from the potential of B's; nA <= nB.
template <bool fSlope>
RadialValue Penetration(const SlaterCloud& a, const SlaterCloud& b, double R) {
    const int nA2 = 2 * a.nPrincipal, nB2 = 2 * b.nPrincipal, nTop = nA2 + nB2 - 2;
    const double dSum = a.dZeta + b.dZeta, dDifference = a.dZeta - b.dZeta;
    RadialValue result;
    if (dSum * R >= kLargestExponent) return result;

    double vA[kAuxiliaries], vB[kAuxiliaries], vSlopeA[kAuxiliaries], vSlopeB[kAuxiliaries];
    if constexpr (fSlope) {
        FillA(dSum * R, nTop + 1, vA);
        FillBWithSlope(dDifference * R, nTop, vB, vSlopeB);
        for (int k = 0; k <= nTop; ++k) {
            vSlopeA[k] = -dSum * vA[k + 1];
            vSlopeB[k] *= dDifference;
        }
    } else {
        ComputeABIntegrals(vA, vB, dSum * R, dDifference * R, nTop);
    }

    // 2 pi N_B (R/2)^(2nB) (zetaA R)^k / k!, for k = 0
    double dFactor = b.dZeta * ExponentPower(b.dZeta * R, nB2) /
                     kRoundedFactorial[static_cast<std::size_t>(nB2)];
    for (int k = 0; k < nA2; ++k) {
        const double dWeight = dFactor * static_cast<double>(nA2 - k) / nA2;
        const double dMoment = Moment(k, nB2 - 1, vA, vB);
        result.dValue += dWeight * dMoment;
        if constexpr (fSlope)
            result.dSlope += dWeight * ((k + nB2) / R * dMoment + Moment(k, nB2 - 1, vSlopeA, vB) +
                                        Moment(k, nB2 - 1, vA, vSlopeB));
        dFactor *= a.dZeta * R / (k + 1);
    }
    return result;
}

template <bool fSlope>
RadialValue Evaluate(SlaterCloud a, SlaterCloud b, double dDistance) {
    if (!IsCloud(a) || !IsCloud(b)) return {};
    // The smaller shell first. Between equal shells the tighter cloud, so that the order of the
    // arguments never shows; this one also suffers least from the truncated series of B.
    if (a.nPrincipal > b.nPrincipal || (a.nPrincipal == b.nPrincipal && a.dZeta < b.dZeta))
        std::swap(a, b);
    if ((a.dZeta + b.dZeta) * dDistance <= kSmallestArgument) return {OneCentreCoulomb(a, b), 0.0};
    const RadialValue outer = CloudPotential(b, dDistance);
    const RadialValue inner = Penetration<fSlope>(a, b, dDistance);
    return {outer.dValue - inner.dValue, outer.dSlope - inner.dSlope};
}

}  // namespace

double OneCentreCoulomb(const SlaterCloud& a, const SlaterCloud& b) {
    if (!IsCloud(a) || !IsCloud(b)) return 0.0;
    const auto Factorial = [](int k) { return kRoundedFactorial[static_cast<std::size_t>(k)]; };
    const int nA2 = 2 * a.nPrincipal, nB2 = 2 * b.nPrincipal;
    const double dA = 2.0 * a.dZeta, dB = 2.0 * b.dZeta;
    double W = 0.0;
    for (int i = 1; i <= nB2; ++i)
        W += i * ExponentPower(dB, nB2 - i) * Factorial(nA2 + nB2 - i - 1) /
             (ExponentPower(dA + dB, nA2 + nB2 - i) * Factorial(nB2 - i));
    return ExponentPower(dA, nA2 + 1) * (Factorial(nA2 - 1) / ExponentPower(dA, nA2) - W / nB2) /
           Factorial(nA2);
}

double EvaluateSlaterCoulomb(const SlaterCloud& a, const SlaterCloud& b, double dDistance) {
    return Evaluate<false>(a, b, dDistance).dValue;
}

RadialValue EvaluateSlaterCoulombSlope(const SlaterCloud& a, const SlaterCloud& b,
                                       double dDistance) {
    return Evaluate<true>(a, b, dDistance);
}

}  // namespace qsolve
