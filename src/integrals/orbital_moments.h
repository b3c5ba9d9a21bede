#pragma once

/// Angular means of products of real orbitals, exact, from polynomials on the unit sphere. Orbitals
/// of an atom are counted from 0: s, px, py, pz, dz2, dxz, dyz, dx2-y2, dxy.

namespace qsolve {

/// Orbitals, and products i >= j of them.
constexpr int kMomentOrbitals = 9;
constexpr int kMomentPairs = kMomentOrbitals * (kMomentOrbitals + 1) / 2;

/// Highest degree of a moment, which two d orbitals have.
constexpr int kHighestRank = 4;

/// c x^nX y^nY z^nZ.
struct Monomial {
    double c = 0.0;
    int nX = 0, nY = 0, nZ = 0;
};

/// A real orbital on the unit sphere, normalised so that its square has the mean 1.
struct Polynomial {
    Monomial Terms[3];
};

constexpr double kRootOf3 = 1.7320508075688772, kRootOf5 = 2.23606797749979;  // square roots
constexpr Polynomial kOrbitalPolynomials[kMomentOrbitals] = {
    {{{1.0, 0, 0, 0}}},
    {{{kRootOf3, 1, 0, 0}}},
    {{{kRootOf3, 0, 1, 0}}},
    {{{kRootOf3, 0, 0, 1}}},
    {{{kRootOf5, 0, 0, 2}, {-0.5 * kRootOf5, 2, 0, 0}, {-0.5 * kRootOf5, 0, 2, 0}}},
    {{{kRootOf3 * kRootOf5, 1, 0, 1}}},
    {{{kRootOf3 * kRootOf5, 0, 1, 1}}},
    {{{0.5 * kRootOf3 * kRootOf5, 2, 0, 0}, {-0.5 * kRootOf3 * kRootOf5, 0, 2, 0}}},
    {{{kRootOf3 * kRootOf5, 1, 1, 0}}},
};

/// 1 3 5 ... (n - 1) for even n.
constexpr double OddProduct(int n) {
    double d = 1.0;
    for (int i = 1; i < n; i += 2) d *= i;
    return d;
}

/// Mean of x^nX y^nY z^nZ over the unit sphere.
constexpr double SphereMean(int nX, int nY, int nZ) {
    if (nX % 2 != 0 || nY % 2 != 0 || nZ % 2 != 0) return 0.0;
    return OddProduct(nX) * OddProduct(nY) * OddProduct(nZ) / OddProduct(nX + nY + nZ + 2);
}

/// Moments of a product of two orbitals: the means of x^nX y^nY z^nZ times it.
struct Moments {
    double d[kHighestRank + 1][kHighestRank + 1][kHighestRank + 1] = {};
};

/// The moments of one product.
constexpr Moments MomentsOf(const Polynomial& p, const Polynomial& q) {
    Moments m;
    for (const Monomial& s : p.Terms)
        for (const Monomial& t : q.Terms) {
            const double c = s.c * t.c;
            if (c == 0.0) continue;
            for (int x = 0; x <= kHighestRank; ++x)
                for (int y = 0; x + y <= kHighestRank; ++y)
                    for (int z = 0; x + y + z <= kHighestRank; ++z)
                        m.d[x][y][z] +=
                            c * SphereMean(s.nX + t.nX + x, s.nY + t.nY + y, s.nZ + t.nZ + z);
        }
    return m;
}

/// Index of the pair i >= j.
constexpr int MomentIndex(int i, int j) {
    return i * (i + 1) / 2 + j;
}

/// The moments of all products, by MomentIndex.
struct PairMoments {
    Moments Pair[kMomentPairs];
};

/// Fills the table.
constexpr PairMoments AllMoments() {
    PairMoments all;
    for (int i = 0; i < kMomentOrbitals; ++i)
        for (int j = 0; j <= i; ++j)
            all.Pair[MomentIndex(i, j)] = MomentsOf(kOrbitalPolynomials[i], kOrbitalPolynomials[j]);
    return all;
}
constexpr PairMoments kProductMoments = AllMoments();

constexpr double kFactorials[] = {1, 1, 2, 6, 24};

/// Mean of the n-th power of the cosine of the angle between the electrons, with the two products
/// as weights: (x x' + y y' + z z')^n by the multinomial theorem.
constexpr double CosinePower(const Moments& ij, const Moments& kl, int n) {
    double d = 0.0;
    for (int x = 0; x <= n; ++x)
        for (int y = 0; x + y <= n; ++y) {
            const int z = n - x - y;
            const double m = ij.d[x][y][z];
            if (m == 0.0) continue;
            d += kFactorials[n] / (kFactorials[x] * kFactorials[y] * kFactorials[z]) * m *
                 kl.d[x][y][z];
        }
    return d;
}

/// Coefficients of the Legendre polynomials, by rank and power.
constexpr double kLegendre[kHighestRank + 1][kHighestRank + 1] = {
    {1.0, 0.0, 0.0, 0.0, 0.0},  {0.0, 1.0, 0.0, 0.0, 0.0},       {-0.5, 0.0, 1.5, 0.0, 0.0},
    {0.0, -1.5, 0.0, 2.5, 0.0}, {0.375, 0.0, -3.75, 0.0, 4.375},
};

/// Mean of the Legendre polynomial of rank nRank of the cosine of the angle between the electrons,
/// with the two products as weights.
constexpr double AngularFactor(const Moments& ij, const Moments& kl, int nRank) {
    double d = 0.0;
    for (int n = nRank % 2; n <= nRank; n += 2) d += kLegendre[nRank][n] * CosinePower(ij, kl, n);
    return d;
}

/// Mean of an orbital's polynomial, as the direction of a multipole, with a product as weight. The
/// products hold multipoles of the polynomials for which it is not 0.
constexpr double MeanWith(const Polynomial& p, const Moments& product) {
    double d = 0.0;
    for (const Monomial& t : p.Terms)
        if (t.c != 0.0) d += t.c * product.d[t.nX][t.nY][t.nZ];
    return d;
}

/// Value of an orbital's polynomial at a place.
constexpr double ValueAt(const Polynomial& p, double x, double y, double z) {
    double d = 0.0;
    for (const Monomial& t : p.Terms) {
        double m = t.c;
        for (int i = 0; i < t.nX; ++i) m *= x;
        for (int i = 0; i < t.nY; ++i) m *= y;
        for (int i = 0; i < t.nZ; ++i) m *= z;
        d += m;
    }
    return d;
}

}  // namespace qsolve
