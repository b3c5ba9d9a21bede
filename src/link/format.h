#pragma once

#include <concepts>
#include <cstddef>

namespace qsolve {

/// One argument of a numbered text.
struct Argument {
    enum Kind { kInteger, kDouble, kText } kind = kInteger;
    long long nValue = 0;
    double dValue = 0.0;
    const char* sValue = nullptr;

    Argument() = default;
    Argument(std::integral auto n) : kind(kInteger), nValue(static_cast<long long>(n)) {}
    Argument(std::floating_point auto d) : kind(kDouble), dValue(static_cast<double>(d)) {}
    Argument(const char* s) : kind(kText), sValue(s) {}
};

/// Longest formatted text, its NUL included; what is longer is cut.
constexpr std::size_t kTextCapacity = 400;

/// Writes sFormat with its arguments into sOut (nCapacity bytes, always ended by a NUL) and returns
/// the length. Conversions are printf's d, ld, i, u, f, lf, e, g, s, c and %% with flags, width and
/// precision; every integer is widened, so that %d and %ld take the same arguments. A conversion
/// without an argument of its kind prints "?": no format can read what was not passed. Never fails.
std::size_t FormatText(char* sOut, std::size_t nCapacity, const char* sFormat,
                       const Argument* pArguments, std::size_t nArguments);

}  // namespace qsolve
