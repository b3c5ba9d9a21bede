#include "numeric/inverse_iteration.h"

#include <gtest/gtest.h>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

class Lanes : public testing::TestWithParam<int> {};

TEST_P(Lanes, SolveTheShiftedTridiagonalMatrix) {
    const int n = GetParam();
    TestMatrix d = RandomMatrix(1, n, 1), e = RandomMatrix(1, n, 2), x = RandomMatrix(n, kLanes, 3);
    e(0, n - 1) = 0.0;
    TestMatrix u0(n, kLanes), u1(n, kLanes), u2(n, kLanes), f(n, kLanes), y = x;
    double shifts[kLanes], largest[kLanes];
    for (int t = 0; t < kLanes; ++t) shifts[t] = 0.4 * t - 1.3;
    const LaneFactors factors{n, u0.Data(), u1.Data(), u2.Data(), f.Data()};
    FactorLanes(factors, d.Data(), e.Data(), shifts, 1e-16);
    SolveForward(factors, y.Data());
    SolveBackward(factors, y.Data(), largest);
    for (int t = 0; t < kLanes; ++t) {
        double dTop = 0.0;
        for (int i = 0; i < n; ++i) {  // (T - shift) y, y in units of 1e-5 / largest
            double z = (d(0, i) - shifts[t]) * y(i, t);
            if (i > 0) z += e(0, i - 1) * y(i - 1, t);
            if (i + 1 < n) z += e(0, i) * y(i + 1, t);
            EXPECT_NEAR(z * largest[t] * 1e5, x(i, t), 1e-13 * std::max(1.0, largest[t])) << i;
            dTop = std::max(dTop, std::abs(y(i, t)));
        }
        EXPECT_NEAR(dTop, 1e-5, 1e-20);
    }
}
INSTANTIATE_TEST_SUITE_P(Sizes, Lanes, testing::Values(1, 2, 3, 4, 17, 100));

TEST(Lanes, DivideByTheSubstituteWhereThePivotVanishes) {
    const double d[] = {1.0, 1.0}, e[] = {0.0, 0.0}, shifts[kLanes] = {1, 1, 1, 1, 1, 1, 1, 1};
    TestMatrix u0(2, kLanes), u1(2, kLanes), u2(2, kLanes), f(2, kLanes), x(2, kLanes, 1.0);
    const LaneFactors factors{2, u0.Data(), u1.Data(), u2.Data(), f.Data()};
    FactorLanes(factors, d, e, shifts, 1e-3);
    double largest[kLanes];
    SolveBackward(factors, x.Data(), largest);
    EXPECT_NEAR(largest[0], 1e3, 1e-10);
    EXPECT_NEAR(x(1, 7), 1e-5, 1e-20);
}

}  // namespace
}  // namespace qsolve
