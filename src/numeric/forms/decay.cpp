#include "numeric/decay.h"

#include <bit>
#include <cstdint>

#include "numeric/forms/forms.h"

namespace qsolve::QSOLVE_FORM {
namespace {

constexpr double kLog2OfE = 1.4426950408889634074;

/// ln 2 in two parts. The first has zeros enough at its end that its product with the exponent is
/// exact.
constexpr double kLn2High = 6.93147180369123816490e-01, kLn2Low = 1.90821492927058770002e-10;

/// Added to a number below 2^51 it leaves the nearest whole one in the last bits of the sum.
constexpr double kRounder = 0x1.8p52;

/// exp(y) for |y| up to ln(2) / 2, by its series: the term after the last is below 5e-18.
double ExpOfRemainder(double y) {
    double d = 1.0 / 6227020800.0;
    d = d * y + 1.0 / 479001600.0;
    d = d * y + 1.0 / 39916800.0;
    d = d * y + 1.0 / 3628800.0;
    d = d * y + 1.0 / 362880.0;
    d = d * y + 1.0 / 40320.0;
    d = d * y + 1.0 / 5040.0;
    d = d * y + 1.0 / 720.0;
    d = d * y + 1.0 / 120.0;
    d = d * y + 1.0 / 24.0;
    d = d * y + 1.0 / 6.0;
    d = d * y + 0.5;
    d = d * y + 1.0;
    return d * y + 1.0;
}

}  // namespace

void FillDecay(int n, double dZeta, const double* vR, double* vDecay) {
    for (int i = 0; i < n; ++i) {
        const double x = -dZeta * vR[i];
        // x = k ln 2 + y, and exp(x) = 2^k exp(y).
        const double dShifted = x * kLog2OfE + kRounder;
        const double k = dShifted - kRounder;
        const double y = (x - k * kLn2High) - k * kLn2Low;
        const auto nPower = std::bit_cast<std::uint64_t>(dShifted) << 52;
        const double d =
            std::bit_cast<double>(std::bit_cast<std::uint64_t>(ExpOfRemainder(y)) + nPower);
        vDecay[i] = x >= -kLargestDecay ? d : 0.0;
    }
}

}  // namespace qsolve::QSOLVE_FORM
