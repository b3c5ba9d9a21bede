#include "algebra/diagonalise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <tuple>
#include <utility>

#include "numeric/pool.h"
#include "numeric/product.h"
#include "numeric/trace.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Solution {
    TestMatrix vectors, values;
};

/// Diagonalises with not-a-numbers in the upper triangle, which must not be read.
Solution Solve(const TestMatrix& a, bool fQuickly = false) {
    TestMatrix copy = a;
    for (int i = 0; i < a.nRows; ++i)
        for (int j = i + 1; j < a.nRows; ++j) copy(i, j) = kNaN;
    Solution solution{TestMatrix(a.nRows, a.nRows), TestMatrix(1, a.nRows)};
    if (fQuickly)
        DiagonaliseQuickly(a.nRows, 0, a.nRows, copy.Data(), solution.vectors.Data(),
                           solution.values.Data());
    else
        Diagonalise(a.nRows, copy.Data(), solution.vectors.Data(), solution.values.Data());
    return solution;
}

/// |V V^T - 1| and |A v - e v| / |A|, the largest elements.
std::pair<double, double> Errors(const TestMatrix& a, const Solution& s) {
    const int n = a.nRows;
    TestMatrix product(n, n), residual(n, n);
    MultiplyByTransposed(n, n, n, s.vectors.Data(), s.vectors.Data(), product.Data());
    for (int i = 0; i < a.nRows; ++i) product(i, i) -= 1.0;
    Multiply(n, n, n, s.vectors.Data(), a.Data(), residual.Data());
    for (int k = 0; k < a.nRows; ++k)
        for (int i = 0; i < a.nRows; ++i) residual(k, i) -= s.values(0, k) * s.vectors(k, i);
    const TestMatrix zero(a.nRows, a.nRows);
    return {LargestDifference(product, zero),
            LargestDifference(residual, zero) / std::max(RowNorm(a), 1e-300)};
}

TestMatrix FromRule(int n, const std::function<double(int)>& rule) {
    std::vector<double> values;
    for (int i = 0; i < n; ++i) values.push_back(rule(i));
    return WithEigenvalues(values, 5);
}

TestMatrix Diagonal(int n, const std::function<double(int)>& rule) {
    TestMatrix a(n, n);
    for (int i = 0; i < n; ++i) a(i, i) = rule(i);
    return a;
}

/// nChains equal chains, their atoms in turn.
TestMatrix Chains(int n, int nChains) {
    TestMatrix a(n, n);
    for (int i = 0; i + nChains < n; ++i) a(i, i + nChains) = a(i + nChains, i) = -1.0;
    return a;
}

TestMatrix Wilkinson(int n) {
    TestMatrix a = Diagonal(n, [n](int i) { return std::abs(i - n / 2); });
    for (int i = 0; i + 1 < n; ++i) a(i, i + 1) = a(i + 1, i) = 1.0;
    return a;
}

/// Element i, j of the order of 10^(-p (i + j)).
TestMatrix Graded(int n, double p) {
    TestMatrix a = RandomSymmetric(n, 9);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) a(i, j) *= std::pow(10.0, -p * (i + j));
    return a;
}

TestMatrix Scaled(TestMatrix a, double dFactor) {
    for (double& x : a.v) x *= dFactor;
    return a;
}

struct MatrixKind {
    const char* sName;
    TestMatrix (*make)(int n);
};

