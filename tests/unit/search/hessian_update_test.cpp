#include "search/hessian_update.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

using Update = bool (*)(int, const double*, const double*, double*, double*);

/// A symmetric matrix, a step, and the change of the gradient that another matrix gives it.
class HessianUpdate : public testing::TestWithParam<Update> {
  protected:
    static constexpr int n = 7;
    TestMatrix hessian = RandomSymmetric(n, 3), truth = RandomSymmetric(n, 4);
    std::vector<double> step, change = std::vector<double>(n, 0.0), work = change;

    HessianUpdate() {
        Randoms randoms(9);
        for (int i = 0; i < n; ++i) step.push_back(randoms.Number());
        for (int i = 0; i < n; ++i) hessian(i, i) += 6.0, truth(i, i) += 8.0;
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                change[static_cast<std::size_t>(i)] +=
                    truth(i, j) * step[static_cast<std::size_t>(j)];
    }
    bool Run() { return GetParam()(n, change.data(), step.data(), work.data(), hessian.Data()); }
};

TEST_P(HessianUpdate, GivesTheStepItsChangeOfGradient) {
    ASSERT_TRUE(Run());
    for (int i = 0; i < n; ++i) {
        double d = 0.0;
        for (int j = 0; j < n; ++j) d += hessian(i, j) * step[static_cast<std::size_t>(j)];
        EXPECT_NEAR(d, change[static_cast<std::size_t>(i)], 1e-12) << i;
        for (int j = 0; j < n; ++j) EXPECT_EQ(hessian(i, j), hessian(j, i));
    }
}

TEST_P(HessianUpdate, LeavesTheMatrixWhereItCannotDivide) {
    const std::vector<double> old = hessian.v;
    step.assign(n, 0.0);
    EXPECT_FALSE(Run());
    EXPECT_EQ(hessian.v, old);
    step.assign(n, std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(Run());
    EXPECT_EQ(hessian.v, old);
}

INSTANTIATE_TEST_SUITE_P(Both, HessianUpdate, testing::Values(UpdateBfgs, UpdatePowell));

TEST(PowellUpdate, IsExactOnAQuadraticSurfaceOnceEveryDirectionWasTried) {
    // The error matrix E obeys E := (1 - P) E (1 - P) for each unit step.
    constexpr int n = 4;
    const TestMatrix truth = RandomSymmetric(n, 2);
    TestMatrix hessian(n, n);
    for (int k = 0; k < n; ++k) {
        std::vector<double> step(n, 0.0), change(n), work(n);
        step[static_cast<std::size_t>(k)] = 0.5;
        for (int i = 0; i < n; ++i) change[static_cast<std::size_t>(i)] = 0.5 * truth(i, k);
        ASSERT_TRUE(UpdatePowell(n, change.data(), step.data(), work.data(), hessian.Data()));
    }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) EXPECT_NEAR(hessian(i, j), truth(i, j), 1e-14);
}

}  // namespace
}  // namespace qsolve
