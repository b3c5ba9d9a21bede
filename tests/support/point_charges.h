#pragma once

#include <cmath>
#include <vector>

namespace qsolve {

/// The point charges of the multipole model.
struct PointCharge {
    double q, x, y;
};

inline std::vector<PointCharge> Dipole(double d) {
    return {{0.5, d, 0}, {-0.5, -d, 0}};
}

/// Charges 1/4 of alternating sign at the corners of a square of side 2d.
inline std::vector<PointCharge> SquareQuadrupole(double d) {
    return {{0.25, d, d}, {-0.25, d, -d}, {0.25, -d, -d}, {-0.25, -d, d}};
}

/// Energy of a multipole with a copy of itself at the same place, each with additive term rho.
inline double SelfInteraction(const std::vector<PointCharge>& charges, double dRho) {
    double dSum = 0;
    for (const auto& a : charges)
        for (const auto& b : charges) {
            const double dSquare = (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
            dSum += a.q * b.q / std::sqrt(dSquare + 4 * dRho * dRho);
        }
    return dSum;
}

}  // namespace qsolve
