#include "numeric/inverse_iteration.h"

#include <cmath>

#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {
namespace {

constexpr double kExchanged = 1e-30;  ///< smallest second band where rows were exchanged
constexpr double kSmallestLength = 1e-20;
constexpr double kLength = 1e-5;  ///< of a vector between two solutions, room for growth

[[gnu::always_inline]] inline double AtLeast(double x, double dLeast) {
    return std::abs(x) < dLeast ? dLeast : x;
}

}  // namespace

void FactorLanes(const LaneFactors& factors, const double* vDiagonal, const double* vOff,
                 const double* vShifts, double dPivot) {
    const int n = factors.n;
    double diagonal[kLanes], band[kLanes];  // of the row that comes next
    for (int t = 0; t < kLanes; ++t) {
        diagonal[t] = vDiagonal[0] - vShifts[t];
        band[t] = vOff[0];
    }
    for (int i = 0; i + 1 < n; ++i) {
        const double dOff = vOff[i], dNextDiagonal = vDiagonal[i + 1], dNextBand = vOff[i + 1];
        // An exchange puts a number on the second band, and must be seen there later.
        const double dSecond = AtLeast(dNextBand, kExchanged);
        double *u0 = At(factors.vU0, kLanes, i), *u1 = At(factors.vU1, kLanes, i);
        double *u2 = At(factors.vU2, kLanes, i), *f = At(factors.vMultiplier, kLanes, i);
        for (int t = 0; t < kLanes; ++t) {
            const double a = dNextDiagonal - vShifts[t];
            const bool fExchange = std::abs(diagonal[t]) < std::abs(dOff);
            const double dTop = AtLeast(fExchange ? dOff : diagonal[t], dPivot);
            const double w = -(fExchange ? diagonal[t] : dOff) / dTop;
            u0[t] = dTop;
            u1[t] = fExchange ? a : band[t];
            u2[t] = fExchange ? dSecond : 0.0;
            f[t] = w;
            diagonal[t] = (fExchange ? band[t] : a) + w * u1[t];
            band[t] = fExchange ? w * dSecond : dNextBand;
        }
    }
    for (int t = 0; t < kLanes; ++t) {
        At(factors.vU0, kLanes, n - 1)[t] = AtLeast(diagonal[t], dPivot);
        At(factors.vU1, kLanes, n - 1)[t] = At(factors.vU2, kLanes, n - 1)[t] = 0.0;
        At(factors.vMultiplier, kLanes, n - 1)[t] = 0.0;
    }
}

void SolveForward(const LaneFactors& factors, double* vX) {
    for (int i = 0; i + 1 < factors.n; ++i) {
        const double *u2 = At(factors.vU2, kLanes, i), *f = At(factors.vMultiplier, kLanes, i);
        double *x = At(vX, kLanes, i), *y = At(vX, kLanes, i + 1);
        for (int t = 0; t < kLanes; ++t) {
            const bool fExchange = std::abs(u2[t]) >= kExchanged;
            const double a = fExchange ? y[t] : x[t], b = fExchange ? x[t] : y[t];
            x[t] = a;
            y[t] = b + f[t] * a;
        }
    }
}

void SolveBackward(const LaneFactors& factors, double* vX, double* vLargest) {
    double x1[kLanes] = {}, x2[kLanes] = {}, largest[kLanes];
    for (double& d : largest) d = kSmallestLength;
    for (int i = factors.n - 1; i >= 0; --i) {
        const double *u0 = At(factors.vU0, kLanes, i), *u1 = At(factors.vU1, kLanes, i);
        const double* u2 = At(factors.vU2, kLanes, i);
        double* x = At(vX, kLanes, i);
        for (int t = 0; t < kLanes; ++t) {
            const double y = (x[t] - u1[t] * x1[t] - u2[t] * x2[t]) / u0[t];
            const double dSize = std::abs(y);
            x2[t] = x1[t];
            x1[t] = x[t] = y;
            largest[t] = dSize > largest[t] ? dSize : largest[t];
        }
    }
    double scale[kLanes];
    for (int t = 0; t < kLanes; ++t) {
        scale[t] = kLength / largest[t];
        vLargest[t] = largest[t];
    }
    for (int i = 0; i < factors.n; ++i)
        for (int t = 0; t < kLanes; ++t) At(vX, kLanes, i)[t] *= scale[t];
}

}  // namespace qsolve::QSOLVE_FORM