// clang-format off
const MatrixKind kKinds[] = {
    {"Random",        [](int n) { return RandomSymmetric(n, 1); }},
    {"RandomLarge",   [](int n) { return Scaled(RandomSymmetric(n, 2), 1e6); }},
    {"RandomSmall",   [](int n) { return Scaled(RandomSymmetric(n, 3), 1e-6); }},
    {"Degenerate",    [](int n) { return FromRule(n, [](int i) { return i / 4; }); }},
    {"CloseForNorm",  [](int n) { return FromRule(n, [](int i) { return i ? 0.06 * i : 1e7; }); }},
    {"AlmostUnit",    [](int n) { return FromRule(n, [](int) { return 1.0; }); }},
    {"Clusters6",     [](int n) { return FromRule(n, [](int i) { return i / 8 + 1e-6 * i; }); }},
    {"Clusters9",     [](int n) { return FromRule(n, [](int i) { return i / 8 + 1e-9 * i; }); }},
    {"Clusters12",    [](int n) { return FromRule(n, [](int i) { return i / 8 + 1e-12 * i; }); }},
    {"GradedValues",  [](int n) { return FromRule(n, [](int i) { return std::pow(0.7, i); }); }},
    {"Graded",        [](int n) { return Graded(n, 0.05); }},
    {"Steep",         [](int n) { return Graded(n, 0.4); }},
    {"Diagonal",      [](int n) { return Diagonal(n, [](int i) { return std::sin(9.0 * i); }); }},
    {"DiagonalEqual", [](int n) { return Diagonal(n, [](int i) { return i % 5; }); }},
    {"Unit",          [](int n) { return Diagonal(n, [](int) { return 1.0; }); }},
    {"Zero",          [](int n) { return TestMatrix(n, n); }},
    {"Ones",          [](int n) { return TestMatrix(n, n, 1.0); }},
    {"TwoChains",     [](int n) { return Chains(n, 2); }},
    {"FiveChains",    [](int n) { return Chains(n, 5); }},
    {"Wilkinson",     Wilkinson},
};
// clang-format on

class EigenSolver : public FreshState,
                    public testing::WithParamInterface<std::tuple<MatrixKind, int>> {};

TEST_P(EigenSolver, GivesOrthogonalVectorsOfLeastResidualInAscendingOrder) {
    const auto& [kind, n] = GetParam();
    const TestMatrix a = kind.make(n);
    const Solution s = Solve(a);
    const auto [dOverlap, dResidual] = Errors(a, s);
    EXPECT_LE(dOverlap, 1e-14 * (n + 2));
    EXPECT_LE(dResidual, 1e-15 * (n + 2));
    EXPECT_TRUE(std::is_sorted(s.values.v.begin(), s.values.v.end()));
    double dTrace = 0.0, dSum = 0.0;
    for (int i = 0; i < n; ++i) dTrace += a(i, i), dSum += s.values(0, i);
    EXPECT_NEAR(dSum, dTrace, 1e-14 * n * (RowNorm(a) + 1e-15));
}

// One reflector after the other rounds somewhat more than panels of them.
TEST_P(EigenSolver, QuicklyGivesTheSameToRounding) {
    const auto& [kind, n] = GetParam();
    const TestMatrix a = kind.make(n);
    const Solution s = Solve(a, true), slow = Solve(a);
    const auto [dOverlap, dResidual] = Errors(a, s);
    EXPECT_LE(dOverlap, 1e-14 * (n + 2));
    EXPECT_LE(dResidual, 2e-15 * (n + 2));
    EXPECT_TRUE(std::is_sorted(s.values.v.begin(), s.values.v.end()));
    EXPECT_LE(LargestDifference(s.values, slow.values), 2e-15 * (n + 2) * RowNorm(a));
}

TEST_P(EigenSolver, GivesTheValuesAlone) {
    const auto& [kind, n] = GetParam();
    const TestMatrix a = kind.make(n);
    TestMatrix copy = a, values(1, n);
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) copy(i, j) = kNaN;
    Eigenvalues(n, copy.Data(), values.Data());
    EXPECT_TRUE(std::is_sorted(values.v.begin(), values.v.end()));
    EXPECT_LE(LargestDifference(values, Solve(a).values), 2e-15 * (n + 2) * RowNorm(a));
}

/// Whether rows nFirst .. nEnd - 1 of two sets of vectors are the same to rounding: the products of
/// a vector with those of its own value and of its near neighbours add up to its square.
double Outside(const Solution& whole, const Solution& part, int nFirst, int nEnd, double dNear) {
    double dLargest = 0.0;
    const int n = whole.vectors.nRows;
    for (int k = nFirst; k < nEnd; ++k) {
        double dRest = 1.0;
        for (int j = 0; j < n; ++j) {
            if (!(std::abs(whole.values(0, j) - whole.values(0, k)) <= dNear)) continue;
            const double d = Dot(n, &whole.vectors.v[static_cast<std::size_t>(j * n)],
                                 &part.vectors.v[static_cast<std::size_t>(k * n)]);
            dRest -= d * d;
        }
        dLargest = std::max(dLargest, std::abs(dRest));
    }
    return dLargest;
}

