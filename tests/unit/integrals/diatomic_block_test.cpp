#include "integrals/diatomic_block.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

#include "setup/parameters.h"
#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

constexpr int kSize = kAtomOrbitals * kAtomOrbitals;

struct Molecule {
    const char* sName;
    int nElementA, nOrbitalsA, nElementB, nOrbitalsB;
};

ShellExponents Exponents(int nElement) {
    switch (nElement) {
        case 1:
            return {1.2, 0.0, 0.0};
        case 6:
            return {1.625, 1.7, 0.0};
        case 17:
            return {2.033, 2.033, 1.2};
        case 26:
            return {1.37, 1.37, 6.068, 2.618, 0.40379, 0.71984};
        default:
            return {1.9, 1.4, 4.3, 1.9, 0.55, 0.6};
    }
}

AtomShells Shells(int nElement, int nOrbitals) {
    return MakeAtomShells(kZindoS, nElement, nOrbitals, Exponents(nElement));
}

using Block = std::array<double, kSize>;

Block OverlapOf(const Molecule& m, const std::array<double, 3>& v, OverlapWeights w = {}) {
    Block block;
    block.fill(99.0);
    ComputeDiatomicOverlap(Shells(m.nElementA, m.nOrbitalsA), Shells(m.nElementB, m.nOrbitalsB),
                           v.data(), w, block.data());
    return block;
}

constexpr Molecule kMolecules[] = {
    {"HH", 1, 1, 1, 1},   {"HC", 1, 1, 6, 4},     {"CCl", 6, 4, 17, 4},   {"CFe", 6, 4, 26, 9},
    {"FeH", 26, 9, 1, 1}, {"FeFe", 26, 9, 26, 9}, {"FeRu", 26, 9, 44, 9}, {"BrC", 35, 4, 6, 4}};

class EveryKindOfPair : public testing::TestWithParam<Molecule> {};

/// Value of orbital nType of an atom at a point relative to it, its d shell contracted.
double AtomOrbital(int nElement, int nType, const double* r) {
    const ShellExponents x = Exponents(nElement);
    const int n = kPrincipalQuantum[nElement - 1];
    if (nType < 4) return SlaterOrbital(n, nType ? x.dZetaP : x.dZetaS, nType, r[0], r[1], r[2]);
    const int nD = nElement > 18 ? n - 1 : n;
    return x.dCoefD1 * SlaterOrbital(nD, x.dZetaD1, nType, r[0], r[1], r[2]) +
           x.dCoefD2 * SlaterOrbital(nD, x.dZetaD2, nType, r[0], r[1], r[2]);
}

TEST_P(EveryKindOfPair, EqualsTheIntegralsOverSpace) {
    const Molecule m = GetParam();
    const std::array<double, 3> v = {1.5, -2.1, 2.4};
    const double R = std::sqrt(1.5 * 1.5 + 2.1 * 2.1 + 2.4 * 2.4);
    // Any frame with its z axis along v.
    const double ez[3] = {v[0] / R, v[1] / R, v[2] / R}, h = std::hypot(ez[0], ez[1]);
    const double ex[3] = {ez[1] / h, -ez[0] / h, 0.0};
    const double ey[3] = {ez[1] * ex[2] - ez[2] * ex[1], ez[2] * ex[0] - ez[0] * ex[2],
                          ez[0] * ex[1] - ez[1] * ex[0]};
    Block expected{};
    for (int b = 0; b < m.nOrbitalsB; ++b)
        for (int a = 0; a < m.nOrbitalsA; ++a)
            expected[static_cast<std::size_t>(kAtomOrbitals * b + a)] =
                IntegrateTwoCentres(R, 2.5, 5, [&](double x, double y, double z) {
                    double ra[3], rb[3];
                    for (int c = 0; c < 3; ++c) {
                        ra[c] = x * ex[c] + y * ey[c] + z * ez[c];
                        rb[c] = ra[c] - v[static_cast<std::size_t>(c)];
                    }
                    return AtomOrbital(m.nElementA, a, ra) * AtomOrbital(m.nElementB, b, rb);
                });
    const Block block = OverlapOf(m, v);
    for (std::size_t i = 0; i < kSize; ++i) EXPECT_NEAR(block[i], expected[i], 3e-6) << i;
}

