#pragma once

#include <array>
#include <cstddef>

/// Coefficients of the polynomials into which powers of r_A = R (x + y) / 2 and r_B = R (x - y) / 2
/// expand in spheroidal coordinates.

namespace qsolve {

/// Highest power of either factor, and entries of the longest product.
constexpr int kTopPower = 9;
constexpr int kTopProduct = 2 * kTopPower + 1;

using PowerProductTable =
    std::array<std::array<std::array<double, kTopProduct>, kTopPower + 1>, kTopPower + 1>;

/// The table kPowerProduct, built from (x + y)^0 (x - y)^0 = 1 by one factor at a time.
constexpr PowerProductTable MakePowerProducts() {
    PowerProductTable table{};
    for (std::size_t i = 0; i <= kTopPower; ++i) {
        for (std::size_t j = 0; j <= kTopPower; ++j) {
            auto& product = table[i][j];
            product[0] = 1.0;
            if (i + j == 0) continue;
            const auto& fewer = j > 0 ? table[i][j - 1] : table[i - 1][0];
            const double dSign = j > 0 ? -1.0 : 1.0;
            for (std::size_t s = 1; s <= i + j; ++s) product[s] = fewer[s] + dSign * fewer[s - 1];
        }
    }
    return table;
}

/// [I][J][s] is the coefficient of x^(I+J-s) y^s in (x + y)^I (x - y)^J, and so also that of z^s in
/// (1 + z)^I (1 - z)^J.
inline constexpr PowerProductTable kPowerProduct = MakePowerProducts();

}  // namespace qsolve
