#include "integrals/nddo_pair_sp.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "integrals/overlap_matrix.h"
#include "job/state.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

/// A point charge of a distribution, bohr, with the additive term of its multipole.
struct Charge {
    double q, x, y, z, dRho;
};
using Charges = std::vector<Charge>;

/// Made-up atoms without state; alpha alone is read from the row.
NddoRow row;

NddoAtom MakeAtom(int nElement, int nOrbitals, const std::array<double, 5>& v) {
    NddoAtom atom;
    atom.Listed.nElement = nElement;
    atom.Listed.nOrbitals = nOrbitals;
    atom.pRow = &row;
    atom.nProducts = ProductsOf(nOrbitals);
    atom.dCore = nElement;
    atom.dRho0 = v[0];
    atom.dRho1 = v[1];
    atom.dRho2 = v[2];
    atom.dDipole = v[3];
    atom.dQuadrupole = v[4];
    return atom;
}

NddoAtom Carbon() {
    return MakeAtom(4, 4, {1.11, 0.78, 0.71, 0.81, 0.69});
}
NddoAtom Chlorine() {
    return MakeAtom(7, 4, {0.90, 0.62, 0.85, 0.54, 0.82});
}
NddoAtom Hydrogen() {
    return MakeAtom(1, 1, {1.06, 0.0, 0.0, 0.0, 0.0});
}

/// The charges that stand for the product of local orbitals i and j: s, sigma along z, pi along x,
/// pi' along y.
Charges DistributionOf(const NddoAtom& a, int i, int j) {
    if (j > i) return DistributionOf(a, j, i);
    const double D = a.dQuadrupole;
    const auto Along = [](int k, double d, double q, double dRho) {
        return Charge{q, k == 2 ? d : 0.0, k == 3 ? d : 0.0, k == 1 ? d : 0.0, dRho};
    };
    if (i == 0) return {{1, 0, 0, 0, a.dRho0}};
    if (j == 0) return {Along(i, a.dDipole, 0.5, a.dRho1), Along(i, -a.dDipole, -0.5, a.dRho1)};
    if (i == j)
        return {{1, 0, 0, 0, a.dRho0},
                {-0.5, 0, 0, 0, a.dRho2},
                Along(i, 2 * D, 0.25, a.dRho2),
                Along(i, -2 * D, 0.25, a.dRho2)};
    Charges charges;
    for (const double s : {D, -D})
        for (const double t : {D, -D}) {
            const Charge p = Along(i, s, 0, 0), q = Along(j, t, 0, 0);
            charges.push_back({s * t > 0 ? 0.25 : -0.25, p.x + q.x, p.y + q.y, p.z + q.z, a.dRho2});
        }
    return charges;
}

/// Energy of two distributions, A at R on the z axis of B.
double Interaction(const Charges& a, const Charges& b, double R) {
    double dSum = 0.0;
    for (const Charge& p : a)
        for (const Charge& q : b) {
            const double x = p.x - q.x, y = p.y - q.y, z = R + p.z - q.z, rho = p.dRho + q.dRho;
            dSum += 27.211396 * p.q * q.q / std::sqrt(x * x + y * y + z * z + rho * rho);
        }
    return dSum;
}

/// (ij|kl) in the local frame by the sum over charges; (pi pi'|pi pi') from the invariance.
double LocalIntegral(const NddoAtom& a, const NddoAtom& b, int i, int j, int k, int l, double R) {
    const auto I = [&](int m, int n, int o, int p) {
        return Interaction(DistributionOf(a, m, n), DistributionOf(b, o, p), R);
    };
    if (i >= 2 && j >= 2 && i != j && k >= 2 && l >= 2 && k != l)
        return 0.5 * (I(2, 2, 2, 2) - I(2, 2, 3, 3));
    return I(i, j, k, l);
}

TEST(LocalIntegrals, AreSumsOverPointCharges) {
    constexpr int vOrbitals[kLocalIntegrals][4] = {
        {0, 0, 0, 0}, {0, 1, 0, 0}, {1, 1, 0, 0}, {2, 2, 0, 0}, {0, 0, 0, 1}, {0, 1, 0, 1},
        {0, 2, 0, 2}, {1, 1, 0, 1}, {2, 2, 0, 1}, {1, 2, 0, 2}, {0, 0, 1, 1}, {0, 0, 2, 2},
        {0, 1, 1, 1}, {0, 1, 2, 2}, {0, 2, 1, 2}, {1, 1, 1, 1}, {2, 2, 1, 1}, {1, 1, 2, 2},
        {2, 2, 2, 2}, {1, 2, 1, 2}, {2, 2, 3, 3}, {2, 3, 2, 3}};
    for (const double R : {0.3, 0.9, 1.5, 4.0, 30.0}) {
        double vRi[kLocalIntegrals];
        ComputeLocalIntegrals(Carbon(), Chlorine(), R, vRi);
        for (int n = 0; n < kLocalIntegrals; ++n) {
            const auto [i, j, k, l] = vOrbitals[n];
            EXPECT_NEAR(vRi[n],
                        LocalIntegral(Carbon(), Chlorine(), i, j, k, l, R * kBohrPerAngstrom),
                        1e-12)
                << n << " at " << R;
        }
    }
}

