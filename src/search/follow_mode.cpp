#include "search/follow_mode.h"

#include <cmath>

#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

constexpr double kBonus = 1e-6;

}  // namespace

FoundMode FindFollowedMode(int nModes, int n, const double* mVectors, const double* vFollowed) {
    FoundMode best{0, std::abs(Dot(n, mVectors, vFollowed)) + kBonus};
    for (int k = 1; k < nModes; ++k) {
        const double d = std::abs(Dot(n, Row(mVectors, n, k), vFollowed));
        if (d > best.dOverlap) best = {k, d};
    }
    return best;
}

FoundMode FindModeAlong(int nModes, int n, const double* mVectors, const double* vTangent,
                        bool fEitherSign) {
    FoundMode best{0, -2.0};
    for (int k = 0; k < nModes; ++k) {
        const double dSigned = Dot(n, Row(mVectors, n, k), vTangent);
        const double d = fEitherSign ? std::abs(dSigned) : dSigned;
        if (d > best.dOverlap) best = {k, d};
    }
    return best;
}

}  // namespace qsolve
