#include "scf/turn.h"

#include <gtest/gtest.h>

#include <cmath>

#include "algebra/diagonalise.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

constexpr int n = 30;

/// Orbitals of a matrix with levels 0.2 apart but for a gap above the full ones, and that matrix
/// disturbed by random elements of a size.
struct Turned {
    Turned(int nFull, double dGap, double dSize) : shells{n, nFull, 0, 1.0} {
        TestMatrix other = RandomSymmetric(n, 1), values(1, n);
        Diagonalise(n, other.Data(), vectors.Data(), values.Data());
        const TestMatrix change = RandomSymmetric(n, 2);
        for (int k = 0; k < n; ++k) levels(0, k) = 0.2 * k + (k < nFull ? 0.0 : dGap);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                fock(i, j) = dSize * change(i, j);
                for (int k = 0; k < n; ++k)
                    fock(i, j) += levels(0, k) * vectors(k, i) * vectors(k, j);
            }
    }
    bool Turn() {
        TestMatrix first(n, n), second(n, n);
        used = fock;
        return TurnOrbitals(shells, used.Data(), levels.Data(), vectors.Data(), first.Data(),
                            second.Data());
    }
    TestMatrix Density(const TestMatrix& c) const {
        TestMatrix d(n, n);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < shells.nFull; ++k) d(i, j) += c(k, i) * c(k, j);
        return d;
    }
    /// The density summed over the smaller side, which is what the cycles take.
    TestMatrix OwnDensity() const {
        TestMatrix d(n, n), weights(1, n);
        FillDensity(shells, vectors.Data(), weights.Data(), d.Data());
        return d;
    }
    TestMatrix TrueDensity() const {
        TestMatrix copy = fock, c(n, n), values(1, n);
        Diagonalise(n, copy.Data(), c.Data(), values.Data());
        return Density(c);
    }

    Shells shells;
    TestMatrix vectors{n, n}, levels{1, n}, fock{n, n}, used{n, n};
};

class Turning : public FreshState {};

/// Of first order: what is left falls with the square of the disturbance, and is far below it.
TEST_F(Turning, LeavesAnErrorOfTheSecondOrder) {
    for (const int nFull : {1, 8, 15, 22, 29}) {
        double dLeft[2];
        for (const int i : {0, 1}) {
            Turned turned(nFull, 5.0, 0.02 / (1 + i));
            const TestMatrix wanted = turned.TrueDensity();
            const double dBefore = LargestDifference(turned.OwnDensity(), wanted);
            ASSERT_TRUE(turned.Turn());
            dLeft[i] = LargestDifference(turned.OwnDensity(), wanted);
            EXPECT_LT(dLeft[i], 0.05 * dBefore) << nFull;
        }
        EXPECT_NEAR(dLeft[0] / dLeft[1], 4.0, 0.4) << nFull;
    }
}

/// Turn after turn the orbitals of the smaller side stay orthonormal to rounding, the others to the
/// second order of what is turned, and the density goes to the solution.
TEST_F(Turning, ConvergesToOrthonormalOrbitals) {
    for (const int nFull : {8, 22}) {
        Turned turned(nFull, 5.0, 0.05);
        for (int i = 0; i < 30; ++i) ASSERT_TRUE(turned.Turn());
        EXPECT_LT(LargestDifference(turned.OwnDensity(), turned.TrueDensity()), 1e-10) << nFull;
        const LevelRange own = SummedLevels(turned.shells);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                double d = i == j ? -1.0 : 0.0;
                for (int k = 0; k < n; ++k) d += turned.vectors(i, k) * turned.vectors(j, k);
                const bool fOwn =
                    i >= own.nFirst && i < own.nEnd && j >= own.nFirst && j < own.nEnd;
                ASSERT_NEAR(d, 0.0, fOwn ? 1e-13 : 1e-2) << i << ' ' << j;
            }
    }
}

TEST_F(Turning, RefusesLargeTurnsAndLeavesTheOrbitals) {
    Turned turned(15, 0.0, 0.2);
    const TestMatrix before = turned.vectors;
    EXPECT_FALSE(turned.Turn());
    EXPECT_EQ(turned.vectors.v, before.v);
    Turned open(15, 5.0, 0.02);
    open.shells.nOpen = 1;
    EXPECT_FALSE(open.Turn());
}

/// Many turns that are small each may be large together. The solver that takes over then wants the
/// matrix.
TEST_F(Turning, RefusesWhatIsLargeTogetherAndLeavesAll) {
    constexpr int nFull = 15;
    for (const double dTurn : {0.01, 0.03}) {
        Turned turned(nFull, 5.0, 0.0);
        for (int p = 0; p < nFull; ++p)
            for (int q = nFull; q < n; ++q) {
                const double d = dTurn * (turned.levels(0, p) - turned.levels(0, q));
                for (int i = 0; i < n; ++i)
                    for (int j = 0; j < n; ++j)
                        turned.fock(i, j) += d * (turned.vectors(p, i) * turned.vectors(q, j) +
                                                  turned.vectors(q, i) * turned.vectors(p, j));
            }
        const TestMatrix before = turned.vectors;
        const bool fSmall = nFull * (n - nFull) * dTurn * dTurn < 0.05;
        EXPECT_EQ(turned.Turn(), fSmall) << dTurn;
        EXPECT_EQ(turned.vectors.v == before.v, !fSmall) << dTurn;
        EXPECT_EQ(turned.used.v == turned.fock.v, !fSmall) << dTurn;
    }
}

TEST_F(Turning, RefusesWhatIsNoNumber) {
    Turned turned(15, 5.0, 0.02);
    turned.fock(3, 4) = turned.fock(4, 3) = std::nan("");
    EXPECT_FALSE(turned.Turn());
}

}  // namespace
}  // namespace qsolve
