#include "numeric/decay.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace qsolve {
namespace {

TEST(Decay, IsTheExponentialToItsLastDigits) {
    std::vector<double> vR;
    for (double r = 0.0; r < 708.0; r += 0.00713) vR.push_back(r);
    for (double r = 1e-300; r < 1.0; r *= 7.0) vR.push_back(r);
    for (const double dZeta : {1.0, 0.37}) {
        std::vector<double> vDecay(vR.size());
        FillDecay(static_cast<int>(vR.size()), dZeta, vR.data(), vDecay.data());
        for (std::size_t i = 0; i < vR.size(); ++i) {
            // The product as the loop rounds it, and the exponential to more digits than a double.
            const auto dExact =
                static_cast<double>(std::exp(static_cast<long double>(-dZeta * vR[i])));
            ASSERT_NEAR(vDecay[i] / dExact, 1.0, 2.0 * std::numeric_limits<double>::epsilon())
                << dZeta << " * " << vR[i];
        }
    }
}

TEST(Decay, IsOneAtTheStartAndZeroFarAway) {
    const double vR[] = {0.0,
                         707.9,
                         708.1,
                         1e5,
                         1e60,
                         std::numeric_limits<double>::infinity(),
                         std::numeric_limits<double>::quiet_NaN()};
    double vDecay[7];
    FillDecay(7, 1.0, vR, vDecay);
    EXPECT_EQ(vDecay[0], 1.0);
    EXPECT_GT(vDecay[1], 0.0);
    for (int i = 2; i < 7; ++i) EXPECT_EQ(vDecay[i], 0.0) << i;
}

TEST(Decay, TakesAnyNumberOfValuesAndNoMore) {
    for (int n = 0; n < 10; ++n) {
        const std::vector<double> vR(10, 1.0);
        std::vector<double> vDecay(10, -1.0);
        FillDecay(n, 2.0, vR.data(), vDecay.data());
        for (int i = 0; i < 10; ++i)
            EXPECT_NEAR(vDecay[static_cast<std::size_t>(i)], i < n ? 0.1353352832366127 : -1.0,
                        1e-16)
                << n << ' ' << i;
    }
}

}  // namespace
}  // namespace qsolve
