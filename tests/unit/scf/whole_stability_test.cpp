#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "scf/stability.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Second derivatives that are a matrix of the test: by exchange alone, whose factor is -2.
WholeHessian HessianOf(const TestMatrix& m, double dEv = 1.0) {
    const auto n = static_cast<std::size_t>(m.nRows);
    WholeHessian whole;
    whole.nSize = m.nRows;
    whole.dEv = dEv;
    whole.vBend.Take(n, kWork);
    whole.vFillings.Take(n, kWork);
    std::fill(whole.vFillings.begin(), whole.vFillings.end(), 1.0);
    whole.mIntegrals.Take(n, n, kWork);
    whole.mExchange.Take(n, n, kWork);
    for (std::size_t i = 0; i < n * n; ++i) whole.mExchange[i] = -0.5 * m.v[i];
    return whole;
}

/// Fails where the search of a matrix does not end with this value and a vector that belongs to it.
void ExpectLowest(const TestMatrix& m, double dValue) {
    const auto n = static_cast<std::size_t>(m.nRows);
    std::vector<double> v(n, 7.0);
    const Curvature found = LowestCurvature(HessianOf(m), Turn::kSame, v.data());
    EXPECT_TRUE(found.fKnown);
    EXPECT_TRUE(found.fLowest);
    EXPECT_EQ(found.nProducts, 0);
    EXPECT_NEAR(found.dLowest, dValue, kLowestError) << n;
    double dSquare = 0.0, dRest = 0.0;
    for (int i = 0; i < m.nRows; ++i) {
        double d = -found.dLowest * v[static_cast<std::size_t>(i)];
        for (int j = 0; j < m.nRows; ++j) d += m(i, j) * v[static_cast<std::size_t>(j)];
        dRest += d * d;
        dSquare += v[static_cast<std::size_t>(i)] * v[static_cast<std::size_t>(i)];
    }
    EXPECT_NEAR(dSquare, 1.0, 1e-10);
    EXPECT_LT(std::sqrt(dRest), 1e-3) << n;
}

/// 1, 1.7, 2.4, ... with one of them another.
std::vector<double> Ladder(int n, double dOther) {
    std::vector<double> values;
    for (int i = 0; i < n; ++i) values.push_back(1.0 + 0.7 * i);
    values.back() = dOther;
    return values;
}

class WholeStability : public FreshState {};

TEST_F(WholeStability, FindsTheLowestEigenvalueOfAnyMatrix) {
    for (const int n : {1, 2, 3, 15, 16, 17, 18, 25, 40, 90})
        for (const double d : {-3.0, 0.0, 0.999})
            ExpectLowest(WithEigenvalues(Ladder(n, d), static_cast<std::uint64_t>(n)), d);
}

TEST_F(WholeStability, FindsOneOfEqualOnes) {
    std::vector<double> values = Ladder(50, 0.5);
    values[7] = values[8] = 0.5;
    ExpectLowest(WithEigenvalues(values, 3), 0.5);
    ExpectLowest(WithEigenvalues(std::vector<double>(30, 2.5), 4), 2.5);
    ExpectLowest(TestMatrix(20, 20), 0.0);
}

/// Two blocks that know nothing of one another, as two symmetries: the starts are all of the one
/// with the smaller elements on the diagonal, the lowest eigenvalue is of the other.
TEST_F(WholeStability, FindsWhatNoStartIsPartOf) {
    constexpr int kFirst = 20, kSecond = 30;
    std::vector<double> close;
    for (int i = 0; i < kFirst; ++i) close.push_back(2.0 + 0.01 * i);
    std::vector<double> wide;
    for (int i = 0; i < kSecond; ++i) wide.push_back(i == 0 ? 1.5 : 20.0 + i);
    const TestMatrix a = WithEigenvalues(close, 1), b = WithEigenvalues(wide, 2);
    TestMatrix m(kFirst + kSecond, kFirst + kSecond);
    double dLargestOfFirst = 0.0, dSmallestOfSecond = 1e9;
    for (int i = 0; i < kFirst; ++i)
        for (int j = 0; j < kFirst; ++j) m(i, j) = a(i, j);
    for (int i = 0; i < kSecond; ++i)
        for (int j = 0; j < kSecond; ++j) m(kFirst + i, kFirst + j) = b(i, j);
    for (int i = 0; i < m.nRows; ++i)
        (i < kFirst ? dLargestOfFirst = std::max(dLargestOfFirst, m(i, i))
                    : dSmallestOfSecond = std::min(dSmallestOfSecond, m(i, i)));
    ASSERT_LT(dLargestOfFirst, dSmallestOfSecond);
    ExpectLowest(m, 1.5);
}

/// Eigenvalues that crowd at the lower end want many more vectors than the space holds.
TEST_F(WholeStability, StartsAnewWhereTheSpaceIsFull) {
    std::vector<double> values;
    for (int i = 0; i < 80; ++i) values.push_back(1.0 + 0.004 * i * i);
    ExpectLowest(WithEigenvalues(values, 5), 1.0);
}

/// The error is one in eV, whatever the unit of the matrix.
TEST_F(WholeStability, IsInElectronvolts) {
    const TestMatrix m = WithEigenvalues(Ladder(40, 0.25), 6);
    std::vector<double> v(40);
    const Curvature found = LowestCurvature(HessianOf(m, 27.2), Turn::kSame, v.data());
    EXPECT_NEAR(found.dLowest, 27.2 * 0.25, kLowestError);
}

TEST_F(WholeStability, OfNothingIsKnown) {
    const Curvature found = LowestCurvature(HessianOf(TestMatrix(0, 0)), Turn::kSame, nullptr);
    EXPECT_TRUE(found.fKnown);
    EXPECT_TRUE(found.fLowest);
    EXPECT_EQ(found.dLowest, 0.0);
}

TEST_F(WholeStability, OfWhatIsNoNumberIsNotKnown) {
    for (const int n : {10, 40}) {
        TestMatrix m = WithEigenvalues(Ladder(n, 0.25), 6);
        m(7, 3) = m(3, 7) = std::nan("");
        std::vector<double> v(static_cast<std::size_t>(n));
        const Curvature found = LowestCurvature(HessianOf(m), Turn::kSame, v.data());
        EXPECT_FALSE(found.fLowest || found.fKnown) << n;
    }
}

}  // namespace
}  // namespace qsolve
