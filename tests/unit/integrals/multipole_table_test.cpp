#include "integrals/multipole_table.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "integrals/nddo_store.h"

namespace qsolve {
namespace {

constexpr double kEv = 27.211396;
enum { kS, kX, kY, kZ, kZ2, kXz, kYz, kX2, kXy };

// ---- the same by a direct sum over all charges -------------------------------------------------

struct Charge {
    double q, x, y, z;
};

/// Charges of a multipole with the angular form of an orbital.
std::vector<Charge> ChargesOf(int nForm, double D) {
    const double e = std::sqrt(2.0) * D;
    switch (nForm) {
        case kS:
            return {{1, 0, 0, 0}};
        case kX:
            return {{0.5, D, 0, 0}, {-0.5, -D, 0, 0}};
        case kY:
            return {{0.5, 0, D, 0}, {-0.5, 0, -D, 0}};
        case kZ:
            return {{0.5, 0, 0, D}, {-0.5, 0, 0, -D}};
        case kZ2:
            return {{0.25, 0, 0, e},    {0.25, 0, 0, -e},  {-0.125, e, 0, 0},
                    {-0.125, -e, 0, 0}, {-0.125, 0, e, 0}, {-0.125, 0, -e, 0}};
        case kXz:
            return {{0.25, D, 0, D}, {0.25, -D, 0, -D}, {-0.25, D, 0, -D}, {-0.25, -D, 0, D}};
        case kYz:
            return {{0.25, 0, D, D}, {0.25, 0, -D, -D}, {-0.25, 0, D, -D}, {-0.25, 0, -D, D}};
        case kX2:
            return {{0.25, e, 0, 0}, {0.25, -e, 0, 0}, {-0.25, 0, e, 0}, {-0.25, 0, -e, 0}};
        default:
            return {{0.25, D, D, 0}, {0.25, -D, -D, 0}, {-0.25, D, -D, 0}, {-0.25, -D, D, 0}};
    }
}

/// One multipole that the product of two orbitals holds.
struct Part {
    int i, j, nForm;
    Multipole t;
    double c;
};

/// As published by Thiel and Voityuk.
std::vector<Part> Parts() {
    const double r = 1 / std::sqrt(3.0), f = 4.0 / 3.0, h = 2.0 / 3.0;
    const Multipole M = kMonopoleS, N = kMonopoleD, sp = kDipoleSp, pd = kDipolePd;
    const Multipole pp = kQuadrupolePp, sd = kQuadrupoleSd, dd = kQuadrupoleDd;
    return {
        {kS, kS, kS, M, 1},          {kX, kS, kX, sp, 1},         {kY, kS, kY, sp, 1},
        {kZ, kS, kZ, sp, 1},         {kX, kX, kS, M, 1},          {kX, kX, kZ2, pp, -h},
        {kX, kX, kX2, pp, 1},        {kY, kY, kS, M, 1},          {kY, kY, kZ2, pp, -h},
        {kY, kY, kX2, pp, -1},       {kZ, kZ, kS, M, 1},          {kZ, kZ, kZ2, pp, f},
        {kY, kX, kXy, pp, 1},        {kZ, kX, kXz, pp, 1},        {kZ, kY, kYz, pp, 1},
        {kZ2, kS, kZ2, sd, 2 * r},   {kXz, kS, kXz, sd, 1},       {kYz, kS, kYz, sd, 1},
        {kX2, kS, kX2, sd, 1},       {kXy, kS, kXy, sd, 1},       {kZ2, kZ, kZ, pd, 2 * r},
        {kZ2, kX, kX, pd, -r},       {kZ2, kY, kY, pd, -r},       {kXz, kX, kZ, pd, 1},
        {kXz, kZ, kX, pd, 1},        {kYz, kY, kZ, pd, 1},        {kYz, kZ, kY, pd, 1},
        {kX2, kX, kX, pd, 1},        {kX2, kY, kY, pd, -1},       {kXy, kX, kY, pd, 1},
        {kXy, kY, kX, pd, 1},        {kZ2, kZ2, kS, N, 1},        {kZ2, kZ2, kZ2, dd, f},
        {kXz, kXz, kS, N, 1},        {kXz, kXz, kZ2, dd, h},      {kXz, kXz, kX2, dd, 1},
        {kYz, kYz, kS, N, 1},        {kYz, kYz, kZ2, dd, h},      {kYz, kYz, kX2, dd, -1},
        {kX2, kX2, kS, N, 1},        {kX2, kX2, kZ2, dd, -f},     {kXy, kXy, kS, N, 1},
        {kXy, kXy, kZ2, dd, -f},     {kXz, kZ2, kXz, dd, r},      {kYz, kZ2, kYz, dd, r},
        {kX2, kZ2, kX2, dd, -2 * r}, {kXy, kZ2, kXy, dd, -2 * r}, {kYz, kXz, kXy, dd, 1},
        {kX2, kXz, kXz, dd, 1},      {kX2, kYz, kYz, dd, -1},     {kXy, kXz, kYz, dd, 1},
        {kXy, kYz, kXz, dd, 1},
    };
}

double DirectInteraction(const Part& a, const MultipoleTerms& termsA, const Part& b,
                         const MultipoleTerms& termsB, double R) {
    const double dRho = termsA.dRho[a.t] + termsB.dRho[b.t];
    double d = 0.0;
    for (const Charge& p : ChargesOf(a.nForm, termsA.dSeparation[a.t]))
        for (const Charge& q : ChargesOf(b.nForm, termsB.dSeparation[b.t])) {
            const double x = p.x - q.x, y = p.y - q.y, z = R + p.z - q.z;
            d += p.q * q.q / std::sqrt(x * x + y * y + z * z + dRho * dRho);
        }
    return kEv * a.c * b.c * d;
}

int ProductsOfKind(int nKind) {
    return std::array{1, 10, 45}[static_cast<std::size_t>(nKind)];
}

std::vector<double> DirectBlock(const MultipoleTerms& a, const MultipoleTerms& b, double R) {
    const int nA = ProductsOfKind(a.nKind), nB = ProductsOfKind(b.nKind);
    std::vector<double> block(static_cast<std::size_t>(nA * nB), 0.0);
    for (const Part& p : Parts())
        for (const Part& q : Parts()) {
            const int m = ProductNumber(p.i, p.j), n = ProductNumber(q.i, q.j);
            if (m < nA && n < nB)
                block[static_cast<std::size_t>(m * nB + n)] += DirectInteraction(p, a, q, b, R);
        }
    return block;
}

MultipoleTerms RandomTerms(int nKind, unsigned nSeed) {
    std::mt19937 engine(nSeed);
    std::uniform_real_distribution<double> number(0.4, 1.6);
    MultipoleTerms terms;
    terms.nKind = nKind;
    for (double& d : terms.dSeparation) d = number(engine);
    for (double& d : terms.dRho) d = number(engine);
    return terms;
}

std::vector<double> BlockOf(const MultipoleTerms& a, const MultipoleTerms& b, double R) {
    double vInteraction[kInteractions];
    EXPECT_TRUE(ComputeMultipoleInteractions(a, b, R, vInteraction));
    std::vector<double> block(
        static_cast<std::size_t>(ProductsOfKind(a.nKind) * ProductsOfKind(b.nKind)));
    EXPECT_TRUE(ExpandLocalBlock(a.nKind, b.nKind, vInteraction, block.data()));
    return block;
}

class Kinds : public testing::TestWithParam<std::pair<int, int>> {};

TEST_P(Kinds, LocalBlockIsTheSumOverAllPointCharges) {
    const auto [nKindA, nKindB] = GetParam();
    for (const double R : {0.5, 2.7, 9.0}) {
        const MultipoleTerms a = RandomTerms(nKindA, 1), b = RandomTerms(nKindB, 2);
        const std::vector<double> block = BlockOf(a, b, R), expected = DirectBlock(a, b, R);
        ASSERT_EQ(block.size(), expected.size());
        for (std::size_t t = 0; t < block.size(); ++t)
            ASSERT_NEAR(block[t], expected[t], 1e-12 * kEv) << t << " at " << R;
    }
}

/// Exchanging the atoms turns the axis round, which changes the sign of x and z, and so of the
/// products with an odd number of them.
TEST_P(Kinds, ExchangedAtomsHaveTheTransposedBlock) {
    const auto [nKindA, nKindB] = GetParam();
    const auto SignOf = [](int i) { return i == kX || i == kZ || i == kYz || i == kXy ? -1 : 1; };
    const MultipoleTerms a = RandomTerms(nKindA, 3), b = RandomTerms(nKindB, 4);
    const std::vector<double> block = BlockOf(a, b, 2.2), exchanged = BlockOf(b, a, 2.2);
    const int nA = ProductsOfKind(nKindA), nB = ProductsOfKind(nKindB);
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j <= i; ++j)
            for (int k = 0; k < 9; ++k)
                for (int l = 0; l <= k; ++l) {
                    const int m = ProductNumber(i, j), n = ProductNumber(k, l);
                    if (m >= nA || n >= nB) continue;
                    const int nSign = SignOf(i) * SignOf(j) * SignOf(k) * SignOf(l);
                    ASSERT_NEAR(block[static_cast<std::size_t>(m * nB + n)],
                                nSign * exchanged[static_cast<std::size_t>(n * nA + m)], 1e-12);
                }
}
INSTANTIATE_TEST_SUITE_P(All, Kinds,
                         testing::Values(std::pair{0, 0}, std::pair{1, 0}, std::pair{0, 1},
                                         std::pair{1, 1}, std::pair{2, 0}, std::pair{0, 2},
                                         std::pair{2, 1}, std::pair{1, 2}, std::pair{2, 2}));

TEST(MultipoleTable, InteractionsHaveTheirClosedForms) {
    const MultipoleTerms a = RandomTerms(2, 5), b = RandomTerms(2, 6);
    const double R = 2.5;
    double v[kInteractions];
    ASSERT_TRUE(ComputeMultipoleInteractions(a, b, R, v));
    const auto Quotient = [&](double along, double across, Multipole s, Multipole t) {
        return kEv / std::hypot(along, across, a.dRho[s] + b.dRho[t]);
    };
    const Multipole M = kMonopoleS, D = kDipolePd, Q = kQuadrupoleDd;
    const double d = b.dSeparation[D], e = std::sqrt(2.0) * b.dSeparation[Q];
    const double dA = a.dSeparation[D];
    EXPECT_NEAR(v[InteractionIndex(M, M, 0)], Quotient(R, 0, M, M), 1e-12);
    EXPECT_NEAR(v[InteractionIndex(M, D, 0)],
                0.5 * (Quotient(R - d, 0, M, D) - Quotient(R + d, 0, M, D)), 1e-12);
    EXPECT_NEAR(
        v[InteractionIndex(M, Q, 0)],
        0.25 * (Quotient(R - e, 0, M, Q) + Quotient(R + e, 0, M, Q)) - 0.5 * Quotient(R, e, M, Q),
        1e-12);
    EXPECT_NEAR(v[InteractionIndex(D, D, 1)],
                0.5 * (Quotient(R, dA - d, D, D) - Quotient(R, dA + d, D, D)), 1e-12);
}

/// Without a difference between directions across the axis, a turn by 45 degrees about it, which
/// exchanges x2-y2 and xy, leaves every integral as it is.
TEST(MultipoleTable, TurningAboutTheAxisExchangesTheTypesOfDelta) {
    const std::vector<double> block = BlockOf(RandomTerms(2, 7), RandomTerms(2, 8), 3.0);
    const auto At = [&](int i, int j, int k, int l) {
        return block[static_cast<std::size_t>(ProductNumber(i, j) * 45 + ProductNumber(k, l))];
    };
    EXPECT_NEAR(At(kX2, kS, kX2, kS), At(kXy, kS, kXy, kS), 1e-12);
    EXPECT_NEAR(At(kX2, kX2, kZ2, kZ2), At(kXy, kXy, kZ2, kZ2), 1e-12);
    EXPECT_NEAR(At(kX, kX, kX, kX) - At(kX, kX, kY, kY), 2 * At(kY, kX, kY, kX), 1e-12);
    EXPECT_NEAR(At(kXz, kXz, kX, kX) - At(kXz, kXz, kY, kY), 2 * At(kYz, kXz, kY, kX), 1e-12);
    EXPECT_NEAR(At(kXz, kXz, kYz, kYz), At(kYz, kYz, kXz, kXz), 1e-12);
}

TEST(MultipoleTable, UnusableTermsAreRefusedWithZeros) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const MultipoleTerms good = RandomTerms(2, 9);
    for (const double dRho : {0.0, -1.0, kInfinity, std::nan("")})
        for (const Multipole t : {kMonopoleS, kDipolePd, kQuadrupoleDd}) {
            MultipoleTerms bad = good;
            bad.dRho[t] = dRho;
            double v[kInteractions];
            EXPECT_FALSE(ComputeMultipoleInteractions(bad, good, 2.0, v));
            EXPECT_FALSE(ComputeMultipoleInteractions(good, bad, 2.0, v));
            for (const double d : v) EXPECT_EQ(d, 0.0);
        }
    MultipoleTerms bad = good;
    bad.dSeparation[kDipoleSp] = kInfinity;
    double v[kInteractions];
    EXPECT_FALSE(ComputeMultipoleInteractions(bad, good, 2.0, v));
    EXPECT_FALSE(ComputeMultipoleInteractions(good, good, std::nan(""), v));
    bad = good;
    bad.nKind = 3;
    EXPECT_FALSE(ComputeMultipoleInteractions(bad, good, 2.0, v));
    double vBlock[1];
    EXPECT_FALSE(ExpandLocalBlock(3, 0, v, vBlock));
    EXPECT_FALSE(ExpandLocalBlock(0, -1, v, vBlock));
}

TEST(MultipoleTable, TermsOfMissingShellsAreNotLookedAt) {
    MultipoleTerms a = RandomTerms(1, 10), b = RandomTerms(0, 11);
    const std::vector<double> block = BlockOf(a, b, 1.5);
    a.dRho[kMonopoleD] = a.dRho[kDipolePd] = a.dRho[kQuadrupoleSd] = a.dRho[kQuadrupoleDd] = 0.0;
    b.dRho[kDipoleSp] = b.dRho[kQuadrupolePp] = std::nan("");
    EXPECT_EQ(BlockOf(a, b, 1.5), block);
}

}  // namespace
}  // namespace qsolve
