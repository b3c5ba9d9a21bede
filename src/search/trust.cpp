#include "search/trust.h"

#include <algorithm>
#include <cmath>

namespace qsolve {
namespace {

constexpr double kSmallChange = 0.02;  ///< kcal/mol
constexpr double kSmallNorm = 5.0;     ///< kcal/mol per working unit
constexpr double kNearRadius = 0.1;    ///< working unit: at least this close to the end
constexpr double kSlack = 1e-6;
constexpr double kTooGood = 3.0;  ///< from this ratio on the model is as wrong as with a poor one
constexpr double kClose = 0.1;    ///< a ratio so close to 1 lets the radius grow once more
const double kGrowth = std::sqrt(2.0);

double Adapted(const TrustRules& rules, const Outcome& outcome, double dTrust) {
    const double r = outcome.Ratio();
    if (r <= rules.dPoor || r >= kTooGood) {
        dTrust = ShorterTrust(dTrust, outcome.dLength);
    } else if (r >= rules.dGoodFrom && r <= rules.dGoodTo && dTrust - kSlack < outcome.dLength) {
        dTrust *= kGrowth;
    }
    if (std::abs(r - 1.0) < kClose) dTrust *= kGrowth;
    return std::clamp(dTrust, rules.dLeast - kSlack, rules.dMost);
}

}  // namespace

bool Outcome::IsSmall() const {
    return std::abs(dPredicted) <= kSmallChange && std::abs(dChange) <= kSmallChange;
}

double ShorterTrust(double dTrust, double dLength) {
    return 0.5 * std::fmin(dLength, dTrust);
}

double TrustAfter(const TrustRules& rules, const Outcome& outcome, double dTrust) {
    if (outcome.dNorm > kSmallNorm || !outcome.IsSmall()) dTrust = Adapted(rules, outcome, dTrust);
    const bool fNear = outcome.dNorm < kSmallNorm && outcome.IsSmall();
    return fNear ? std::fmax(dTrust, kNearRadius) : dTrust;
}

}  // namespace qsolve
