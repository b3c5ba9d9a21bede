#include "integrals/rotation.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

constexpr int kMembers[3][5] = {
    {kSigma}, {kPi1, kSigma, kPi2}, {kDelta1, kPi1, kSigma, kPi2, kDelta2}};

class Rotations : public testing::TestWithParam<std::array<double, 3>> {
  protected:
    Rotations() {
        const auto v = GetParam();
        dDistance = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        BuildRotation(v.data(), dDistance, 3, mRotation);
    }
    double At(int nOrbital, int nFunction) const {
        return mRotation[nOrbital * kLocalFunctions + nFunction];
    }
    double dDistance;
    double mRotation[kAtomOrbitals * kLocalFunctions];
};

TEST_P(Rotations, AreOrthogonalWithinEachShell) {
    for (int l = 0; l < 3; ++l)
        for (int i = kShellBegin[l]; i < kShellBegin[l + 1]; ++i)
            for (int j = kShellBegin[l]; j < kShellBegin[l + 1]; ++j) {
                double dSum = 0.0;
                for (int f = 0; f < kLocalFunctions; ++f) dSum += At(i, f) * At(j, f);
                EXPECT_NEAR(dSum, i == j ? 1.0 : 0.0, 1e-12) << i << " " << j;
            }
}

TEST_P(Rotations, HaveRightHandedAxesWithSigmaAlongTheVector) {
    const auto v = GetParam();
    double vSigma[3], vPi1[3], vPi2[3];
    for (int c = 0; c < 3; ++c) {
        vSigma[c] = At(1 + c, kSigma);
        vPi1[c] = At(1 + c, kPi1);
        vPi2[c] = At(1 + c, kPi2);
        EXPECT_NEAR(vSigma[c], v[static_cast<std::size_t>(c)] / dDistance, 1e-10);
    }
    for (int c = 0; c < 3; ++c) {
        const int u = (c + 1) % 3, w = (c + 2) % 3;
        EXPECT_NEAR(vPi2[u] * vPi1[w] - vPi2[w] * vPi1[u], vSigma[c], 1e-12);
    }
}

TEST_P(Rotations, ExpressOrbitalsInTheLocalFrame) {
    // At a point r, the orbitals in molecular axes are the same combination of those of the frame
    // (pi-2, pi-1, sigma) as its (x, y, z).
    const double r[3] = {0.7, -1.1, 0.4};
    double q[3] = {};
    for (int c = 0; c < 3; ++c) {
        q[0] += At(1 + c, kPi2) * r[c];
        q[1] += At(1 + c, kPi1) * r[c];
        q[2] += At(1 + c, kSigma) * r[c];
    }
    const int nLocalType[3][5] = {{0}, {2, 3, 1}, {8, 6, 4, 5, 7}};  // of kMembers
    for (int l = 0; l < 3; ++l)
        for (int i = kShellBegin[l]; i < kShellBegin[l + 1]; ++i) {
            double dSum = 0.0;
            for (int f = 0; f < 2 * l + 1; ++f)
                dSum += At(i, kMembers[l][f]) *
                        SlaterOrbital(3, 1.0, nLocalType[l][f], q[0], q[1], q[2]);
            EXPECT_NEAR(dSum, SlaterOrbital(3, 1.0, i, r[0], r[1], r[2]), 1e-12) << "orbital " << i;
        }
}

