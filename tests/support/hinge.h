#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "tests/support/model_potential.h"

namespace qsolve {

/// Three atoms, two springs of length 1 and a hinge between their free ends: two minima where these
/// are 1.45 and 1.75 apart, and at 1.6 the saddle point between them, kHingeTop above.
constexpr double kHingeTop = 5000.0 * 0.0225 * 0.0225;

inline Potential Hinge() {
    return [](const std::vector<double>& x, std::vector<double>& g) {
        double dEnergy = 0.0;
        const auto pair = [&](std::size_t a, std::size_t b, auto shape) {
            double d[3], r = 0.0;
            for (std::size_t k = 0; k < 3; ++k) r += std::pow(d[k] = x[a + k] - x[b + k], 2);
            r = std::sqrt(r);
            const double dSlope = shape(r);
            for (std::size_t k = 0; k < 3; ++k) {
                g[a + k] += dSlope * d[k] / r;
                g[b + k] -= dSlope * d[k] / r;
            }
        };
        const auto spring = [&](double r) {
            dEnergy += 400.0 * (r - 1.0) * (r - 1.0);
            return 800.0 * (r - 1.0);
        };
        pair(0, 3, spring);
        pair(3, 6, spring);
        pair(0, 6, [&](double r) {
            const double u = r - 1.6, w = u * u - 0.0225;
            dEnergy += 5000.0 * w * w;
            return 20000.0 * w * u;
        });
        return dEnergy;
    };
}

/// The middle atom and the two ends, which are dApart from one another.
inline std::vector<double> HingeAt(double dApart) {
    const double dHalf = 0.5 * dApart, h = std::sqrt(1.0 - dHalf * dHalf) / 3.0;
    return {-dHalf, -h, 0, 0, 2.0 * h, 0, dHalf, -h, 0};
}

/// Near the saddle point.
inline std::vector<double> HingeGuess() {
    std::vector<double> x = HingeAt(1.63);
    x[0] += 0.03;
    x[4] -= 0.04;
    x[8] += 0.05;
    return x;
}

}  // namespace qsolve
