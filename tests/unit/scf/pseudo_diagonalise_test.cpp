#include "scf/pseudo_diagonalise.h"

#include <gtest/gtest.h>

#include "algebra/diagonalise.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

class PseudoDiagonaliser : public FreshState {
  protected:
    /// Eigenvectors of a matrix near to f, and their energies.
    void Start(int n, double dDistance) {
        TestMatrix a = f;
        const TestMatrix change = RandomSymmetric(n, 2);
        for (std::size_t i = 0; i < a.v.size(); ++i) a.v[i] += dDistance * change.v[i];
        Diagonalise(n, a.Data(), c.Data(), e.Data());
    }
    void Sweep(int n, int nOcc) {
        TestMatrix scratch(n, n), work(n, n);
        PseudoDiagonalise(n, nOcc, f.Data(), c.Data(), e.Data(), scratch.Data(), work.Data());
    }
    /// The largest element of F between an occupied and a virtual orbital.
    double Coupling(int n, int nOcc) const {
        const TestMatrix m = NaiveProduct(NaiveProduct(c, f), NaiveTransposed(c));
        double dLargest = 0.0;
        for (int i = 0; i < nOcc; ++i)
            for (int j = nOcc; j < n; ++j) dLargest = std::max(dLargest, std::abs(m(i, j)));
        return dLargest;
    }
    TestMatrix f{0, 0}, c{0, 0}, e{0, 0};
    void Take(int n) {
        f = RandomSymmetric(n, 1);
        for (int i = 0; i < n; ++i) f(i, i) += 3.0 * i;
        c = TestMatrix(n, n);
        e = TestMatrix(1, n);
    }
};

TEST_F(PseudoDiagonaliser, LessensTheCouplingAndKeepsTheOrbitalsOrthogonal) {
    for (const int n : {2, 3, 9, 40, 120}) {
        const int nOcc = (n + 1) / 2;
        Take(n);
        Start(n, 0.01);
        const double dBefore = Coupling(n, nOcc);
        Sweep(n, nOcc);
        EXPECT_LE(Coupling(n, nOcc), 0.2 * dBefore) << n;
        TestMatrix overlap = NaiveProduct(c, NaiveTransposed(c)), unit(n, n);
        for (int i = 0; i < n; ++i) unit(i, i) = 1.0;
        EXPECT_LE(LargestDifference(overlap, unit), 1e-13) << n;
    }
}

TEST_F(PseudoDiagonaliser, SolvesTwoLevelsExactlyForEitherSignOfTheCoupling) {
    for (const double dGap : {2.0, 0.1, 0.0}) {
        for (const double dCoupling : {0.3, -0.3}) {
            Take(2);
            f(0, 0) = 0.0, f(1, 1) = dGap, f(0, 1) = f(1, 0) = dCoupling;
            c(0, 0) = c(1, 1) = 1.0;
            e(0, 1) = dGap;
            Sweep(2, 1);
            EXPECT_LE(Coupling(2, 1), 1e-15) << dGap << " " << dCoupling;
        }
    }
}

TEST_F(PseudoDiagonaliser, RotatesAsTheNaiveSweepDoes) {
    const int n = 23, nOcc = 9;
    Take(n);
    Start(n, 0.05);
    TestMatrix wanted = c;
    const TestMatrix m = NaiveProduct(NaiveProduct(c, f), NaiveTransposed(c));
    const double dLargest = Coupling(n, nOcc);
    int nSkipped = 0;
    for (int j = nOcc; j < n; ++j)
        for (int i = 0; i < nOcc; ++i) {
            if (std::abs(m(i, j)) < 0.05 * dLargest) {
                ++nSkipped;
                continue;
            }
            const double a = e(0, i) - e(0, j);  // below 0: the occupied level is the lower one
            const double d = -std::sqrt(a * a + 4.0 * m(i, j) * m(i, j));
            const double alpha = std::sqrt(0.5 * (a / d + 1.0));
            const double beta = (m(i, j) < 0.0 ? 1.0 : -1.0) * std::sqrt(1.0 - alpha * alpha);
            for (int k = 0; k < n; ++k) {
                const double x = wanted(i, k), y = wanted(j, k);
                wanted(i, k) = alpha * x + beta * y;
                wanted(j, k) = alpha * y - beta * x;
            }
        }
    EXPECT_GT(nSkipped, 0);
    Sweep(n, nOcc);
    // 1 - alpha^2 loses half the digits of a small angle.
    EXPECT_LE(LargestDifference(c, wanted), 1e-8);
}

TEST_F(PseudoDiagonaliser, DoesNothingWithoutOccupiedOrVirtualOrbitals) {
    Take(5);
    Start(5, 0.1);
    const TestMatrix before = c;
    Sweep(5, 0);
    Sweep(5, 5);
    EXPECT_EQ(c.v, before.v);
}

TEST_F(PseudoDiagonaliser, LeavesOrbitalsWithoutCouplingAlone) {
    Take(4);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) f(i, j) = 0.0;
    for (int i = 0; i < 4; ++i) c(i, i) = 1.0;
    const TestMatrix before = c;  // equal levels and no coupling: nothing may be divided
    Sweep(4, 2);
    EXPECT_EQ(c.v, before.v);
}

TEST_F(PseudoDiagonaliser, SkipsRotationsBelowTheFloor) {
    EXPECT_EQ(kRotationFloor, 10.0 * std::sqrt(std::numeric_limits<double>::epsilon()));
    Take(2);
    f(0, 0) = 0.0, f(1, 1) = 1.0;
    c(0, 0) = c(1, 1) = 1.0;
    e(0, 1) = 1.0;
    const TestMatrix before = c;
    f(0, 1) = f(1, 0) = 0.99 * kRotationFloor;
    Sweep(2, 1);
    EXPECT_EQ(c.v, before.v);
    f(0, 1) = f(1, 0) = 1.01 * kRotationFloor;
    Sweep(2, 1);
    EXPECT_NE(c(0, 1), 0.0);
}

}  // namespace
}  // namespace qsolve
