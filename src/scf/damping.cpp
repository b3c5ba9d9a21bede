#include "scf/damping.h"

#include <algorithm>
#include <cmath>

#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr int kFreeCycles = 3;  ///< cycles in which the diagonal moves as it likes
constexpr double kLargestChange = 0.05, kNoLimit = 1e10;
constexpr int kPeriod = 3;             ///< cycles from one extrapolation to the next
constexpr double kSteadiness = 100.0;  ///< differences up to it times as large are extrapolated

/// What the diagonal of the new density has to say.
struct DiagonalChange {
    double dDelta = 0.0;   ///< largest change
    double dFactor = 0.0;  ///< by which the change is thrown on
};

/// Compares the diagonal with the two before it and shifts the history by one cycle: mDensityPrev
/// takes the new diagonal, vDiagOlder the old one.
DiagonalChange CompareDiagonal(int n, bool fExtrapolate, const double* mDensity,
                               double* mDensityPrev, double* vDiagOlder) {
    DiagonalChange change;
    double s1 = 0.0, s2 = 0.0;
    for (int i = 0; i < n; ++i) {
        double& dPrev = Row(mDensityPrev, n, i)[i];
        const double dNew = Row(mDensity, n, i)[i], dOld = dPrev, dOlder = vDiagOlder[i];
        const double d = std::abs(dNew - dOld), t = dNew - 2.0 * dOld + dOlder;
        change.dDelta = std::max(change.dDelta, d);
        if (fExtrapolate) {
            s1 += d * d;
            s2 += t * t;
        }
        vDiagOlder[i] = dOld;
        dPrev = dNew;
    }
    if (s2 > 0.0 && s1 < kSteadiness * s2) change.dFactor = std::sqrt(std::abs(s1 / s2));
    return change;
}

}  // namespace

double DampDensity(int n, int nCounter, double* mDensity, double* mDensityPrev,
                   double* vDiagOlder) {
    const double dLimit = nCounter > kFreeCycles ? kLargestChange : kNoLimit;
    const DiagonalChange change =
        CompareDiagonal(n, nCounter % kPeriod == 0, mDensity, mDensityPrev, vDiagOlder);
    for (int i = 0; i < n; ++i) {
        double *p = Row(mDensity, n, i), *q = Row(mDensityPrev, n, i);
        const double dOld = vDiagOlder[i], dNew = q[i];
        for (int j = 0; j < n; ++j) q[j] = p[j] = p[j] + (p[j] - q[j]) * change.dFactor;
        const double e = dNew - dOld;
        const double x =
            std::abs(e) <= dLimit ? dNew + e * change.dFactor : dOld + std::copysign(dLimit, e);
        q[i] = p[i] = std::max(0.0, std::min(2.0, x));
    }
    return change.dDelta;
}

}  // namespace qsolve
