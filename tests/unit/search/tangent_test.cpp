#include "search/tangent.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "numeric/matrix3.h"

namespace qsolve {
namespace {

TEST(Tangents, OfALineIsItsDirection) {
    const std::vector<double> r{0, 0, 1}, p{3, 4, 1};
    double t[3];
    EXPECT_EQ(LinearTangent(3, r.data(), p.data(), t), TangentFault::kNone);
    EXPECT_NEAR(t[0], 0.6, 1e-15);
    EXPECT_NEAR(t[1], 0.8, 1e-15);
    EXPECT_EQ(LinearTangent(3, p.data(), p.data(), t), TangentFault::kIdentical);
}

TEST(Tangents, OfThreePointsIsThatOfTheirCircle) {
    // Three angles on a tilted circle: the tangent is the derivative by the angle.
    const double u[3] = {0.6, 0.0, 0.8}, v[3] = {0.0, 1.0, 0.0}, c[3] = {1, 2, -3};
    const auto at = [&](double dAngle) {
        std::vector<double> x(3);
        for (std::size_t k = 0; k < 3; ++k)
            x[k] = c[k] + 1.7 * (std::cos(dAngle) * u[k] + std::sin(dAngle) * v[k]);
        return x;
    };
    const double dPlace = 0.9;
    double t[3];
    ASSERT_EQ(QuadraticTangent(3, at(0.1).data(), at(dPlace).data(), at(2.5).data(), t),
              TangentFault::kNone);
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(t[k], -std::sin(dPlace) * u[k] + std::cos(dPlace) * v[k], 1e-12) << k;
}

TEST(Tangents, SaysWhichEndItStandsOn) {
    const std::vector<double> r{0, 0, 0}, p{1, 0, 0};
    double t[3];
    EXPECT_EQ(QuadraticTangent(3, r.data(), p.data(), p.data(), t), TangentFault::kAtProduct);
    EXPECT_EQ(QuadraticTangent(3, r.data(), r.data(), p.data(), t), TangentFault::kAtReactant);
    for (const double d : t) EXPECT_TRUE(std::isfinite(d));
    EXPECT_EQ(QuadraticTangent(3, r.data(), r.data(), r.data(), t), TangentFault::kAtProduct);
    for (const double d : t) EXPECT_TRUE(std::isfinite(d));
}

}  // namespace
}  // namespace qsolve
