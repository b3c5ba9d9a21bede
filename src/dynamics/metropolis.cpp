#include "dynamics/metropolis.h"

#include <cmath>

namespace qsolve {

Verdict JudgeTrial(double dGain, double dThermal) {
    if (!std::isfinite(dGain)) return Verdict::kReject;
    if (dGain <= 0.0) return Verdict::kAccept;
    return dThermal > 0.0 && dGain / dThermal < kHopelessGain ? Verdict::kDraw : Verdict::kReject;
}

bool IsAccepted(double dGain, double dThermal, double u) {
    return u < std::exp(-dGain / dThermal);
}

}  // namespace qsolve