TEST_P(EveryKindOfPair, HasTheDerivativesOfItsBlockForTheFirstAtom) {
    const Molecule m = GetParam();
    const OverlapWeights weights = {1.267, 0.585};
    const AtomShells a = Shells(m.nElementA, m.nOrbitalsA), b = Shells(m.nElementB, m.nOrbitalsB);
    for (const std::array<double, 3> v :
         {std::array{1.1, -0.7, 1.9}, std::array{-3.0, 1.0, 0.2}, std::array{0.0, 0.0, 2.2},
          std::array{0.0, 0.0, -2.2}, std::array{1e-9, 0.0, 2.2}, std::array{0.0, 2.7, 0.0}}) {
        double mDerivative[3][kSize];
        ComputeDiatomicOverlapDerivative(a, b, v.data(), weights, mDerivative[0], mDerivative[1],
                                         mDerivative[2]);
        for (std::size_t c = 0; c < 3; ++c) {
            const double h = 1e-4;
            auto up = v, down = v;  // a step of A shortens the vector
            up[c] -= h;
            down[c] += h;
            const Block blockUp = OverlapOf(m, up, weights),
                        blockDown = OverlapOf(m, down, weights);
            for (std::size_t i = 0; i < kSize; ++i)
                EXPECT_NEAR(mDerivative[c][i], (blockUp[i] - blockDown[i]) / (2 * h), 2e-7)
                    << "axis " << c << ", entry " << i << ", z " << v[2];
        }
    }
}

TEST_P(EveryKindOfPair, KeepsItsInvariantsUnderRotation) {
    // The sum of squares of each shell pair does not depend on the direction.
    const Molecule m = GetParam();
    const auto Sums = [&](const std::array<double, 3>& v) {
        const Block block = OverlapOf(m, v);
        std::array<double, 9> sums{};
        for (std::size_t lb = 0; lb < 3; ++lb)
            for (std::size_t la = 0; la < 3; ++la)
                for (int b = kShellBegin[lb]; b < kShellBegin[lb + 1]; ++b)
                    for (int a = kShellBegin[la]; a < kShellBegin[la + 1]; ++a)
                        sums[3 * lb + la] +=
                            std::pow(block[static_cast<std::size_t>(9 * b + a)], 2);
        return sums;
    };
    const auto reference = Sums({0.0, 0.0, 3.0});
    for (const std::array<double, 3> v :
         {std::array{0.0, 0.0, -3.0}, std::array{3.0, 0.0, 0.0}, std::array{2.0, -1.0, 2.0},
          std::array{-1.0, -2.0, -2.0}}) {
        const auto sums = Sums(v);
        for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(sums[i], reference[i], 1e-12) << i;
    }
}

TEST_P(EveryKindOfPair, IsTransposedWhenTheAtomsChangePlaces) {
    const Molecule m = GetParam();
    const Block block = OverlapOf(m, {1.2, 0.5, -2.0});
    const Block swapped =
        OverlapOf({"", m.nElementB, m.nOrbitalsB, m.nElementA, m.nOrbitalsA}, {-1.2, -0.5, 2.0});
    for (std::size_t i = 0; i < 9; ++i)
        for (std::size_t j = 0; j < 9; ++j)
            EXPECT_NEAR(block[9 * i + j], swapped[9 * j + i], 1e-12) << i << " " << j;
}

TEST_P(EveryKindOfPair, VanishesOutsideItsReach) {
    const Molecule m = GetParam();
    const AtomShells a = Shells(m.nElementA, m.nOrbitalsA), b = Shells(m.nElementB, m.nOrbitalsB);
    double x[kSize], y[kSize], z[kSize];
    for (double R : {0.0, 0.0009, 100.0, 1e5, std::nan("")}) {
        const double v[3] = {0.0, R, 0.0};
        for (double d : OverlapOf(m, {v[0], v[1], v[2]})) EXPECT_EQ(d, 0.0);
        ComputeDiatomicOverlapDerivative(a, b, v, {}, x, y, z);
        for (int i = 0; i < kSize; ++i) EXPECT_TRUE(x[i] == 0.0 && y[i] == 0.0 && z[i] == 0.0);
    }
    EXPECT_NE(OverlapOf(m, {99.999, 0.0, 0.0})[0], 0.0);
}

