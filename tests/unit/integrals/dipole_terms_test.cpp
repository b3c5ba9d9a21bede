#include "integrals/dipole_terms.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace qsolve {
namespace {

using Vector = std::array<double, 3>;

/// Angular parts of s, p and d in the order of an atom's orbitals, each of norm 1 over the sphere.
std::array<double, 9> Harmonics(const Vector& u) {
    const double x = u[0], y = u[1], z = u[2];
    const double s = std::sqrt(1.0 / (4.0 * M_PI)), p = std::sqrt(3.0) * s, d = std::sqrt(15.0) * s;
    return {s,
            p * x,
            p * y,
            p * z,
            d * (3.0 * z * z - 1.0) / std::sqrt(12.0),
            d * x * z,
            d * y * z,
            d * (x * x - y * y) / 2.0,
            d * x * y};
}

/// Integrals over the sphere of Y_i u_k Y_j, exact for their degrees: the product of Gauss points
/// in z (five are exact to degree 9) and of equal steps in the angle.
double Element(int i, int j, int k) {
    const double z5[] = {0.0, 0.5384693101056831, 0.9061798459386640};
    const double w5[] = {0.5688888888888889, 0.4786286704993665, 0.2369268850561891};
    double dSum = 0.0;
    for (int q = 0; q < 3; ++q)
        for (const double dSign : {1.0, -1.0}) {
            if (q == 0 && dSign < 0.0) continue;
            const double z = dSign * z5[q], r = std::sqrt(1.0 - z * z);
            for (int t = 0; t < 16; ++t) {
                const double a = 2.0 * M_PI * t / 16.0;
                const Vector u = {r * std::cos(a), r * std::sin(a), z};
                const auto h = Harmonics(u);
                dSum += w5[q] * 2.0 * M_PI / 16.0 * h[static_cast<std::size_t>(i)] *
                        h[static_cast<std::size_t>(j)] * u[static_cast<std::size_t>(k)];
            }
        }
    return dSum;
}

/// A symmetric matrix without any pattern.
std::vector<double> Density(int n) {
    std::vector<double> m(static_cast<std::size_t>(n * n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j)
            m[static_cast<std::size_t>(i * n + j)] = m[static_cast<std::size_t>(j * n + i)] =
                std::sin(1.0 + 7.0 * i + 3.0 * j);
    return m;
}

/// Both are the sum of P_ij <i|u_k|j> over their shells, in units of one element: that of s and px
/// along x, and of dxy and px along y. The factors of z2 are kept to seven digits.
TEST(DipoleTerms, AreTheElementsOfThePositionBetweenTheShells) {
    const int n = 11, nFirst = 1;
    const std::vector<double> m = Density(n);
    const DipoleProducts sp = SpProducts(m.data(), n, nFirst), pd = PdProducts(m.data(), n, nFirst);
    for (int k = 0; k < 3; ++k) {
        double dSp = 0.0, dPd = 0.0;
        for (int j = 1; j < 4; ++j) {
            const std::size_t nRow = static_cast<std::size_t>((nFirst + j) * n + nFirst);
            dSp += m[nRow] * Element(0, j, k) / Element(0, 1, 0);
            for (int i = 4; i < 9; ++i)
                dPd += m[static_cast<std::size_t>((nFirst + i) * n + nFirst + j)] *
                       Element(i, j, k) / Element(8, 1, 1);
        }
        EXPECT_NEAR(sp.d[k], dSp, 1e-12) << k;
        EXPECT_NEAR(pd.d[k], dPd, 1e-6) << k;
    }
}

}  // namespace
}  // namespace qsolve
