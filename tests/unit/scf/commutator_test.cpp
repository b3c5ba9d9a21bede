#include "scf/commutator.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "algebra/diagonalise.h"
#include "scf/electrons.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// A Fock matrix, orthonormal orbitals of another matrix, and weights that are all different.
struct Orbitals {
    explicit Orbitals(int n)
        : fock(RandomSymmetric(n, 1)), vectors(n, n), weights(static_cast<std::size_t>(n)) {
        TestMatrix other = RandomSymmetric(n, 2), values(1, n);
        Diagonalise(n, other.Data(), vectors.Data(), values.Data());
        for (int k = 0; k < n; ++k) weights[static_cast<std::size_t>(k)] = 0.5 + 0.01 * k;
    }
    TestMatrix fock, vectors;
    std::vector<double> weights;
};

class CommutatorOfDensity : public FreshState {};

/// By the matrix or by the sum, short or long, and with any multiple of the unit matrix in it.
TEST_F(CommutatorOfDensity, IsThatOfTheMatrices) {
    for (const int n : {1, 2, 9, 40, 600}) {
        Orbitals o(n);
        for (const auto& [nFirst, nEnd] : {std::pair{0, n / 3}, {n - n / 3, n}, {0, n}}) {
            TestMatrix density(n, n), work(n, n), error(n, n, 7.0);
            for (int i = 0; i < n; ++i) {
                density(i, i) = 0.25;
                for (int k = nFirst; k < nEnd; ++k)
                    for (int j = 0; j < n; ++j)
                        density(i, j) += 2.0 * o.weights[static_cast<std::size_t>(k)] *
                                         o.vectors(k, i) * o.vectors(k, j);
            }
            const TestMatrix fd = NaiveProduct(o.fock, density), df = NaiveProduct(density, o.fock);
            const double* const kNone = nullptr;
            for (const double* mVectors : {kNone, std::as_const(o.vectors).Data()}) {
                Commutator(n, o.fock.Data(),
                           {density.Data(), nFirst, nEnd, mVectors, o.weights.data(), 2.0},
                           work.Data(), error.Data());
                for (int i = 0; i < n; ++i)
                    for (int j = 0; j <= i; ++j)
                        // n products of numbers below 1, in two sums
                        ASSERT_NEAR(error(i, j), fd(i, j) - df(i, j), 1e-14 * n) << n;
            }
        }
    }
}

/// Populations alone, of which no product is formed, and nearly alone.
TEST_F(CommutatorOfDensity, IsThatOfPopulations) {
    for (const double dBeside : {0.0, 1e-3}) {
        const int n = 20;
        const TestMatrix fock = RandomSymmetric(n, 1);
        TestMatrix density(n, n), work(n, n), error(n, n, 7.0);
        for (int i = 0; i < n; ++i) density(i, i) = 0.1 * i;
        density(n - 1, n - 2) = density(n - 2, n - 1) = dBeside;
        const TestMatrix fd = NaiveProduct(fock, density), df = NaiveProduct(density, fock);
        Commutator(n, fock.Data(), {density.Data()}, work.Data(), error.Data());
        for (int i = 0; i < n; ++i)
            for (int j = 0; j <= i; ++j) ASSERT_NEAR(error(i, j), fd(i, j) - df(i, j), 1e-14);
    }
}

/// Wherever it stands.
TEST_F(CommutatorOfDensity, LargestElementIsFoundInEachPlace) {
    const auto Expect = [](int n, int i, int j) {
        TestMatrix fock(n, n), density(n, n), work(n, n), error(n, n);
        for (int k = 0; k < n; ++k) density(k, k) = 2.0 * k / n;
        fock(i, j) = fock(j, i) = 0.5;
        EXPECT_NEAR(FockError(n, fock.Data(), {density.Data()}, work.Data(), error.Data()),
                    static_cast<double>(i - j) / n, 1e-14)
            << i << ' ' << j << " of " << n;
    };
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < i; ++j) Expect(6, i, j);
    for (const int i : {1, 100, 299}) Expect(300, i, 0);
    Expect(300, 299, 298);
}

}  // namespace
}  // namespace qsolve
