#include "scf/orbital_frame.h"

#include <gtest/gtest.h>

#include <cmath>

#include "algebra/diagonalise.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

constexpr int n = 30;

/// Orbitals of a matrix with levels 0.2 apart but for a gap above the full ones, as a frame, and
/// that matrix disturbed by random elements of a size.
struct Framed {
    Framed(int nFull, double dGap, double dSize) : shells{n, nFull, 0, 1.0} {
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
        TakeFrame(shells, vectors.Data(), levels.Data(), frame);
        turns = errors = TestMatrix(frame.nSmall, frame.nLarge);
    }
    bool Place() {
        return PlaceOrbitals(frame, turns.Data(), first.Data(), second.Data(), vectors.Data());
    }
    void FillErrors() {
        ElementsInFrame(frame, turns.Data(), fock.Data(), vectors.Data(), first.Data(),
                        second.Data(), errors.Data());
    }
    /// One step of first order towards no coupling.
    bool Step() {
        FillErrors();
        for (int p = 0; p < frame.nSmall; ++p)
            for (int q = 0; q < frame.nLarge; ++q)
                turns(p, q) += errors(p, q) / (levels(0, frame.nFirstSmall + p) -
                                               levels(0, frame.nFirstLarge + q));
        return Place();
    }
    double Small(int p, int i) const { return vectors(frame.nFirstSmall + p, i); }
    /// Orbital q of the larger side, with its turns, which has not the length 1.
    double Large(int q, int i) const {
        double d = frame.Large()[q * n + i];
        for (int p = 0; p < frame.nSmall; ++p) d -= turns(p, q) * frame.Small()[p * n + i];
        return d;
    }
    TestMatrix Density() const {
        TestMatrix d(n, n), weights(1, n);
        FillDensity(shells, vectors.Data(), weights.Data(), d.Data());
        return d;
    }
    TestMatrix TrueDensity() const {
        TestMatrix copy = fock, c(n, n), values(1, n), d(n, n);
        Diagonalise(n, copy.Data(), c.Data(), values.Data());
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < shells.nFull; ++k) d(i, j) += c(k, i) * c(k, j);
        return d;
    }

    Shells shells;
    OrbitalFrame frame;
    TestMatrix vectors{n, n}, levels{1, n}, fock{n, n}, first{n, n}, second{n, n};
    TestMatrix turns{0, 0}, errors{0, 0};
};

class OrbitalFrames : public FreshState {};

TEST_F(OrbitalFrames, HaveTheSmallerSideOfEither) {
    for (const int nFull : {0, 1, 14, 15, 16, 29, 30}) {
        const Framed framed(nFull, 5.0, 0.0);
        const OrbitalFrame& frame = framed.frame;
        EXPECT_EQ(frame.nSmall, std::min(nFull, n - nFull));
        EXPECT_EQ(frame.nSmall + frame.nLarge, n);
        EXPECT_EQ(frame.CountTurns(), static_cast<std::size_t>(nFull * (n - nFull)));
        EXPECT_EQ(std::min(frame.nFirstSmall, frame.nFirstLarge), 0);
        EXPECT_EQ(std::max(frame.nFirstSmall, frame.nFirstLarge), nFull);
    }
}

/// However it is turned, the smaller side is orthonormal and at right angles to the larger one.
TEST_F(OrbitalFrames, PlaceOrthonormalOrbitals) {
    for (const int nFull : {1, 8, 15, 22, 29}) {
        Framed framed(nFull, 5.0, 0.0);
        const TestMatrix before = framed.vectors, random = RandomMatrix(n, n, 3);
        for (std::size_t i = 0; i < framed.turns.v.size(); ++i)
            framed.turns.v[i] = 0.015 * random.v[i];
        ASSERT_TRUE(framed.Place());
        const OrbitalFrame& frame = framed.frame;
        for (int p = 0; p < frame.nSmall; ++p) {
            for (int r = 0; r < frame.nSmall; ++r) {
                double d = p == r ? -1.0 : 0.0;
                for (int i = 0; i < n; ++i) d += framed.Small(p, i) * framed.Small(r, i);
                EXPECT_NEAR(d, 0.0, 1e-14);
            }
            for (int q = 0; q < frame.nLarge; ++q) {
                double d = 0.0;
                for (int i = 0; i < n; ++i) d += framed.Small(p, i) * framed.Large(q, i);
                EXPECT_NEAR(d, 0.0, 1e-14);
            }
        }
        // The other side stays as it is at hand.
        for (int q = 0; q < frame.nLarge; ++q)
            for (int i = 0; i < n; ++i)
                EXPECT_EQ(framed.vectors(frame.nFirstLarge + q, i),
                          before(frame.nFirstLarge + q, i));
    }
}

