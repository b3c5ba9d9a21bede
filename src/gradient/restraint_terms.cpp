#include "gradient/restraint_terms.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "link/link.h"

namespace qsolve {
namespace {

constexpr double kSameStretch = 1e-6;   ///< distance
constexpr double kSameBend = 1e-12;     ///< product of both sides
constexpr double kSmallestSine = 1e-6;  ///< in place of a smaller one in a denominator
constexpr double kSmallestNormal = 1e-6;
constexpr double kFlatAngle = 0.10471975511965977;  ///< 6 degrees: up to here the series serves
constexpr double kZeroTarget = 1e-6;                ///< radians

struct Vector {
    double x = 0.0, y = 0.0, z = 0.0;
};

Vector operator+(Vector a, Vector b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
Vector operator-(Vector a, Vector b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vector operator*(double d, Vector a) {
    return {d * a.x, d * a.y, d * a.z};
}
double Dot(Vector a, Vector b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vector Cross(Vector a, Vector b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// The way from one point to another.
Vector Between(const double* pFrom, const double* pTo) {
    return {pTo[0] - pFrom[0], pTo[1] - pFrom[1], pTo[2] - pFrom[2]};
}

void Store(Vector a, double* pGradient) {
    pGradient[0] = a.x;
    pGradient[1] = a.y;
    pGradient[2] = a.z;
}

/// The angle of a cosine, which rounding may have taken out of -1 .. 1 and which is brought back.
double AngleOf(double& dCosine) {
    dCosine = std::clamp(dCosine, -1.0, 1.0);
    return std::acos(dCosine);
}

double SineOf(double dCosine) {
    return std::max(std::sqrt(1.0 - dCosine * dCosine), kSmallestSine);
}

/// The two normals of a chain p, q, w and the angle between them, by the sign of its turn.
struct Dihedral {
    Vector n1, n2;
    double dNormal1, dNormal2;  ///< squares of their lengths, floored
    double dProduct;            ///< product of their lengths, floored
    double dCosine;
    double dSine;   ///< floored in size, with the sign of the angle
    double dAngle;  ///< -pi .. pi
};

Dihedral DihedralOf(Vector p, Vector q, Vector w) {
    Dihedral d{};
    d.n1 = Cross(q, p);
    d.n2 = Cross(w, q);
    const double n1 = Dot(d.n1, d.n1), n2 = Dot(d.n2, d.n2);
    d.dNormal1 = std::max(n1, kSmallestNormal);
    d.dNormal2 = std::max(n2, kSmallestNormal);
    d.dProduct = std::sqrt(std::max(n1 * n2, kSmallestNormal));
    d.dCosine = Dot(d.n1, d.n2) / d.dProduct;
    d.dAngle = AngleOf(d.dCosine);
    d.dSine = SineOf(d.dCosine);
    if (Dot(Cross(d.n2, d.n1), q) < 0.0) {
        d.dAngle = -d.dAngle;
        d.dSine = -d.dSine;
    }
    return d;
}

/// The shorter way round, -pi .. pi.
double Shorter(double dAngle) {
    constexpr double pi = std::numbers::pi;
    const double d = std::fmod(dAngle, 2.0 * pi);
    if (d < -pi) return d + 2.0 * pi;
    return d > pi ? d - 2.0 * pi : d;
}

/// dE / dcos phi of a torsion that is dDelta away from its target.
double SlopeByCosine(const Dihedral& d, double dDelta, double dForceConstant, double dTarget) {
    if (std::abs(d.dAngle) > kFlatAngle || std::abs(dTarget) > kZeroTarget)
        return -2.0 * dForceConstant * dDelta / d.dSine;
    return -dForceConstant * (2.0 + d.dAngle * d.dAngle / 3.0);
}

}  // namespace

RestraintTerm StretchTerm(const double* pA, const double* pB, double dForceConstant,
                          double dTarget) {
    const Vector u = Between(pB, pA);
    const double r = std::sqrt(Dot(u, u)), d = r - dTarget;
    double dFactor = 2.0 * dForceConstant;
    if (dTarget != 0.0) {
        if (r <= kSameStretch) Fatal(kMsgSamePosition);
        dFactor *= d / r;
    }
    RestraintTerm term;
    term.dEnergy = dForceConstant * d * d;
    Store(dFactor * u, term.dGradient[0]);
    Store(-dFactor * u, term.dGradient[1]);
    return term;
}

// With u = b - a, v = c - b and h = dE / dcos theta, where cos theta = -u.v / (|u| |v|):
//     dE/da = h (cos theta u / |u|^2 + v / (|u| |v|)),
//     dE/dc = -h (u / (|u| |v|) + cos theta v / |v|^2).
RestraintTerm BendTerm(const double* pA, const double* pB, const double* pC, double dForceConstant,
                       double dTarget) {
    const Vector u = Between(pA, pB), v = Between(pB, pC);
    const double uu = Dot(u, u), vv = Dot(v, v), dSides = std::sqrt(uu * vv);
    if (dSides <= kSameBend) Fatal(kMsgSamePosition);
    double dCosine = -Dot(u, v) / dSides;
    const double d = AngleOf(dCosine) - dTarget;
    const double h = -2.0 * dForceConstant * d / SineOf(dCosine);

    const Vector a = (h * dCosine / uu) * u + (h / dSides) * v;
    const Vector c = (-h / dSides) * u - (h * dCosine / vv) * v;
    RestraintTerm term;
    term.dEnergy = dForceConstant * d * d;
    Store(a, term.dGradient[0]);
    Store(-1.0 * (a + c), term.dGradient[1]);
    Store(c, term.dGradient[2]);
    return term;
}

// With p = b - a, q = c - b, w = d - c, the normals n1 = q x p and n2 = w x q, and g1, g2 the
// derivatives with respect to them:
//     dE/dp = g1 x q,   dE/dw = q x g2,   dE/dq = p x g1 + g2 x w.
RestraintTerm TorsionTerm(const double* pA, const double* pB, const double* pC, const double* pD,
                          double dForceConstant, double dTarget) {
    const Vector p = Between(pA, pB), q = Between(pB, pC), w = Between(pC, pD);
    const Dihedral d = DihedralOf(p, q, w);
    const double dDelta = Shorter(d.dAngle - dTarget);
    const double h = SlopeByCosine(d, dDelta, dForceConstant, dTarget);

    const Vector g1 = (h / d.dProduct) * d.n2 - (h * d.dCosine / d.dNormal1) * d.n1;
    const Vector g2 = (h / d.dProduct) * d.n1 - (h * d.dCosine / d.dNormal2) * d.n2;
    const Vector dp = Cross(g1, q), dw = Cross(q, g2), dq = Cross(p, g1) + Cross(g2, w);
    RestraintTerm term;
    term.dEnergy = dForceConstant * dDelta * dDelta;
    Store(-1.0 * dp, term.dGradient[0]);
    Store(dp - dq, term.dGradient[1]);
    Store(dq - dw, term.dGradient[2]);
    Store(dw, term.dGradient[3]);
    return term;
}

}  // namespace qsolve
