#include "numeric/secular.h"

#include <cmath>
#include <limits>

#include "numeric/kernels.h"

namespace qsolve {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

/// The function at a place: the part of the poles up to that of the root, and of those above.
struct Value {
    double dLow, dLowSlope, dHigh, dHighSlope;
    double dAll;  ///< with 1 / rho
};

Value Evaluate(const Secular& secular, int j, double dOrigin, double dShift) {
    Value v;
    const int nLow = j + 1, nHigh = secular.n - nLow;
    kernels->SumPoles(nLow, secular.vPoles, secular.vSquares, dOrigin, dShift, &v.dLow,
                      &v.dLowSlope);
    kernels->SumPoles(nHigh, secular.vPoles + nLow, secular.vSquares + nLow, dOrigin, dShift,
                      &v.dHigh, &v.dHighSlope);
    v.dAll = 1.0 / secular.dRho + v.dLow + v.dHigh;
    return v;
}

/// Whether the value is no more than its rounding.
bool IsZero(const Secular& secular, const Value& v, double dShift) {
    const double dSize = 1.0 / secular.dRho + std::abs(v.dLow) + std::abs(v.dHigh);
    const double dSlope = v.dLowSlope + v.dHighSlope;
    return !(std::abs(v.dAll) > kEpsilon * (8.0 * dSize + std::abs(dShift) * dSlope));
}

/// The step that would end at the root if the low poles were one at distance a and the high ones
/// one at distance b, each with the value and slope of its part.
double Step(const Value& v, double a, double b) {
    const double c = v.dAll - a * v.dLowSlope - b * v.dHighSlope;
    const double p = (a + b) * v.dAll - a * b * (v.dLowSlope + v.dHighSlope), q = a * b * v.dAll;
    const double dRoot = std::sqrt(std::abs(p * p - 4.0 * q * c));
    if (p <= 0.0) return c == 0.0 ? q / p : (p - dRoot) / (2.0 * c);
    return 2.0 * q / (p + dRoot);
}

/// The same for the last root, which has poles at one side alone: one pole and a constant, by
/// Newton's method for the inverse.
double StepAboveAll(const Value& v, double a) {
    const double dSlope = v.dLowSlope;
    const double dConstant = v.dAll - a * dSlope;  // of the form constant + weight / distance
    return dConstant > 0.0 ? a + a * a * dSlope / dConstant : v.dAll / -dSlope;
}

/// Where the search for a root begins: in the half of its interval where it lies, or amid the
/// bounds of the last one.
struct Start {
    Root root;
    double dLow, dHigh;  ///< bounds of the shift
    Value v;
};

Start BeginAt(const Secular& secular, int j) {
    const double* d = secular.vPoles;
    if (j + 1 == secular.n) {
        double dMost = 0.0;
        for (int i = 0; i < secular.n; ++i) dMost += secular.dRho * secular.vSquares[i];
        return {{j, dMost / 2.0}, 0.0, dMost, Evaluate(secular, j, d[j], dMost / 2.0)};
    }
    const double dHalf = (d[j + 1] - d[j]) / 2.0;
    const Value v = Evaluate(secular, j, d[j], dHalf);
    if (v.dAll < 0.0) return {{j + 1, -dHalf}, -dHalf, 0.0, v};
    return {{j, dHalf}, 0.0, dHalf, v};
}

}  // namespace

Root FindRoot(const Secular& secular, int j) {
    const double* d = secular.vPoles;
    const bool fLast = j + 1 == secular.n;
    auto [root, dLow, dHigh, v] = BeginAt(secular, j);
    const double dOrigin = d[root.nOrigin];
    for (int nStep = 0; nStep < kMostRootSteps; ++nStep) {
        if (IsZero(secular, v, root.dShift)) break;
        (v.dAll < 0.0 ? dLow : dHigh) = root.dShift;
        const double a = (d[j] - dOrigin) - root.dShift;
        const double b = fLast ? 0.0 : (d[j + 1] - dOrigin) - root.dShift;
        double dNext = root.dShift + (fLast ? StepAboveAll(v, a) : Step(v, a, b));
        if (!(dNext > dLow && dNext < dHigh)) dNext = dLow + (dHigh - dLow) / 2.0;
        if (dNext == root.dShift || !(dHigh - dLow > kEpsilon * std::abs(dNext))) break;
        root.dShift = dNext;
        v = Evaluate(secular, j, dOrigin, dNext);
    }
    return root;
}

}  // namespace qsolve