TEST(LocalIntegrals, OfAnAtomWithoutPAreThoseWithItsMonopole) {
    const double R = 1.1, r = R * kBohrPerAngstrom;
    double v[kLocalIntegrals] = {}, w[kLocalIntegrals] = {};
    ComputeLocalIntegrals(Chlorine(), Hydrogen(), R, v);
    ComputeLocalIntegrals(Hydrogen(), Chlorine(), R, w);
    for (int n = 0; n < 4; ++n) {
        const int i = n == 0 ? 0 : n < 3 ? n - 1 : 2, j = n == 0 ? 0 : n < 3 ? 1 : 2;
        EXPECT_NEAR(v[n], LocalIntegral(Chlorine(), Hydrogen(), i, j, 0, 0, r), 1e-12) << n;
        EXPECT_NEAR(w[n == 0   ? 0
                      : n == 1 ? 4
                               : n + 8],
                    LocalIntegral(Hydrogen(), Chlorine(), 0, 0, i, j, r), 1e-12)
            << n;
    }
    ComputeLocalIntegrals(Hydrogen(), Hydrogen(), R, v);
    EXPECT_NEAR(v[0], 27.211396 / std::sqrt(r * r + 2.12 * 2.12), 1e-12);
}

TEST(LocalIntegrals, WithoutDistanceAndAdditiveTermsVanish) {
    const NddoAtom bare = MakeAtom(1, 1, {0, 0, 0, 0, 0});
    double dSs = 1.0;
    ComputeLocalIntegrals(bare, bare, 0.0, &dSs);
    EXPECT_EQ(dSs, 0.0);
}

/// A pair at a distance of 1.3 Angstrom in a direction.
class PairBlocks : public FreshState, public testing::WithParamInterface<std::array<double, 3>> {
  protected:
    PairBlocks() {
        system.MethodId = kMndo;
        const auto [x, y, z] = GetParam();
        const double d = std::sqrt(x * x + y * y + z * z);
        for (int k = 0; k < 3; ++k) vDirection[k] = GetParam()[static_cast<std::size_t>(k)] / d;
    }

    /// B stands at the origin.
    std::vector<double> Block(const NddoAtom& a, const NddoAtom& b, double dSign,
                              PairTerms& terms) const {
        std::vector<double> v(static_cast<std::size_t>(a.nProducts * b.nProducts));
        const double s = dSign;
        ComputePairSp(a, b, {R, {s * vDirection[0], s * vDirection[1], s * vDirection[2]}},
                      v.data(), terms);
        return v;
    }

    /// Coefficients of x, y, z (rows 1 to 3) over sigma, pi and pi' (columns): any axes across.
    void MakeAxes(double c[4][4]) const {
        const double* e = vDirection;
        const bool fX = std::abs(e[0]) < 0.6;
        double u[3] = {fX ? 1.0 : 0.0, fX ? 0.0 : 1.0, 0.0}, w[3];
        const double dAlong = u[0] * e[0] + u[1] * e[1];
        double dNorm = 0.0;
        for (int k = 0; k < 3; ++k) {
            u[k] -= dAlong * e[k];
            dNorm += u[k] * u[k];
        }
        for (double& x : u) x /= std::sqrt(dNorm);
        for (int k = 0; k < 3; ++k)
            w[k] = e[(k + 1) % 3] * u[(k + 2) % 3] - e[(k + 2) % 3] * u[(k + 1) % 3];
        c[0][0] = 1.0;
        for (int k = 0; k < 3; ++k) {
            c[k + 1][1] = e[k];
            c[k + 1][2] = u[k];
            c[k + 1][3] = w[k];
        }
    }

    static constexpr double R = 1.3;
    double vDirection[3];
};

TEST_P(PairBlocks, AreTheLocalIntegralsTurnedIntoMolecularAxes) {
    const NddoAtom a = Carbon(), b = Chlorine();
    PairTerms terms;
    const std::vector<double> v = Block(a, b, 1.0, terms);
    double c[4][4] = {};
    MakeAxes(c);
    double g[4][4][4][4];
    for (int t = 0; t < 256; ++t) {
        const int i = t / 64, j = t / 16 % 4, k = t / 4 % 4, l = t % 4;
        g[i][j][k][l] = LocalIntegral(a, b, i, j, k, l, R * kBohrPerAngstrom);
    }
    for (int m = 0; m < 4; ++m)
        for (int n = 0; n <= m; ++n)
            for (int o = 0; o < 4; ++o)
                for (int p = 0; p <= o; ++p) {
                    double d = 0.0;
                    for (int t = 0; t < 256; ++t) {
                        const int i = t / 64, j = t / 16 % 4, k = t / 4 % 4, l = t % 4;
                        d += c[m][i] * c[n][j] * c[o][k] * c[p][l] * g[i][j][k][l];
                    }
                    const int nEntry = 10 * ProductNumber(m, n) + ProductNumber(o, p);
                    EXPECT_NEAR(v[static_cast<std::size_t>(nEntry)], d, 1e-11) << nEntry;
                }
}