INSTANTIATE_TEST_SUITE_P(Pairs, EveryKindOfPair, testing::ValuesIn(kMolecules),
                         [](const auto& pair) { return std::string(pair.param.sName); });

TEST(DiatomicBlock, KeepsThePiSignOfAPairBelowTheZAxis) {
    const Molecule m{"", 6, 4, 6, 4};
    const Block up = OverlapOf(m, {0.0, 0.0, 2.6}), down = OverlapOf(m, {0.0, 0.0, -2.6});
    EXPECT_GT(up[9 * 1 + 1], 0.05);
    EXPECT_NEAR(up[9 * 1 + 1], down[9 * 1 + 1], 1e-14);
    EXPECT_NEAR(up[9 * 3 + 0], -down[9 * 3 + 0], 1e-14);
}

TEST(DiatomicBlock, WeightsSigmaAndPiOfPAndNothingElse) {
    const Molecule m{"", 26, 9, 26, 9};
    const std::array<double, 3> v = {0.0, 0.0, 4.0};
    const Block plain = OverlapOf(m, v), weighted = OverlapOf(m, v, {1.25, 0.5});
    const Block unit = OverlapOf(m, v, {1.0, 1.0});
    for (std::size_t i = 0; i < kSize; ++i) {
        const bool fPp = i / 9 >= 1 && i / 9 <= 3 && i % 9 >= 1 && i % 9 <= 3;
        EXPECT_EQ(unit[i], plain[i]);
        if (!fPp) {
            EXPECT_EQ(weighted[i], plain[i]);
        }
    }
    EXPECT_NEAR(weighted[9 * 3 + 3], 1.25 * plain[9 * 3 + 3], 1e-15);
    EXPECT_NEAR(weighted[9 * 1 + 1], 0.5 * plain[9 * 1 + 1], 1e-15);
}

TEST(DiatomicBlock, IgnoresALoneCoefficientOfADShell) {
    ShellExponents lone = Exponents(26), unit = lone;
    lone.dCoefD1 = 0.6;
    lone.dCoefD2 = 1e-5;
    unit.dCoefD1 = 1.0;
    unit.dCoefD2 = 0.0;
    const AtomShells h = Shells(1, 1);
    const double v[3] = {1.0, 1.0, 2.0};
    Block one, other;
    ComputeDiatomicOverlap(MakeAtomShells(kZindo1, 26, 9, lone), h, v, {}, one.data());
    ComputeDiatomicOverlap(MakeAtomShells(kZindo1, 26, 9, unit), h, v, {}, other.data());
    EXPECT_EQ(one, other);
    EXPECT_NE(one, OverlapOf({"", 26, 9, 1, 1}, {1.0, 1.0, 2.0}));
}

TEST(AtomShells, HaveAsManyShellsAsTheirElementAndBasisAllow) {
    const ShellExponents x = {1.0, 1.0, 0.0};
    EXPECT_EQ(MakeAtomShells(kCndo, 1, 1, x).nShells, 1);
    EXPECT_EQ(MakeAtomShells(kCndo, 6, 4, x).nShells, 2);
    EXPECT_EQ(MakeAtomShells(kCndo, 0, 0, x).nShells, 0);
    EXPECT_EQ(MakeAtomShells(kCndo, -3, 4, x).nShells, 0);
    EXPECT_EQ(MakeAtomShells(kCndo, kRows + 1, 4, x).nShells, 0);
    EXPECT_EQ(MakeAtomShells(kCndo, 6, 4, x).fLight, true);
    EXPECT_EQ(MakeAtomShells(kCndo, 19, 4, x).fLight, false);
    EXPECT_EQ(MakeAtomShells(kCndo, kCappingOffset + 6, 4, x).fLight, false);
    EXPECT_EQ(MakeAtomShells(kMndoD, 17, 9, x).fLight, false);
    EXPECT_EQ(MakeAtomShells(kMndoD, 17, 9, x).d[0].dZeta, kSmallestZetaD);
    EXPECT_EQ(MakeAtomShells(kMndoD, 17, 9, x).d[0].nPrincipal, 3);
    EXPECT_EQ(MakeAtomShells(kZindoS, 26, 9, x).d[0].nPrincipal, 3);
    EXPECT_EQ(MakeAtomShells(kMndoD, 35, 9, x).d[0].nPrincipal, 4);
}

}  // namespace
}  // namespace qsolve
