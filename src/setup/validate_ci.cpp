#include "setup/validate_ci.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "job/state.h"
#include "link/link.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {

namespace {

constexpr int kByCounts = 1;
constexpr long long kMost = std::numeric_limits<long long>::max();

long long Product(long long a, long long b) {
    long long n = 0;
    return __builtin_mul_overflow(a, b, &n) ? kMost : n;
}

void ValidateEnergyLimit() {
    if (options.nCiKind == kMicrostates) Fatal(kMsgMicrostateCriterion);
    if (!(options.flCiMaxExcitation >= 0.0F) || !std::isfinite(options.flCiMaxExcitation))
        Fatal(kMsgCiExcitationNegative);
    LogFormat(kMsgCiExcitation, options.flCiMaxExcitation);
    options.flCiMaxExcitation =
        static_cast<float>(static_cast<double>(options.flCiMaxExcitation) * kKcalPerEv);
}

/// The window may take all occupied and all unoccupied levels. For the next lowest singlet the
/// upper of the two open levels counts as unoccupied.
void CheckWindow() {
    const int nShift = options.fNextLowestState ? 1 : 0;
    const int nMostOccupied = setup.nOccupied - nShift;
    const int nMostUnoccupied = setup.nOrbitals - setup.nOccupied + nShift;
    if (options.nCiOccupied < 1) Fatal(kMsgCiOccupiedTooFew);
    if (options.nCiUnoccupied < 0) Fatal(kMsgCiUnoccupiedNegative);
    if (options.nCiOccupied > nMostOccupied) Fatal(kMsgCiOccupiedTooMany, nMostOccupied);
    if (options.nCiUnoccupied > nMostUnoccupied) Fatal(kMsgCiUnoccupiedTooMany, nMostUnoccupied);
}

/// Configurations of the window: the reference and all single excitations of either spin, or every
/// placement of the alpha and of the beta electrons on its levels. An open level is occupied for
/// alpha and empty for beta electrons; the next lowest singlet has a closed reference.
long long CountConfigurations() {
    const long long nOpen = options.fNextLowestState ? 0 : setup.nOccupied - setup.nDoublyOcc;
    const long long o = options.nCiOccupied, u = options.nCiUnoccupied;
    const long long oBeta = std::max(o - nOpen, 0LL), uBeta = u + nOpen;
    if (options.nCiKind == kSingles) return o * u + 1 + oBeta * uBeta;

    const int n = static_cast<int>(o + u);
    return Product(Combinations(n, static_cast<int>(o)), Combinations(n, static_cast<int>(oBeta)));
}

}  // namespace

long long Combinations(int n, int k) {
    if (k < 0 || k > n) return 0;
    k = std::min(k, n - k);
    long long nResult = 1;
    for (int i = 1; i <= k; ++i) {
        // The product of i neighbouring numbers divides by i!, so no step leaves a remainder.
        const long long nProduct = Product(nResult, n - k + i);
        if (nProduct == kMost) return kMost;
        nResult = nProduct / i;
    }
    return nResult;
}

void ValidateCiOptions() {
    setup.nCiConfigurations = 0;
    if (options.nCiKind == 0) return;
    if (options.nCiSelection != kByCounts) {
        ValidateEnergyLimit();
        return;
    }
    CheckWindow();
    setup.nCiConfigurations = CountConfigurations();
    LogFormat(kMsgCiCounts, options.nCiOccupied, options.nCiUnoccupied);
    if (setup.nCiConfigurations > kLargeCi) Warn(kMsgLargeCi);
}

}  // namespace qsolve
