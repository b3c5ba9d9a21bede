#include "setup/additive_terms.h"

#include <cmath>

namespace qsolve {

namespace {

constexpr int kMostIterations = 1000;
constexpr double kTolerance = 1e-10;      // bohr
constexpr double kSmallestSelf = 0.0001;  // hartree; below it a quadrupole starts from 0

/// First guess: the leading term of both equations for x well above d is x^3 ~ d^2 / p.
double FirstGuess(double d, double p) {
    return 0.5 * std::cbrt(d * d / p);
}

bool HasRoot(double d, double p) {
    return std::isfinite(d) && std::isfinite(p) && d > 0.0 && p > 0.0;
}

}  // namespace

double DipoleAdditiveTerm(double d, double p) {
    if (!HasRoot(d, p)) return 0.0;
    double x = FirstGuess(d, p);
    for (int i = 0; i < kMostIterations; ++i) {
        const double dNext = 1.0 / (1.0 / std::sqrt(x * x + d * d) + 4.0 * p);
        if (std::abs(dNext - x) < kTolerance) return dNext;
        x = dNext;
    }
    return 0.0;
}

double QuadrupoleAdditiveTerm(double d, double p) {
    if (!HasRoot(d, p)) return 0.0;
    double x = p >= kSmallestSelf ? FirstGuess(d, p) : 0.0;
    for (int i = 0; i < kMostIterations; ++i) {
        const double dAdjacent = 2.0 / std::sqrt(x * x + d * d);
        const double dOpposite = 1.0 / std::sqrt(x * x + 2.0 * d * d);
        const double dNext = 1.0 / (dAdjacent + 8.0 * p - dOpposite);
        if (std::abs(dNext - x) < kTolerance) return dNext;
        x = dNext;
    }
    return 0.0;
}

}  // namespace qsolve
