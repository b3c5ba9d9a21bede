#pragma once

#include <cmath>
#include <functional>
#include <vector>

/// Numerical integration by which closed forms are checked, from definitions alone.

namespace qsolve {

/// Nodes and weights of one rule.
struct Rule {
    std::vector<double> Node, Weight;

    void Append(const Rule& other) {
        Node.insert(Node.end(), other.Node.begin(), other.Node.end());
        Weight.insert(Weight.end(), other.Weight.begin(), other.Weight.end());
    }
};

/// Gauss-Legendre with n nodes on [a, b], by Newton's method on the Legendre polynomial.
inline Rule GaussLegendre(int n, double a, double b) {
    Rule rule;
    for (int i = 0; i < n; ++i) {
        double x = std::cos(3.141592653589793 * (i + 0.75) / (n + 0.5)), dSlope = 1.0;
        for (int nStep = 0; nStep < 8; ++nStep) {
            double p0 = 1.0, p1 = x;
            for (int k = 2; k <= n; ++k) {
                const double p2 = ((2 * k - 1) * x * p1 - (k - 1) * p0) / k;
                p0 = p1;
                p1 = p2;
            }
            dSlope = n * (x * p1 - p0) / (x * x - 1.0);
            x -= p1 / dSlope;
        }
        rule.Node.push_back(0.5 * (a + b) + 0.5 * (b - a) * x);
        rule.Weight.push_back((b - a) / ((1.0 - x * x) * dSlope * dSlope));
    }
    return rule;
}

/// From a to where exp(-dDecay (t - a)) has died, in panels.
inline Rule DecayingRule(double a, double dDecay) {
    Rule rule;
    double dBegin = 0.0;
    for (double dEnd : {2.0, 6.0, 13.0, 25.0, 50.0, 90.0}) {
        rule.Append(GaussLegendre(12, a + dBegin / dDecay, a + dEnd / dDecay));
        dBegin = dEnd;
    }
    return rule;
}

/// The integral over space of f(r_A, r_B, ...) for two centres: calls f with a point, relative to A
/// (z towards B, which is at distance R), and sums f times the volume element. dDecay is the mean
/// exponent of what f decays with, the sum of both centres' exponents; nAzimuth points run round
/// the axis.
inline double IntegrateTwoCentres(double R, double dDecay, int nAzimuth,
                                  const std::function<double(double, double, double)>& f) {
    const Rule xs = DecayingRule(1.0, 0.5 * dDecay * R), ys = GaussLegendre(28, -1.0, 1.0);
    double dSum = 0.0;
    for (std::size_t i = 0; i < xs.Node.size(); ++i)
        for (std::size_t j = 0; j < ys.Node.size(); ++j) {
            const double x = xs.Node[i], y = ys.Node[j];
            const double z = 0.5 * R * (1.0 + x * y);
            const double rho = 0.5 * R * std::sqrt((x * x - 1.0) * (1.0 - y * y));
            const double dVolume = R * R * R / 8.0 * (x * x - y * y) * xs.Weight[i] * ys.Weight[j] *
                                   2.0 * 3.141592653589793 / nAzimuth;
            for (int k = 0; k < nAzimuth; ++k) {
                const double phi = 2.0 * 3.141592653589793 * (k + 0.3) / nAzimuth;
                dSum += dVolume * f(rho * std::cos(phi), rho * std::sin(phi), z);
            }
        }
    return dSum;
}

/// The integral over space of f(r) / |r - R|: calls f with points r, x y z, from the centre where f
/// decays as exp(-dDecay r). pVector is R, not 0; nAzimuth points run round it. On a sphere of
/// radius t the distance s to R takes the place of the polar angle: cos theta = (t^2 + R^2 - s^2) /
/// (2 t R), and 1/s goes with the volume element, t^2 sin theta dtheta = t s ds / R. Products of
/// two d orbitals are integrated over a sphere without error.
inline double IntegrateOverDistance(const double* pVector, double dDecay, int nAzimuth,
                                    const std::function<double(double, double, double)>& f) {
    const double *v = pVector, R = std::hypot(v[0], v[1], v[2]), pi = 3.141592653589793;
    Rule radial;  // broken at R, and ended where f is dead
    double dBegin = 0.0;
    for (double dEnd : {0.5, 1.0, 2.0, 4.0, 6.0, 9.0, 13.0, 18.0, 25.0, 35.0, 50.0, 90.0}) {
        dEnd = std::fmin(dEnd / dDecay, R);
        if (dEnd > dBegin) radial.Append(GaussLegendre(14, dBegin, dEnd));
        dBegin = dEnd;
    }
    if (dDecay * R < 90.0) radial.Append(DecayingRule(R, dDecay));

    const double w[3] = {v[0] / R, v[1] / R, v[2] / R};  // and two axes across it
    const double a = 1.0 / (1.0 + std::abs(w[2])), g = w[2] < 0.0 ? -1.0 : 1.0;
    const double p[3] = {1.0 - a * w[0] * w[0], -a * w[0] * w[1], -g * w[0]};
    const double q[3] = {-a * w[0] * w[1], 1.0 - a * w[1] * w[1], -g * w[1]};
    const Rule unit = GaussLegendre(8, -1.0, 1.0);
    double dSum = 0.0;
    for (std::size_t i = 0; i < radial.Node.size(); ++i)
        for (std::size_t j = 0; j < unit.Node.size(); ++j) {
            const double t = radial.Node[i], dHalf = std::fmin(t, R);
            const double s = std::fmax(t, R) + dHalf * unit.Node[j];
            const double z = (t * t + R * R - s * s) / (2.0 * R);
            const double rho = std::sqrt(std::fmax(0.0, t * t - z * z));
            const double dWeight =
                radial.Weight[i] * unit.Weight[j] * dHalf * t / R * 2.0 * pi / nAzimuth;
            for (int k = 0; k < nAzimuth; ++k) {
                const double phi = 2.0 * pi * (k + 0.3) / nAzimuth;
                const double x = rho * std::cos(phi), y = rho * std::sin(phi);
                dSum += dWeight * f(x * p[0] + y * q[0] + z * w[0], x * p[1] + y * q[1] + z * w[1],
                                    x * p[2] + y * q[2] + z * w[2]);
            }
        }
    return dSum;
}

/// Value at (x, y, z) of a real Slater orbital: n, exponent and type 0 .. 8 in the order s, px, py,
/// pz, d(z2), d(xz), d(yz), d(x2-y2), d(xy).
inline double SlaterOrbital(int n, double dZeta, int nType, double x, double y, double z) {
    const double r2 = x * x + y * y + z * z, r = std::sqrt(r2), pi = 3.141592653589793;
    double dRadial = std::sqrt(2.0 * dZeta) * std::exp(-dZeta * r);
    for (int k = 1; k <= n; ++k) dRadial *= 2.0 * dZeta / std::sqrt(2.0 * k * (2.0 * k - 1.0));
    for (int k = 1; k < n; ++k) dRadial *= r;
    const double p = std::sqrt(3.0 / (4.0 * pi)) / r, d = std::sqrt(15.0 / (4.0 * pi)) / r2;
    switch (nType) {
        case 0:
            return dRadial * std::sqrt(1.0 / (4.0 * pi));
        case 1:
            return dRadial * p * x;
        case 2:
            return dRadial * p * y;
        case 3:
            return dRadial * p * z;
        case 4:
            return dRadial * d * (3.0 * z * z - r2) / (2.0 * std::sqrt(3.0));
        case 5:
            return dRadial * d * x * z;
        case 6:
            return dRadial * d * y * z;
        case 7:
            return dRadial * d * (x * x - y * y) / 2.0;
        default:
            return dRadial * d * x * y;
    }
}

}  // namespace qsolve
