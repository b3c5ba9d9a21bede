#include "scf/pulay.h"

#include <algorithm>
#include <cmath>

#include "numeric/row.h"
#include "scf/simplex.h"

namespace qsolve {
namespace {

constexpr int kOrder = kMostPulay + 1;     ///< with the multiplier of the sum
constexpr double kSmallestErrors = 1e-10;  ///< an older error may be so much below the newest

/// The equations of the newest nPoints, solved. False when they are singular.
bool SolvePulay(const PulayPoints& points, int nPoints, double* vMixture) {
    const int* pSlots = points.vOrder + (points.nCount - nPoints);
    const auto Dot = [&](int i, int j) {
        return Row(points.mDots, points.nStep, pSlots[i])[pSlots[j]];
    };
    double mA[kOrder * kOrder] = {}, vB[kOrder] = {};
    const double dNewest = Dot(nPoints - 1, nPoints - 1);
    if (!(dNewest > 0.0)) return false;
    for (int i = 0; i < nPoints; ++i) {
        for (int j = 0; j < nPoints; ++j) Row(mA, kOrder, i)[j] = Dot(i, j) / dNewest;
        if (!(Row(mA, kOrder, i)[i] > kSmallestErrors)) return false;
        Row(mA, kOrder, i)[nPoints] = Row(mA, kOrder, nPoints)[i] = 1.0;
    }
    vB[nPoints] = 1.0;
    if (!SolveLinear(nPoints + 1, kOrder, mA, vB)) return false;
    std::fill_n(vMixture, points.nCount, 0.0);
    std::copy_n(vB, nPoints, vMixture + (points.nCount - nPoints));
    return std::all_of(vB, vB + nPoints, [](double c) { return std::isfinite(c); });
}

}  // namespace

int MixByPulay(const PulayPoints& points, double* vMixture) {
    for (int nPoints = points.nCount; nPoints > 1; --nPoints)
        if (SolvePulay(points, nPoints, vMixture)) return nPoints;
    std::fill_n(vMixture, points.nCount, 0.0);
    vMixture[points.nCount - 1] = 1.0;
    return 1;
}

}  // namespace qsolve
