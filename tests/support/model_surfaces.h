#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "tests/support/model_potential.h"

namespace qsolve {

/// A surface of two coordinates with its derivatives, in closed form.
struct Plane {
    double dEnergy, dX, dY;
    double dXx, dXy, dYy;
};

using PlaneFunction = Plane (*)(double x, double y);

/// K. Mueller and L. D. Brown, Theor. Chim. Acta 53, 75 (1979): three minima in a row, two saddle
/// points between them.
inline Plane MuellerBrown(double x, double y) {
    constexpr double kTerms[4][6] = {{-200, -1, 0, -10, 1, 0},
                                     {-100, -1, 0, -10, 0, 0.5},
                                     {-170, -6.5, 11, -6.5, -0.5, 1.5},
                                     {15, 0.7, 0.6, 0.7, -1, 1}};
    Plane p{};
    for (const auto& [A, a, b, c, x0, y0] : kTerms) {
        const double u = x - x0, v = y - y0, e = A * std::exp(a * u * u + b * u * v + c * v * v);
        const double du = 2 * a * u + b * v, dv = b * u + 2 * c * v;
        p.dEnergy += e;
        p.dX += e * du;
        p.dY += e * dv;
        p.dXx += e * (du * du + 2 * a);
        p.dXy += e * (du * dv + b);
        p.dYy += e * (dv * dv + 2 * c);
    }
    return p;
}

/// Three valleys and three ridges that meet in a point without curvature, within a bowl: the minima
/// are 3/4 away, kMonkeyDepth below it, and there is no other stationary point.
constexpr double kMonkeyDepth = 100.0 * 27.0 / 256.0;

inline Plane MonkeySaddle(double x, double y) {
    const double r2 = x * x + y * y;
    return {100 * (x * x * x - 3 * x * y * y + r2 * r2),
            100 * (3 * x * x - 3 * y * y + 4 * r2 * x),
            100 * (-6 * x * y + 4 * r2 * y),
            100 * (6 * x + 4 * r2 + 8 * x * x),
            100 * (-6 * y + 8 * x * y),
            100 * (-6 * x + 4 * r2 + 8 * y * y)};
}

constexpr double kPlaneOrigin = 3.0;  ///< length of both bonds where x and y are 0

/// A plane over the lengths of the two bonds of a chain, which stays at a right angle.
inline Potential OverBonds(PlaneFunction function) {
    return [function](const std::vector<double>& at, std::vector<double>& g) {
        constexpr double kStiffness = 1500.0;
        double a[3], b[3], ra = 0.0, rb = 0.0, ab = 0.0;
        for (std::size_t k = 0; k < 3; ++k) {
            a[k] = at[k] - at[3 + k], b[k] = at[6 + k] - at[3 + k];
            ra += a[k] * a[k], rb += b[k] * b[k], ab += a[k] * b[k];
        }
        ra = std::sqrt(ra), rb = std::sqrt(rb);
        const double u = ab / (ra * rb);
        const Plane p = function(ra - kPlaneOrigin, rb - kPlaneOrigin);
        for (std::size_t k = 0; k < 3; ++k) {
            const double da =
                p.dX * a[k] / ra + kStiffness * 2 * u * (b[k] / (ra * rb) - u * a[k] / (ra * ra));
            const double db =
                p.dY * b[k] / rb + kStiffness * 2 * u * (a[k] / (ra * rb) - u * b[k] / (rb * rb));
            g[k] += da, g[6 + k] += db, g[3 + k] -= da + db;
        }
        return p.dEnergy + kStiffness * u * u;
    };
}

/// The chain at a point of the plane.
inline std::vector<double> ChainAt(double x, double y) {
    return {kPlaneOrigin + x, 0, 0, 0, 0, 0, 0, kPlaneOrigin + y, 0};
}

}  // namespace qsolve
