#include "integrals/nuclear_attraction.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "integrals/orbital_moments.h"

namespace qsolve {
namespace {

static_assert(kTopRank == kHighestRank);

/// From this argument on exp(-x) has no weight beside the potential of a point charge.
constexpr double kLargestExponent = 700.0;

/// exp(-x) times the sum over k < nTerms of x^k / k!.
double PoissonSum(int nTerms, double x) {
    double dSum = 0.0, dTerm = 1.0;
    for (int k = 0; k < nTerms; ++k) {
        dSum += dTerm;
        dTerm *= x / (k + 1);
    }
    return std::exp(-x) * dSum;
}

/// The sum over k of x^k / (s (s+1) ... (s+k)), by which exp(-x) x^s turns into the integral from 0
/// to x of t^(s-1) exp(-t). For x up to s.
double LowerSeries(int s, double x) {
    double dTerm = 1.0 / s, dSum = dTerm;
    for (int k = 1; dTerm > 1e-17 * dSum; ++k) {
        dTerm *= x / (s + k);
        dSum += dTerm;
    }
    return dSum;
}

double PowerOf(double x, int n) {
    double d = 1.0;
    for (int k = 0; k < n; ++k) d *= x;
    return d;
}

/// N of a Slater orbital with its exponent in units of dUnit.
double Norm(int n, double dZeta, double dUnit) {
    const double t = 2.0 * dZeta / dUnit;
    return PowerOf(t, n) * std::sqrt(t / ExactFactorial(2 * n));
}

/// Index among the orbitals of an atom.
int OrbitalIndex(int l, int m) {
    constexpr int kP[] = {2, 3, 1};        // m of -1, 0, 1
    constexpr int kD[] = {8, 6, 4, 5, 7};  // m of -2 to 2
    return l == 0 ? 0 : l == 1 ? kP[m + 1] : kD[m + 2];
}

const Moments& MomentsOfPair(int i, int j) {
    return kProductMoments.Pair[MomentIndex(std::max(i, j), std::min(i, j))];
}

/// <Y_i Y_j P_L(cos theta)>.
double AxialMean(int i, int j, int L) {
    const Moments& product = MomentsOfPair(i, j);
    double d = 0.0;
    for (int k = L % 2; k <= L; k += 2) d += kLegendre[L][k] * product.d[0][0][k];
    return d;
}

}  // namespace

double RadialPotential(int n, int L, double x) {
    const int s = n + L + 1;
    if (x > kLargestExponent) return ExactFactorial(s - 1) / PowerOf(x, L + 1);
    const double dLower =
        x <= s ? PowerOf(x, n) * std::exp(-x) * LowerSeries(s, x)
               : ExactFactorial(s - 1) * (1.0 - PoissonSum(s, x)) / PowerOf(x, L + 1);
    return dLower + ExactFactorial(n - L - 1) * PowerOf(x, L) * PoissonSum(n - L, x);
}

void FillScreeningPolynomial(int n, int L, double* vCoefficients) {
    // (n+L)! (1 - exp(-x) sum of x^j / j!) from the inner integral, and from the outer one
    // x^(2L+1) (n-L-1)! exp(-x) times the sum over k < n - L of x^k / k!.
    std::fill_n(vCoefficients, kTopScreening + 1, 0.0);
    const double dRatio = ExactFactorial(n - L - 1) / ExactFactorial(n + L);
    for (int j = 0; j < n + L; ++j) {
        vCoefficients[j] = 1.0 / ExactFactorial(j);
        if (j > 2 * L) vCoefficients[j] -= dRatio / ExactFactorial(j - 2 * L - 1);
    }
}

double PairFactor(int nOrbitalA, double dZetaA, int nOrbitalB, double dZetaB) {
    const double dZeta = dZetaA + dZetaB;
    return dZeta * (Norm(nOrbitalA, dZetaA, dZeta) * Norm(nOrbitalB, dZetaB, dZeta));
}

void PotentialIntegral(double r, int nOrbitalA, int lA, int mA, double dZetaA, int nOrbitalB,
                       int lB, int mB, double dZetaB, double& dValue) {
    dValue = 0.0;
    if (mA != mB || std::abs(mA) > std::min(lA, lB)) return;
    if (!IsSlaterOrbital(nOrbitalA, lA, dZetaA) || !IsSlaterOrbital(nOrbitalB, lB, dZetaB)) return;
    const int i = OrbitalIndex(lA, mA), j = OrbitalIndex(lB, mB);
    const double x = (dZetaA + dZetaB) * r;
    for (int L = std::abs(lA - lB); L <= lA + lB; L += 2)
        dValue += AxialMean(i, j, L) * RadialPotential(nOrbitalA + nOrbitalB, L, x);
    dValue *= PairFactor(nOrbitalA, dZetaA, nOrbitalB, dZetaB);
}

void AddDirectionPolynomial(int i, int j, int L, double dWeight, double* vMonomials) {
    // R^L P_L(cos gamma) = sum over k of c_Lk (R . r)^k (R . R)^((L-k)/2) for a unit vector r.
    const Moments& product = MomentsOfPair(i, j);
    const auto ForEachPower = [](int n, auto visit) {  // of (x + y + z)^n
        for (int x = 0; x <= n; ++x)
            for (int y = 0; x + y <= n; ++y)
                visit(x, y, n - x - y,
                      ExactFactorial(n) /
                          (ExactFactorial(x) * ExactFactorial(y) * ExactFactorial(n - x - y)));
    };
    for (int k = L % 2; k <= L; k += 2)
        ForEachPower(k, [&](int x, int y, int z, double dTerm) {
            const double c = dWeight * kLegendre[L][k] * dTerm * product.d[x][y][z];
            if (c == 0.0) return;
            ForEachPower((L - k) / 2, [&](int u, int v, int w, double dFactor) {
                vMonomials[MonomialIndex(x + 2 * u, y + 2 * v, z + 2 * w)] += c * dFactor;
            });
        });
}

}  // namespace qsolve
