#include "scf/diis.h"

#include <gtest/gtest.h>

#include "algebra/diagonalise.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Diis : public FreshState {
  protected:
    static constexpr int n = 8;
    TestMatrix errors{kDiisVectors * n, n}, focks{kDiisVectors * n, n}, work{n, n};
    DiisHistory history;
    TestMatrix target = RandomSymmetric(n, 1), density = Projector(target, 3);

    /// Projector on the nOcc lowest eigenvectors, which commutes with the matrix.
    static TestMatrix Projector(TestMatrix f, int nOcc) {
        TestMatrix c(n, n), e(1, n), p(n, n);
        Diagonalise(n, f.Data(), c.Data(), e.Data());
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < nOcc; ++k) p(i, j) += c(k, i) * c(k, j);
        return p;
    }
    double CommutatorSize(const TestMatrix& f) const {
        return LargestDifference(NaiveProduct(f, density), NaiveProduct(density, f));
    }
    /// Square of the Frobenius norm of F P - P F.
    double SquaredError(const TestMatrix& f) const {
        const TestMatrix fp = NaiveProduct(f, density), pf = NaiveProduct(density, f);
        double dSum = 0.0;
        for (std::size_t i = 0; i < fp.v.size(); ++i)
            dSum += (fp.v[i] - pf.v[i]) * (fp.v[i] - pf.v[i]);
        return dSum;
    }
    void Extrapolate(TestMatrix& f) {
        ExtrapolateFockDiis(n, f.Data(), {density.Data()}, errors.Data(), focks.Data(), work.Data(),
                            history);
    }
    /// The target with random parts of nDirections fixed disturbances.
    TestMatrix Disturbed(int nDirections, std::uint64_t nSeed) const {
        Randoms randoms(nSeed);
        TestMatrix f = target;
        for (int k = 0; k < nDirections; ++k) {
            const TestMatrix d = RandomSymmetric(n, 100 + static_cast<std::uint64_t>(k));
            const double x = randoms.Number();
            for (std::size_t i = 0; i < f.v.size(); ++i) f.v[i] += x * d.v[i];
        }
        return f;
    }
};

TEST_F(Diis, SolvesALinearProblemInOneStepMoreThanItHasUnknowns) {
    for (int nUnknowns = 1; nUnknowns <= 4; ++nUnknowns) {
        history = DiisHistory{};
        TestMatrix f(n, n);
        for (int nStep = 1; nStep <= nUnknowns + 1; ++nStep) {
            f = Disturbed(nUnknowns, static_cast<std::uint64_t>(10 * nUnknowns + nStep));
            Extrapolate(f);
            EXPECT_EQ(history.nDiisCount, nStep);
            if (nStep <= nUnknowns) {
                EXPECT_GT(CommutatorSize(f), 1e-3);
            }
        }
        EXPECT_LE(CommutatorSize(f), 1e-11) << nUnknowns;
    }
}

TEST_F(Diis, LeavesTheFirstMatrixAlone) {
    TestMatrix f = Disturbed(3, 1);
    const TestMatrix before = f;
    Extrapolate(f);
    EXPECT_EQ(f.v, before.v);
    EXPECT_FALSE(history.fDiisRestart);
    EXPECT_EQ(history.nDiisSlot, 1);
}

TEST_F(Diis, KeepsTheErrorAndItsMeanSquare) {
    TestMatrix f = Disturbed(3, 1);
    const TestMatrix fp = NaiveProduct(f, density), pf = NaiveProduct(density, f);
    Extrapolate(f);
    double dSum = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) {
            EXPECT_NEAR(errors(i, j), fp(i, j) - pf(i, j), 1e-14);
            dSum += errors(i, j) * errors(i, j);
        }
    EXPECT_NEAR(history.dDiisError, dSum / (n * (n - 1) / 2), 1e-14);
}

TEST_F(Diis, FindsTheSameErrorFromTheOrbitalsOfTheDensity) {
    const int nBig = 250, nFirst = 170;
    TestMatrix f = RandomSymmetric(nBig, 5), g = RandomSymmetric(nBig, 6), c(nBig, nBig),
               e(1, nBig), w = RandomMatrix(1, nBig, 7), p(nBig, nBig), scratch(nBig, nBig);
    Diagonalise(nBig, g.Data(), c.Data(), e.Data());
    for (int i = 0; i < nBig; ++i) {  // holes, and a part of the unit matrix, which commutes
        p(i, i) += 1.0;
        for (int j = 0; j < nBig; ++j)
            for (int k = nFirst; k < nBig; ++k) p(i, j) += 0.5 * w(0, k) * c(k, i) * c(k, j);
    }
    TestMatrix wanted(kDiisVectors * nBig, nBig), found = wanted, kept = wanted, same = f;
    DiisHistory one, other;
    ExtrapolateFockDiis(nBig, f.Data(), {p.Data()}, wanted.Data(), kept.Data(), scratch.Data(),
                        one);
    ExtrapolateFockDiis(nBig, same.Data(), {p.Data(), nFirst, nBig, c.Data(), w.Data(), 0.5},
                        found.Data(), kept.Data(), scratch.Data(), other);
    for (int i = 0; i < nBig; ++i)
        for (int j = 0; j <= i; ++j) ASSERT_NEAR(found(i, j), wanted(i, j), 1e-12);
    EXPECT_GT(std::abs(wanted(3, 1)), 1e-3);
    EXPECT_NEAR(other.dDiisError, one.dDiisError, 1e-12 * one.dDiisError);
}

TEST_F(Diis, WrapsAfterFiveAndStillMinimisesOverTheLastFive) {
    TestMatrix f(n, n);
    for (std::uint64_t nStep = 1; nStep <= 7; ++nStep) {
        f = Disturbed(6, nStep);
        Extrapolate(f);
    }
    EXPECT_EQ(history.nDiisCount, 5);
    EXPECT_EQ(history.nDiisSlot, 2);
    // Least error: no mixture of the result with one of the five is better.
    const double dBest = SquaredError(f);
    for (std::uint64_t nStep = 3; nStep <= 7; ++nStep)
        for (const double x : {0.01, -0.01}) {
            TestMatrix g = Disturbed(6, nStep);
            for (std::size_t i = 0; i < g.v.size(); ++i) g.v[i] = (1.0 - x) * f.v[i] + x * g.v[i];
            EXPECT_GT(SquaredError(g), dBest);
        }
}

TEST_F(Diis, StartsANewHistoryAfterASingularSystem) {
    TestMatrix f = Disturbed(3, 1), same = f;
    Extrapolate(f);
    Extrapolate(same);
    EXPECT_TRUE(history.fDiisRestart);
    EXPECT_EQ(same.v, f.v);
    TestMatrix next = Disturbed(3, 2);
    Extrapolate(next);
    EXPECT_EQ(history.nDiisCount, 1);
    EXPECT_EQ(history.nDiisSlot, 1);
    EXPECT_FALSE(history.fDiisRestart);
}

TEST_F(Diis, OfOneOrbitalHasNoError) {
    DiisHistory one;
    double f = -0.5, p = 1.0, e[kDiisVectors], fs[kDiisVectors], w;
    for (int i = 0; i < 3; ++i) ExtrapolateFockDiis(1, &f, {&p}, e, fs, &w, one);
    EXPECT_EQ(f, -0.5);
    EXPECT_EQ(one.dDiisError, 0.0);
}

}  // namespace
}  // namespace qsolve