TEST_P(EigenSolver, GivesTheVectorsOfARangeAsItGivesAll) {
    const auto& [kind, n] = GetParam();
    const TestMatrix a = kind.make(n);
    const Solution whole = Solve(a);
    for (const auto& [nFirst, nEnd] : {std::pair{0, n / 2}, {n / 3, n}, {n / 2, n / 2}, {0, n}}) {
        TestMatrix copy = a;
        Solution part{TestMatrix(n, n, kNaN), TestMatrix(1, n)};
        DiagonaliseRange(n, nFirst, nEnd, copy.Data(), part.vectors.Data(), part.values.Data());
        ASSERT_EQ(part.values.v, whole.values.v);
        EXPECT_LE(Outside(whole, part, nFirst, nEnd, 1e-3 * RowNorm(a)), 1e-13 * (n + 2));
        for (int i = nFirst; i < nEnd; ++i)
            for (int j = nFirst; j <= i; ++j)
                ASSERT_NEAR(Dot(n, &part.vectors.v[static_cast<std::size_t>(i * n)],
                                &part.vectors.v[static_cast<std::size_t>(j * n)]),
                            i == j ? 1.0 : 0.0, 1e-14 * (n + 2));
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, EigenSolver,
                         testing::Combine(testing::ValuesIn(kKinds),
                                          testing::Values(0, 1, 2, 3, 4, 5, 7, 8, 9, 33, 34, 35, 66,
                                                          67, 100)),
                         [](const auto& test) {
                             return std::get<0>(test.param).sName +
                                    std::to_string(std::get<1>(test.param));
                         });

class Diagonaliser : public FreshState {};

TEST_F(Diagonaliser, IsAsGoodForSixHundredOrbitals) {
    for (const MatrixKind& kind : kKinds) {
        const std::string sName = kind.sName;
        if (sName != "Random" && sName != "Degenerate" && sName != "Clusters9" &&
            sName != "TwoChains")
            continue;
        const TestMatrix a = kind.make(600);
        const auto [dOverlap, dResidual] = Errors(a, Solve(a));
        EXPECT_LE(dOverlap, 1e-12) << kind.sName;
        EXPECT_LE(dResidual, 1e-13) << kind.sName;
    }
}

TEST_F(Diagonaliser, FindsTheLevelsAloneOfEveryKind) {
    for (const MatrixKind& kind : kKinds) {
        for (const int n : {256, 301}) {
            const TestMatrix a = kind.make(n);
            TestMatrix copy = a, values(1, n);
            Eigenvalues(n, copy.Data(), values.Data());
            EXPECT_TRUE(std::is_sorted(values.v.begin(), values.v.end())) << kind.sName;
            EXPECT_LE(LargestDifference(values, Solve(a).values), 2e-15 * n * RowNorm(a))
                << kind.sName;
            double dTrace = 0.0, dSum = 0.0, dSquare = 0.0, dSquares = 0.0;
            for (int i = 0; i < n; ++i) {
                dTrace += a(i, i);
                dSum += values(0, i);
                dSquare += values(0, i) * values(0, i);
                for (int j = 0; j < n; ++j) dSquares += a(i, j) * a(i, j);
            }
            EXPECT_NEAR(dSum, dTrace, 1e-14 * n * RowNorm(a)) << kind.sName;
            EXPECT_NEAR(dSquare, dSquares, 1e-14 * n * dSquares) << kind.sName;
        }
    }
}

TEST_F(Diagonaliser, FindsTheEigenvaluesThatTheMatrixWasMadeOf) {
    std::vector<double> values;
    for (int i = 0; i < 80; ++i) values.push_back(std::pow(1.1, i - 40) * (i % 2 ? -1.0 : 1.0));
    const Solution s = Solve(WithEigenvalues(values, 11));
    std::sort(values.begin(), values.end());
    TestMatrix a = WithEigenvalues(values, 11), alone(1, 80);
    Eigenvalues(80, a.Data(), alone.Data());
    for (int i = 0; i < 80; ++i) {
        EXPECT_NEAR(s.values(0, i), values[static_cast<std::size_t>(i)], 5e-13);
        EXPECT_NEAR(alone(0, i), values[static_cast<std::size_t>(i)], 5e-13);
    }
}

TEST_F(Diagonaliser, FindsTheLevelsOfAChainAlone) {
    for (const int n : {33, 64, 256, 257, 600}) {
        TestMatrix a(n, n), values(1, n);
        for (int i = 1; i < n; ++i) a(i, i - 1) = i % 3 ? -1.0 : 1.0;  // signs change no level
        Eigenvalues(n, a.Data(), values.Data());
        for (int k = 0; k < n; ++k)  // 2 cos(pi j / (n + 1)), ascending
            EXPECT_NEAR(values(0, k), 2.0 * std::cos(std::numbers::pi * (n - k) / (n + 1)), 1e-13);
    }
}

TEST_F(Diagonaliser, GivesTheSameBitsFromCallToCall) {
    const TestMatrix a = Chains(70, 3), b = RandomSymmetric(90, 3);
    const Solution first = Solve(a);
    Solve(b);  // another matrix in between leaves nothing behind
    const Solution second = Solve(a);
    EXPECT_EQ(first.values.v, second.values.v);
    EXPECT_EQ(first.vectors.v, second.vectors.v);
}

TEST_F(Diagonaliser, WidensARangeByEqualLevels) {
    for (const int n : {20, 80}) {
        TestMatrix a = Diagonal(n, [n](int i) {
            return i > 3 && i < n - 5 ? 1.0 : i < 4 ? 0.0 : 2.0;
        });
        Solution s{TestMatrix(n, n, kNaN), TestMatrix(1, n)};
        DiagonaliseRange(n, 10, 12, a.Data(), s.vectors.Data(), s.values.Data());
        for (int k = 4; k < n - 5; ++k) {
            ASSERT_EQ(s.values(0, k), 1.0);
            const double* x = &s.vectors.v[static_cast<std::size_t>(k * n)];
            EXPECT_NEAR(Dot(n, x, x), 1.0, 1e-14) << k;
        }
    }
}

TEST_F(Diagonaliser, GivesTheSameBitsOnAnyNumberOfThreads) {
    const int n = 700;  // the reduction shares its products from some 500 on
    TestMatrix a = RandomSymmetric(n, 21);
    for (int i = 0; i < n; ++i) a(i, i) += i % 40;
    const auto LevelsAlone = [&] {
        TestMatrix copy = a, values(1, n);
        Eigenvalues(n, copy.Data(), values.Data());
        return values.v;
    };
    SetThreads(1);
    const Solution one = Solve(a);
    const std::vector<double> levels = LevelsAlone();
    for (const int nThreads : {2, 5}) {
        SetThreads(nThreads);
        const Solution several = Solve(a);
        EXPECT_EQ(one.values.v, several.values.v) << nThreads;
        EXPECT_EQ(one.vectors.v, several.vectors.v) << nThreads;
        EXPECT_EQ(levels, LevelsAlone()) << nThreads;
    }
    SetThreads(0);
    const auto [dOverlap, dResidual] = Errors(a, one);
    EXPECT_LE(dOverlap, 1e-14 * n);
    EXPECT_LE(dResidual, 1e-15 * n);
}

/// In tasks, and in scratch that is no longer than it is said to be.
TEST_F(Diagonaliser, SolvesInTasks) {
    constexpr int kOrders = 80;
    std::vector<TestMatrix> wholes;
    std::vector<Solution> solutions;
    for (int n = 0; n < kOrders; ++n) {
        wholes.push_back(RandomSymmetric(n, static_cast<std::uint64_t>(n)));
        solutions.push_back({TestMatrix(n, n), TestMatrix(1, n)});
    }
    SetThreads(3);
    ForEachTask(kOrders, [&](int n) {
        TestMatrix a = wholes[static_cast<std::size_t>(n)];
        Solution& s = solutions[static_cast<std::size_t>(n)];
        std::vector<double> work(EigenWork(n));
        std::vector<int> indices(EigenIndices(n));
        DiagonaliseInTask(n, a.Data(), s.vectors.Data(), s.values.Data(),
                          {work.data(), indices.data()});
    });
    SetThreads(0);
    for (int n = 1; n < kOrders; ++n) {
        const auto [dOverlap, dResidual] =
            Errors(wholes[static_cast<std::size_t>(n)], solutions[static_cast<std::size_t>(n)]);
        EXPECT_LE(dOverlap, 1e-14 * n) << n;
        EXPECT_LE(dResidual, 1e-14 * n) << n;
    }
}

TEST_F(Diagonaliser, OfOneByOneIsTheElement) {
    const Solution s = Solve(TestMatrix(1, 1, -3.5));
    EXPECT_EQ(s.values(0, 0), -3.5);
    EXPECT_EQ(s.vectors(0, 0), 1.0);
}

TEST_F(Diagonaliser, OfTwoByTwoIsTheClosedForm) {
    TestMatrix a(2, 2);
    a(0, 0) = 1.0, a(1, 1) = 4.0, a(1, 0) = a(0, 1) = 2.0;
    const Solution s = Solve(a);
    EXPECT_NEAR(s.values(0, 0), 0.0, 1e-15);
    EXPECT_NEAR(s.values(0, 1), 5.0, 2e-15);
    EXPECT_NEAR(std::abs(s.vectors(0, 0)), 2.0 / std::sqrt(5.0), 1e-15);
    EXPECT_NEAR(s.vectors(1, 1) / s.vectors(1, 0), 2.0, 1e-14);
}

// The start vectors are positive, and two passes divide twice by a difference of one sign.
TEST_F(Diagonaliser, GivesADiagonalMatrixPositiveVectors) {
    const Solution s = Solve(Diagonal(9, [](int i) { return 9.0 - i; }));
    for (int k = 0; k < 9; ++k) EXPECT_NEAR(s.vectors(k, 8 - k), 1.0, 1e-15);
}

TEST_F(Diagonaliser, ReturnsWhateverTheBitsAre) {
    Randoms randoms(13);
    for (int nTry = 0; nTry < 100000; ++nTry) {
        const int n = 1 + nTry % 6;
        double a[36], v[36], e[6];
        for (int i = 0; i < n * n; ++i) a[i] = std::bit_cast<double>(randoms.Bits());
        double b[36];
        std::copy_n(a, 36, b);
        Diagonalise(n, a, v, e);
        Eigenvalues(n, b, e);
    }
    const double kSpecial[] = {0.0,    -0.0,  kNaN,   std::numeric_limits<double>::infinity(),
                               5e-324, 1e308, -1e308, 1.0};
    for (int nTry = 0; nTry < 20000; ++nTry) {
        const int n = 1 + nTry % 7;
        double a[49], v[49], e[7];
        for (int i = 0; i < n * n; ++i) a[i] = kSpecial[randoms.Bits() % 8];
        Diagonalise(n, a, v, e);
    }
    for (int nTry = 0; nTry < 400; ++nTry) {  // large enough to be divided
        const int n = nTry < 360 ? 33 + nTry % 9 : 256 + nTry % 9;
        TestMatrix m(n, n), vectors(n, n), values(1, n);
        for (int i = 0; i < n * n; ++i)
            if (nTry % 4 == 0 || randoms.Bits() % 400 == 0)
                m.v[static_cast<std::size_t>(i)] = kSpecial[randoms.Bits() % 8];
        TestMatrix copy = m;
        Diagonalise(n, m.Data(), vectors.Data(), values.Data());
        Eigenvalues(n, copy.Data(), values.Data());
    }
    SUCCEED();
}

TEST_F(Diagonaliser, LeavesFiniteMatricesOfOrdinarySizeFinite) {
    for (const double dScale : {1e-12, 1e-3, 1e3, 1e12}) {
        const TestMatrix a = Scaled(RandomSymmetric(20, 4), dScale);
        EXPECT_LE(Errors(a, Solve(a)).first, 1e-13) << dScale;
    }
}

TEST(SortVectors, OrdersTheRowsWithTheirEnergies) {
    double e[] = {3.0, 1.0, 2.0, 1.0};
    double c[] = {3, 30, 1, 10, 2, 20, 1, 11};
    SortVectors(4, c, e, 2);
    EXPECT_EQ(std::vector<double>(e, e + 4), (std::vector<double>{1, 1, 2, 3}));
    EXPECT_EQ(std::vector<double>(c, c + 8), (std::vector<double>{1, 10, 1, 11, 2, 20, 3, 30}));
}

}  // namespace
}  // namespace qsolve
