#include "integrals/power_product.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qsolve {
namespace {

TEST(PowerProducts, EqualTheProductsTheyExpand) {
    const double x = 1.7, y = 0.4;
    for (int i = 0; i <= kTopPower; ++i)
        for (int j = 0; j <= kTopPower; ++j) {
            const auto& h = kPowerProduct[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
            double dSum = 0.0;
            for (int s = 0; s <= i + j; ++s)
                dSum += h[static_cast<std::size_t>(s)] * std::pow(x, i + j - s) * std::pow(y, s);
            EXPECT_NEAR(dSum, std::pow(x + y, i) * std::pow(x - y, j), 1e-9) << i << " " << j;
            for (int s = i + j + 1; s < kTopProduct; ++s)
                EXPECT_EQ(h[static_cast<std::size_t>(s)], 0.0);
        }
}

}  // namespace
}  // namespace qsolve
