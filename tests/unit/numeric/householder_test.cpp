#include "numeric/householder.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Reflectors in panels, or one after the other.
enum class Way { kPanels, kAtOnce };

/// Reduces a matrix and keeps what comes out.
struct Reduced {
    int n;
    Way way;
    TestMatrix a, panel, diagonal, off, scale;
    Reduction reduction;
    Reduced(const TestMatrix& matrix, Way how)
        : n(matrix.nRows),
          way(how),
          a(Padded(n), ReductionStep(n), 7.0),
          panel(kPanelRows, ReductionStep(n), 7.0),
          diagonal(1, n),
          off(1, n),
          scale(1, n),
          reduction{n, a.Data(), panel.Data(), diagonal.Data(), off.Data(), scale.Data()} {
        TestMatrix lower = matrix;
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j) lower(i, j) = std::nan("");
        if (way == Way::kAtOnce) {
            ReduceAtOnce(reduction, lower.Data());
            return;
        }
        LoadMatrix(reduction, lower.Data());
        for (int c = 0; c < n - 2;) c = ReducePanel(reduction, c);
        FinishReduction(reduction);
    }
    Reduced(const Reduced&) = delete;

    /// Q^T by transforming the rows of a unit matrix.
    TestMatrix Rows() {
        const int nBlock = BlockOf(n);
        TestMatrix q(n, n), work(1, static_cast<int>(TransformWork(n, n)));
        for (int i = 0; i < n; ++i) q(i, i) = 1.0;
        if (way == Way::kAtOnce) {
            TransformAtOnce(reduction, n, q.Data());
            return q;
        }
        for (int c = (n - 3) / nBlock * nBlock; c >= 0; c -= nBlock)
            TransformBack(reduction, c, std::min(c + nBlock, n - 2), n, q.Data(), work.Data());
        return q;
    }
};

class Householder : public testing::TestWithParam<std::tuple<int, Way>> {};

TEST_P(Householder, ReducesToTheTridiagonalMatrixOfAnOrthogonalTransformation) {
    const auto [n, way] = GetParam();
    const TestMatrix a = RandomSymmetric(n, 1);
    Reduced reduced(a, way);
    TestMatrix t(n, n), unit(n, n);
    for (int i = 0; i < n; ++i) {
        t(i, i) = reduced.diagonal(0, i);
        if (i + 1 < n) t(i, i + 1) = t(i + 1, i) = reduced.off(0, i);
        unit(i, i) = 1.0;
    }
    const TestMatrix q = reduced.Rows(), qt = NaiveTransposed(q);
    EXPECT_LE(LargestDifference(NaiveProduct(q, qt), unit), 2e-14);
    EXPECT_LE(LargestDifference(NaiveProduct(qt, NaiveProduct(t, q)), a), 4e-15 * n);
}

// Rounding grows from one reflector to the next, as in the method of Lanczos; no sign may differ.
constexpr double kTolerance = 1e-7;

TEST_P(Householder, GivesTheSignsOfTheUnblockedReduction) {
    const auto [n, way] = GetParam();
    TestMatrix a = RandomSymmetric(n, 2);
    Reduced reduced(a, way);
    std::vector<double> t(static_cast<std::size_t>(n)), q(t), p(t);
    for (int c = 0; c < n - 2; ++c) {  // one reflector after the other, on the whole matrix
        double s = 0.0, h = 0.0, k = 0.0;
        for (int i = c + 1; i < n; ++i) s += a(i, c) * a(i, c);
        s = a(c + 1, c) < 0.0 ? -std::sqrt(s) : std::sqrt(s);
        EXPECT_NEAR(reduced.diagonal(0, c), a(c, c), kTolerance);
        EXPECT_NEAR(reduced.off(0, c), -s, kTolerance);
        for (int i = 0; i < n; ++i) t[static_cast<std::size_t>(i)] = i > c ? a(i, c) : 0.0;
        t[static_cast<std::size_t>(c + 1)] += s;
        h = t[static_cast<std::size_t>(c + 1)] * s;
        for (int i = 0; i < n; ++i) {
            double& x = p[static_cast<std::size_t>(i)] = 0.0;
            for (int j = 0; j < n; ++j) x += a(i, j) * t[static_cast<std::size_t>(j)] / h;
            k += x * t[static_cast<std::size_t>(i)] / (2.0 * h);
        }
        for (std::size_t i = 0; i < t.size(); ++i) q[i] = k * t[i] - p[i];
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                const auto r = static_cast<std::size_t>(i), z = static_cast<std::size_t>(j);
                a(i, j) += t[r] * q[z] + q[r] * t[z];
            }
    }
    EXPECT_NEAR(reduced.off(0, n - 2), a(n - 1, n - 2), kTolerance);
    EXPECT_EQ(reduced.off(0, n - 1), 0.0);
}
INSTANTIATE_TEST_SUITE_P(InPanels, Householder,
                         testing::Combine(testing::Values(3, 4, 5, 8, 9, 31, 33, 34, 35, 63, 64, 66,
                                                          67, 100, 270),
                                          testing::Values(Way::kPanels)));
INSTANTIATE_TEST_SUITE_P(AtOnce, Householder,
                         testing::Combine(testing::Range(3, kAtOnce + 1),
                                          testing::Values(Way::kAtOnce)));

class HouseholderWays : public testing::TestWithParam<Way> {};

TEST_P(HouseholderWays, LeaveATridiagonalMatrixWithoutReflectorsWhereThereIsNothingToClear) {
    TestMatrix a(6, 6);
    for (int i = 0; i < 6; ++i) a(i, i) = i;
    Reduced reduced(a, GetParam());
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(reduced.diagonal(0, i), i);
        EXPECT_EQ(reduced.off(0, i), 0.0);
        EXPECT_EQ(reduced.scale(0, i), 0.0);
    }
    EXPECT_EQ(reduced.Rows()(3, 3), 1.0);
}

TEST_P(HouseholderWays, TakeABlockWithNothingToClearInTheMidstOfOthers) {
    const int n = 12;
    TestMatrix a = RandomSymmetric(n, 4);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            if ((i < 5) != (j < 5)) a(i, j) = 0.0;
    Reduced reduced(a, GetParam());
    TestMatrix t(n, n);
    for (int i = 0; i < n; ++i) {
        t(i, i) = reduced.diagonal(0, i);
        if (i + 1 < n) t(i, i + 1) = t(i + 1, i) = reduced.off(0, i);
    }
    EXPECT_EQ(reduced.scale(0, 4), 0.0);
    const TestMatrix q = reduced.Rows(), qt = NaiveTransposed(q);
    EXPECT_LE(LargestDifference(NaiveProduct(qt, NaiveProduct(t, q)), a), 1e-14);
}
INSTANTIATE_TEST_SUITE_P(Both, HouseholderWays, testing::Values(Way::kPanels, Way::kAtOnce));

}  // namespace
}  // namespace qsolve