TEST_P(PairBlocks, OfTheTwoOrdersAreTransposes) {
    for (const auto& [a, b] : {std::pair{Carbon(), Chlorine()},
                               {Carbon(), Hydrogen()},
                               {Hydrogen(), Carbon()},
                               {Hydrogen(), Hydrogen()}}) {
        PairTerms ab, ba;
        const std::vector<double> v = Block(a, b, 1.0, ab), w = Block(b, a, -1.0, ba);
        for (int i = 0; i < a.nProducts; ++i)
            for (int j = 0; j < b.nProducts; ++j)
                EXPECT_NEAR(v[static_cast<std::size_t>(i * b.nProducts + j)],
                            w[static_cast<std::size_t>(j * a.nProducts + i)], 1e-13);
        for (int i = 0; i < a.nProducts; ++i) EXPECT_NEAR(ab.vE1b[i], ba.vE2a[i], 1e-12);
        EXPECT_EQ(ab.dPairEnergy, ba.dPairEnergy);
    }
}

TEST_P(PairBlocks, GiveTheAttractionByTheOtherCore) {
    const NddoAtom a = Carbon(), b = Chlorine();
    PairTerms terms;
    const std::vector<double> v = Block(a, b, 1.0, terms);
    for (int m = 0; m < 10; ++m) {
        EXPECT_DOUBLE_EQ(terms.vE1b[m], -7.0 * v[static_cast<std::size_t>(10 * m)]);
        EXPECT_DOUBLE_EQ(terms.vE2a[m], -4.0 * v[static_cast<std::size_t>(m)]);
    }
}

// On each axis, near it and between.
INSTANTIATE_TEST_SUITE_P(Directions, PairBlocks,
                         testing::Values(std::array{1.0, 0.0, 0.0}, std::array{-1.0, 0.0, 0.0},
                                         std::array{0.0, 1.0, 0.0}, std::array{0.0, -1.0, 0.0},
                                         std::array{0.0, 0.0, 1.0}, std::array{0.0, 0.0, -1.0},
                                         std::array{2e-4, -1e-5, 1.0},
                                         std::array{-1e-4, 2e-4, -1.0}, std::array{0.0, 2e-4, 1.0},
                                         std::array{6e-5, -8e-5, -1.0},
                                         std::array{1e-10, 1e-9, 1.0}, std::array{1.0, 1e-9, 1e-8},
                                         std::array{-1e-7, 1.0, 0.0}, std::array{0.3, -0.5, 0.8},
                                         std::array{-0.7, 0.2, -0.4}, std::array{0.5, 0.5, 0.0}));

TEST(LocalFrames, AreOrthonormalHoweverCloseToTheZAxis) {
    for (const double t : {0.0, 1e-15, 1e-13, 1e-11, 1e-8, 1e-5, 1.4e-4, 1e-2})
        for (const double dSign : {1.0, -1.0}) {
            const double v[] = {0.6 * t, -0.8 * t, dSign * std::sqrt(1.0 - t * t)};
            const LocalFrame f = FrameOf(v);
            const auto Dot = [](const double* p, const double* q) {
                return p[0] * q[0] + p[1] * q[1] + p[2] * q[2];
            };
            for (const double* p : {f.e, f.y, f.z}) EXPECT_NEAR(Dot(p, p), 1.0, 1e-14) << t;
            EXPECT_NEAR(Dot(f.e, f.y), 0.0, 1e-12) << t;
            EXPECT_NEAR(Dot(f.e, f.z), 0.0, 1e-12) << t;
            EXPECT_NEAR(Dot(f.y, f.z), 0.0, 1e-12) << t;
            EXPECT_EQ(f.e[2], v[2]);
        }
}

TEST(LocalIntegrals, AtGreatDistanceAreThoseOfTheChargesAsPoints) {
    double v[kLocalIntegrals];
    ComputeLocalIntegrals(Carbon(), Chlorine(), 1e5, v);
    for (int n = 0; n < kLocalIntegrals; ++n) {
        const bool fMonopoles =
            n == 0 || n == 2 || n == 3 || n == 10 || n == 11 || (n >= 15 && n <= 18) || n == 20;
        EXPECT_NEAR(v[n], fMonopoles ? 27.211396 / (1e5 * kBohrPerAngstrom) : 0.0, 1e-8) << n;
    }
}

}  // namespace
}  // namespace qsolve