TEST_F(OrbitalFrames, GiveTheElementsBetweenTheirSides) {
    for (const int nFull : {8, 22}) {
        Framed framed(nFull, 5.0, 0.3);
        const TestMatrix random = RandomMatrix(n, n, 4);
        for (std::size_t i = 0; i < framed.turns.v.size(); ++i)
            framed.turns.v[i] = 0.015 * random.v[i];
        ASSERT_TRUE(framed.Place());
        framed.FillErrors();
        for (int p = 0; p < framed.frame.nSmall; ++p)
            for (int q = 0; q < framed.frame.nLarge; ++q) {
                double d = 0.0;
                for (int i = 0; i < n; ++i)
                    for (int j = 0; j < n; ++j)
                        d += framed.Small(p, i) * framed.fock(i, j) * framed.Large(q, j);
                EXPECT_NEAR(framed.errors(p, q), d, 1e-13);
            }
    }
}

/// Where all turns are alike and their sum is at its limit, most is to be made orthonormal. The
/// orbitals' sum has all of the error.
TEST_F(OrbitalFrames, AreOrthonormalAtTheLargestTurns) {
    constexpr int nFull = 15;
    Framed framed(nFull, 5.0, 0.0);
    for (double& x : framed.turns.v) x = 0.0148;
    ASSERT_TRUE(framed.Place());
    double dLength = 0.0;
    for (int i = 0; i < n; ++i) {
        double d = 0.0;
        for (int p = 0; p < nFull; ++p) d += framed.Small(p, i);
        dLength += d * d;
    }
    EXPECT_NEAR(dLength / nFull, 1.0, 8e-15);
}

/// Of first order: what is left falls with the square of the disturbance, and is far below it.
TEST_F(OrbitalFrames, LeaveAnErrorOfTheSecondOrder) {
    for (const int nFull : {1, 8, 15, 22, 29}) {
        double dLeft[2];
        for (const int i : {0, 1}) {
            Framed framed(nFull, 5.0, 0.02 / (1 + i));
            const TestMatrix wanted = framed.TrueDensity();
            ASSERT_TRUE(framed.Place());
            const double dBefore = LargestDifference(framed.Density(), wanted);
            ASSERT_TRUE(framed.Step());
            dLeft[i] = LargestDifference(framed.Density(), wanted);
            EXPECT_LT(dLeft[i], 0.05 * dBefore) << nFull;
        }
        EXPECT_NEAR(dLeft[0] / dLeft[1], 4.0, 0.4) << nFull;
    }
}

TEST_F(OrbitalFrames, LeadToTheSolution) {
    for (const int nFull : {8, 22}) {
        Framed framed(nFull, 5.0, 0.05);
        for (int i = 0; i < 30; ++i) ASSERT_TRUE(framed.Step());
        EXPECT_LT(LargestDifference(framed.Density(), framed.TrueDensity()), 1e-12) << nFull;
    }
}

/// Many turns that are small each may be large together.
TEST_F(OrbitalFrames, RefuseTurnsThatAreLargeTogether) {
    constexpr int nFull = 15;
    for (const double dTurn : {0.01, 0.0145, 0.0155, 0.03}) {
        Framed framed(nFull, 5.0, 0.0);
        for (double& x : framed.turns.v) x = dTurn;
        const TestMatrix before = framed.vectors;
        const bool fSmall = nFull * (n - nFull) * dTurn * dTurn < 0.05;
        EXPECT_EQ(framed.Place(), fSmall) << dTurn;
        EXPECT_EQ(framed.vectors.v == before.v, !fSmall) << dTurn;
    }
}

TEST_F(OrbitalFrames, RefuseWhatIsNoNumber) {
    Framed framed(15, 5.0, 0.02);
    const TestMatrix before = framed.vectors;
    framed.turns(3, 4) = std::nan("");
    EXPECT_FALSE(framed.Place());
    EXPECT_EQ(framed.vectors.v, before.v);
}

}  // namespace
}  // namespace qsolve
