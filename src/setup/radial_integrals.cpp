#include "setup/radial_integrals.h"

#include <cmath>

#include "setup/parameters.h"

namespace qsolve {

namespace {

constexpr int kHighestShell = 7;
constexpr int kHighestPower = 6;  // keeps every factorial within the table

bool IsShell(const SlaterShell& shell) {
    return shell.n >= 1 && shell.n <= kHighestShell && shell.dZeta > 0.0;
}

/// Factor of the radial part that makes the integral of R^2 r^2 one.
double Norm(const SlaterShell& shell) {
    return std::pow(2.0 * shell.dZeta, shell.n + 0.5) / std::sqrt(kFactorial[2 * shell.n]);
}

/// int from 0 to infinity dx x^s exp(-alpha x) int from x to infinity dy y^m exp(-beta y). All
/// terms of the series have one sign:
///
///     m! / beta^(m+1) sum_j=0..m beta^j / j! (s+j)! / (alpha + beta)^(s+j+1)
double OuterIntegral(int s, double dAlpha, int m, double dBeta) {
    const double dSum = dAlpha + dBeta;
    double dTerm = kFactorial[s], dSeries = dTerm;
    for (int j = 1; j <= m; ++j) {
        dTerm *= dBeta / dSum * (s + j) / j;
        dSeries += dTerm;
    }
    return kFactorial[m] * dSeries / (std::pow(dBeta, m + 1) * std::pow(dSum, s + 1));
}

}  // namespace

double RadialIntegral(int k, const SlaterShell& a, const SlaterShell& b, const SlaterShell& c,
                      const SlaterShell& d) {
    if (!IsShell(a) || !IsShell(b) || !IsShell(c) || !IsShell(d)) return 0.0;
    // Densities r^p exp(-alpha r) of electron 1 and r^q exp(-beta r) of electron 2, r^2 included.
    const int p = a.n + c.n, q = b.n + d.n;
    if (k < 0 || k > kHighestPower || k >= p || k >= q) return 0.0;
    const double dAlpha = a.dZeta + c.dZeta, dBeta = b.dZeta + d.dZeta;
    const double dInner1 = OuterIntegral(p + k, dAlpha, q - k - 1, dBeta);  // r1 < r2
    const double dInner2 = OuterIntegral(q + k, dBeta, p - k - 1, dAlpha);  // r2 < r1
    return Norm(a) * Norm(b) * Norm(c) * Norm(d) * (dInner1 + dInner2);
}

double UnitRadialIntegral(int k, int n) {
    const SlaterShell unit{n, 1.0};
    return RadialIntegral(k, unit, unit, unit, unit);
}

double ChargeSeparation(int n1, int n2, int l, double dZeta1, double dZeta2) {
    const SlaterShell shell1{n1, dZeta1}, shell2{n2, dZeta2};
    if (!IsShell(shell1) || !IsShell(shell2) || l < 0 || l > kHighestPower) return 0.0;
    const int nPower = n1 + n2 + l;
    return Norm(shell1) * Norm(shell2) * kFactorial[nPower] / std::pow(dZeta1 + dZeta2, nPower + 1);
}

}  // namespace qsolve
