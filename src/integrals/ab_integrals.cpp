#include "integrals/ab_integrals.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qsolve {
namespace {

/// Terms of the longest power series of B_k; every second one vanishes.
constexpr int kLongestSeries = 16;
constexpr int kSeriesPairs = kLongestSeries / 2;

using SeriesTable = std::array<std::array<double, kSeriesPairs>, kAuxiliaries>;

/// B_k = sum over i with k + i even of 2 (-q)^i / (i! (k + i + 1)); entry [k][j] belongs to
/// i = 2 j + (k odd).
constexpr SeriesTable MakeSeries() {
    SeriesTable series{};
    for (std::size_t k = 0; k < kAuxiliaries; ++k) {
        double dFactorial = 1.0;
        for (std::size_t i = 0; i < kLongestSeries; ++i) {
            if (i > 1) dFactorial *= static_cast<double>(i);
            if ((k + i) % 2 == 0)
                series[k][i / 2] = 2.0 / (dFactorial * static_cast<double>(k + i + 1));
        }
    }
    return series;
}
constexpr SeriesTable kSeries = MakeSeries();

constexpr int BoundedTop(int nTop) {
    return nTop < 0 || nTop > kTopAuxiliary ? kTopAuxiliary : nTop;
}

/// Terms of the power series for |q| = x; 0 where the upward recursion serves. The recursion loses
/// about nTop! / x^nTop of its digits, hence the limits on nTop.
constexpr int SeriesTerms(double x, int nTop) {
    if (x > 3.0) return 0;
    if (x > 2.0) return nTop <= 10 ? 0 : 16;
    if (x > 1.0) return nTop <= 7 ? 0 : 13;
    if (x > 0.5) return nTop <= 5 ? 0 : 8;
    return 7;
}

/// Whether the arrays stay all zero for this argument.
bool IsOutOfRange(double x) {
    return !(x < kLargestArgument);
}

template <bool fSlope>
void FillLimit(int nTop, double* vB, double* vSlope) {
    for (int k = 0; k <= nTop; k += 2) vB[k] = 2.0 / (k + 1);
    if constexpr (fSlope)
        for (int k = 1; k <= nTop; k += 2) vSlope[k] = -2.0 / (k + 2);
}

template <bool fSlope>
void FillSeries(double q, int nTerms, int nTop, double* vB, double* vSlope) {
    const double dSquare = q * q;
    for (int k = 0; k <= nTop; ++k) {
        const int nOdd = k % 2;
        const auto& c = kSeries[static_cast<std::size_t>(k)];
        double dValue = 0.0, dSlope = 0.0;
        for (int j = (nTerms - nOdd + 1) / 2 - 1; j >= 0; --j) {
            const double dTerm = c[static_cast<std::size_t>(j)];
            dValue = dValue * dSquare + dTerm;
            if (fSlope && 2 * j + nOdd > 0) dSlope = dSlope * dSquare + (2 * j + nOdd) * dTerm;
        }
        vB[k] = nOdd ? -q * dValue : dValue;
        if constexpr (fSlope) vSlope[k] = nOdd ? -dSlope : q * dSlope;
    }
}

template <bool fSlope>
void FillUpward(double q, int nTop, double* vB, double* vSlope) {
    const double dUp = std::exp(q), dDown = std::exp(-q);
    if (!std::isfinite(dUp) || !std::isfinite(dDown)) return;
    const double dInverse = 1.0 / q, dSinh = dUp - dDown, dCosh = dUp + dDown;
    double dB = dSinh * dInverse;
    for (int k = 0; k <= nTop; ++k) {
        vB[k] = dB;
        dB = ((k + 1) * dB + (k % 2 ? dSinh : -dCosh)) * dInverse;
        if constexpr (fSlope) vSlope[k] = -dB;
    }
}

template <bool fSlope>
void FillEitherB(double dQ, int nTop, double* vB, double* vSlope) {
    std::fill_n(vB, kAuxiliaries, 0.0);
    if constexpr (fSlope) std::fill_n(vSlope, kAuxiliaries, 0.0);
    const double x = std::abs(dQ);
    if (IsOutOfRange(x)) return;
    const int n = BoundedTop(nTop);
    if (x <= kSmallestArgument)
        FillLimit<fSlope>(n, vB, vSlope);
    else if (const int nTerms = SeriesTerms(x, n); nTerms > 0)
        FillSeries<fSlope>(dQ, nTerms, n, vB, vSlope);
    else
        FillUpward<fSlope>(dQ, n, vB, vSlope);
}

}  // namespace

double ExponentPower(double dBase, int nPower) {
    if (dBase == 0.0) return 0.0;
    const long long nWide = nPower;
    double dSquare = nWide < 0 ? 1.0 / dBase : dBase;
    double dResult = 1.0;
    for (long long n = nWide < 0 ? -nWide : nWide; n > 0; n /= 2) {
        if (n % 2) dResult *= dSquare;
        dSquare *= dSquare;
    }
    return dResult;
}

void FillA(double dP, int nTop, double* vA) {
    std::fill_n(vA, kAuxiliaries, 0.0);
    const double x = std::abs(dP);
    if (x <= kSmallestArgument || IsOutOfRange(x)) return;
    const double e = std::exp(-dP);
    if (!std::isfinite(e)) return;

    // By parts: A_k = (k A_(k-1) + exp(-p)) / p. All terms have one sign, so upward is stable.
    const double dInverse = 1.0 / dP;
    vA[0] = e * dInverse;
    const int n = BoundedTop(nTop);
    for (int k = 1; k <= n; ++k) vA[k] = (k * vA[k - 1] + e) * dInverse;
}

void FillB(double dQ, int nTop, double* vB) {
    FillEitherB<false>(dQ, nTop, vB, nullptr);
}

void FillBWithSlope(double dQ, int nTop, double* vB, double* vSlope) {
    FillEitherB<true>(dQ, nTop, vB, vSlope);
}

void ComputeABIntegrals(double* vA, double* vB, double dP, double dQ, int nTop) {
    FillB(dQ, nTop, vB);
    FillA(dP, nTop, vA);
}

}  // namespace qsolve
