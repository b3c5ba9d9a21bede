#pragma once

#include "dynamics/phases.h"

namespace qsolve {

/// What a job asks of its temperature. Temperatures K.
struct TemperaturePlan {
    Phases Lengths;
    double dStart = 0.0;       ///< before the heating
    double dSimulation = 0.0;  ///< of the run
    double dFinal = 0.0;       ///< after the cooling
    double dStep = 0.0;        ///< from one rescaling to the next
    bool fBath = false;        ///< the run is coupled to a bath
    double dBathWeight = 1.0;  ///< part of the way to dSimulation that a step goes
    bool fLand = false;  ///< heating always ends on dSimulation, and no target passes its goal
};

/// Where heating and cooling stand.
struct TemperatureControl {
    TemperaturePlan Plan;
    int nUpPeriod = 0;  ///< steps between the rescalings of the heating; 0 without any
    int nDownPeriod = 0;
    double dHeatTarget = 0.0;
    double dCoolTarget = 0.0;
    double dLangevinTemperature = 0.0;  ///< of the random force; below 0 it counts as 0
};

/// Temperature of the first velocities: the start of the heating, where there is one of 1e-6 ps or
/// more and at least one step, else that of the run.
double FirstTemperature(const TemperaturePlan& plan, double dHeatTime);

/// Weight of a bath whose relaxation takes dRelaxTime: 1 where that is not above the time step.
double BathWeight(double dTimeStep, double dRelaxTime);

/// Control at step 0, with the random force at dFirst (K). Fatal where a phase is too short for its
/// change of temperature by such steps, kMsgHeatingTooShort and kMsgCoolingTooShort.
TemperatureControl StartTemperatureControl(const TemperaturePlan& plan, double dFirst);

/// Factor for all velocities ahead of step nStep, whose temperature was dTemperature (K); 1 where
/// nothing is due. In turn: a heating step, which moves the target by the plan's step and the last
/// of which, if it falls on the end of the phase, takes the run's temperature; a cooling step, the
/// last of which takes the final one; the bath in the steps of the run. The temperature of the
/// random force follows each of them; without fLand it does so before the last step's correction.
double RescalingFactor(TemperatureControl& control, long long nStep, double dTemperature);

}  // namespace qsolve
