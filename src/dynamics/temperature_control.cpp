#include "dynamics/temperature_control.h"

#include <algorithm>
#include <cmath>

#include "dynamics/constants.h"
#include "link/link.h"

namespace qsolve {

namespace {

/// The target of one phase, moved by one step towards its goal.
struct Ramp {
    double dFrom, dGoal, dStep;
    bool fLast;  ///< the target is the goal
};

/// Moves a target; the random force gets what it was before the correction, or what it is, by the
/// plan.
void Follow(const Ramp& ramp, double& dTarget, TemperatureControl& control) {
    dTarget += ramp.dGoal > ramp.dFrom ? ramp.dStep : -ramp.dStep;
    if (control.Plan.fLand)
        dTarget =
            std::clamp(dTarget, std::min(ramp.dFrom, ramp.dGoal), std::max(ramp.dFrom, ramp.dGoal));
    control.dLangevinTemperature = dTarget;
    if (ramp.fLast) dTarget = ramp.dGoal;
    if (control.Plan.fLand) control.dLangevinTemperature = dTarget;
}

bool IsHeatingStep(const TemperatureControl& control, long long nStep) {
    const int nLast = control.Plan.Lengths.nHeatSteps;
    if (nStep > nLast || control.nUpPeriod == 0) return false;
    return nStep % control.nUpPeriod == 0 || (control.Plan.fLand && nStep == nLast);
}

bool IsCoolingStep(const TemperatureControl& control, long long nStep) {
    const long long nInPhase = nStep - control.Plan.Lengths.nHeatRunSteps - 1;
    return nInPhase >= 0 && control.nDownPeriod != 0 && nInPhase % control.nDownPeriod == 0;
}

bool IsBathStep(const TemperatureControl& control, long long nStep) {
    const Phases& lengths = control.Plan.Lengths;
    return control.Plan.fBath && nStep > lengths.nHeatSteps && nStep <= lengths.nHeatRunSteps;
}

/// Factor from one temperature to another; a target below 0 counts as 0.
double FactorTo(double dTarget, double dNow) {
    return std::sqrt(std::max(0.0, dTarget) / dNow);
}

int PeriodOf(int nSteps, double dTempStep, double dRange, MessageId nTooShort) {
    if (nSteps == 0 || std::abs(dRange) < kLeastTemperature) return 0;
    const int nPeriod = RescalingPeriod(nSteps, dTempStep, dRange);
    if (nPeriod < 1) Fatal(nTooShort);
    return nPeriod;
}

}  // namespace

double FirstTemperature(const TemperaturePlan& plan, double dHeatTime) {
    const bool fHeats = plan.Lengths.nHeatSteps > 0 && dHeatTime >= kLeastStep;
    return fHeats ? plan.dStart : plan.dSimulation;
}

double BathWeight(double dTimeStep, double dRelaxTime) {
    return dRelaxTime > dTimeStep ? dTimeStep / dRelaxTime : 1.0;
}

TemperatureControl StartTemperatureControl(const TemperaturePlan& plan, double dFirst) {
    return {.Plan = plan,
            .nUpPeriod = PeriodOf(plan.Lengths.nHeatSteps, plan.dStep,
                                  plan.dSimulation - plan.dStart, kMsgHeatingTooShort),
            .nDownPeriod = PeriodOf(plan.Lengths.nCoolSteps, plan.dStep,
                                    plan.dSimulation - plan.dFinal, kMsgCoolingTooShort),
            .dHeatTarget = plan.dStart,
            .dCoolTarget = plan.dSimulation,
            .dLangevinTemperature = dFirst};
}

double RescalingFactor(TemperatureControl& control, long long nStep, double dTemperature) {
    const TemperaturePlan& plan = control.Plan;
    const Phases& lengths = plan.Lengths;
    const double dNow = std::max(dTemperature, kLeastTemperature);
    if (IsHeatingStep(control, nStep)) {
        const bool fLast = nStep == lengths.nHeatSteps;
        Follow({plan.dStart, plan.dSimulation, plan.dStep, fLast}, control.dHeatTarget, control);
        return FactorTo(control.dHeatTarget, dNow);
    }
    if (IsCoolingStep(control, nStep)) {
        const bool fLast = nStep > lengths.nTotalSteps - control.nDownPeriod;
        Follow({plan.dSimulation, plan.dFinal, plan.dStep, fLast}, control.dCoolTarget, control);
        return FactorTo(control.dCoolTarget, dNow);
    }
    if (!IsBathStep(control, nStep)) return 1.0;
    control.dLangevinTemperature = plan.dSimulation;
    const double dGain = (plan.dSimulation / dNow - 1.0) * plan.dBathWeight;
    return std::sqrt(std::max(0.0, 1.0 + dGain));
}

}  // namespace qsolve