TEST_P(Rotations, TurnOneFrameIntoTheOther) {
    const auto v = GetParam();
    const double vUnit[3] = {v[0] / dDistance, v[1] / dDistance, v[2] / dDistance};
    double m[kAtomOrbitals * kAtomOrbitals];
    BuildRotation(vUnit, m, kAtomOrbitals);
    for (int i = 0; i < kAtomOrbitals; ++i)
        for (int j = 0; j < kAtomOrbitals; ++j) {
            double dSum = 0.0;
            for (int a = 0; a < kAtomOrbitals; ++a)
                dSum += m[kAtomOrbitals * a + i] * m[kAtomOrbitals * a + j];
            EXPECT_NEAR(dSum, i == j ? 1.0 : 0.0, 1e-12) << i << " " << j;
        }
    // A point has the coordinates q in the frame whose axes px', py', pz' the rows are.
    const double r[3] = {0.7, -1.1, 0.4};
    double q[3] = {};
    for (int a = 0; a < 3; ++a)
        for (int c = 0; c < 3; ++c) q[a] += m[kAtomOrbitals * (1 + a) + 1 + c] * r[c];
    for (int i = 0; i < kAtomOrbitals; ++i) {
        double dSum = 0.0;
        for (int a = 0; a < kAtomOrbitals; ++a)
            dSum += m[kAtomOrbitals * a + i] * SlaterOrbital(3, 1.0, a, q[0], q[1], q[2]);
        EXPECT_NEAR(dSum, SlaterOrbital(3, 1.0, i, r[0], r[1], r[2]), 1e-12) << "orbital " << i;
    }
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(m[kAtomOrbitals * 3 + 1 + c], vUnit[c], 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Vectors, Rotations,
                         testing::Values(std::array{0.3, -0.8, 1.1}, std::array{-2.0, 0.5, -0.1},
                                         std::array{1.0, 0.0, 0.0}, std::array{0.0, -2.0, 0.0},
                                         std::array{0.0, 0.0, 1.5}, std::array{0.0, 0.0, -1.5},
                                         std::array{1e-11, 0.0, 2.0}, std::array{1e-9, -2e-9, -2.0},
                                         std::array{0.0, 1e-6, 3.0}));

TEST(Rotation, FillsNoMoreThanTheShellsAskedFor) {
    const double v[3] = {0.6, 0.0, 0.8};
    double mRotation[kAtomOrbitals * kLocalFunctions];
    for (int nShells : {1, 2}) {
        BuildRotation(v, 1.0, nShells, mRotation);
        for (int i = kShellBegin[nShells] * kLocalFunctions; i < kAtomOrbitals * kLocalFunctions;
             ++i)
            EXPECT_EQ(mRotation[i], 0.0);
    }
}

TEST(Rotation, BetweenFramesFillsNoMoreThanTheOrbitalsAskedFor) {
    const double v[3] = {0.6, 0.0, 0.8};
    double m[kAtomOrbitals * kAtomOrbitals];
    for (int nOrbitals : {1, 4}) {
        BuildRotation(v, m, nOrbitals);
        EXPECT_EQ(m[0], 1.0);
        for (int i = 0; i < kAtomOrbitals; ++i)
            for (int j = 0; j < kAtomOrbitals; ++j)
                if (i >= nOrbitals || j >= nOrbitals) {
                    EXPECT_EQ(m[kAtomOrbitals * i + j], 0.0);
                }
    }
}

TEST(Rotation, GeneratorsTurnOrbitalsAsSmallRotationsDo) {
    // A block of outer products f_i(r) f_j(r') turns as its factors do when r and r' turn.
    const double r[3] = {0.7, -1.1, 0.4}, s[3] = {-0.2, 0.9, 1.3}, w = 1e-5;
    for (int nAxis = 0; nAxis < 3; ++nAxis) {
        const auto Block = [&](double dAngle, double* m) {
            double x[2][3];
            for (int k = 0; k < 2; ++k) {
                const double* p = k ? s : r;
                const int u = (nAxis + 1) % 3, v = (nAxis + 2) % 3;
                x[k][nAxis] = p[nAxis];
                x[k][u] = p[u] * std::cos(dAngle) - p[v] * std::sin(dAngle);
                x[k][v] = p[u] * std::sin(dAngle) + p[v] * std::cos(dAngle);
            }
            for (int i = 0; i < kAtomOrbitals; ++i)
                for (int j = 0; j < kAtomOrbitals; ++j)
                    m[kAtomOrbitals * i + j] = SlaterOrbital(3, 1.0, i, x[0][0], x[0][1], x[0][2]) *
                                               SlaterOrbital(3, 1.0, j, x[1][0], x[1][1], x[1][2]);
        };
        double m[81], mUp[81], mDown[81], mRotated[81];
        Block(0.0, m);
        Block(w, mUp);
        Block(-w, mDown);
        RotateInfinitesimally(nAxis, 3, 3, m, mRotated);
        for (int i = 0; i < 81; ++i) EXPECT_NEAR(mRotated[i], (mUp[i] - mDown[i]) / (2 * w), 1e-9);
    }
}

}  // namespace
}  // namespace qsolve
