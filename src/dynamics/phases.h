#pragma once

namespace qsolve {

/// Steps of a job that heats, runs and cools.
struct Phases {
    int nHeatSteps = 0;
    int nRunSteps = 0;
    int nCoolSteps = 0;
    int nHeatRunSteps = 0;  ///< to the end of the run
    int nTotalSteps = 0;
};

/// Steps of dTimeStep in dTime, both in one unit: the next whole number above their quotient less a
/// tenth, within 0 and the largest int. 0 for a time step that is not above 0, and for what is no
/// number.
int StepsIn(double dTime, double dTimeStep);

/// Lengths of the phases of a job; the sums stay at the largest int.
Phases DerivePhaseLengths(double dHeatTime, double dRunTime, double dCoolTime, double dTimeStep);

/// Steps from one rescaling of the velocities to the next, where nSteps are to bridge dRange (K,
/// either sign) in changes of dTempStep (K). A value below 1 says that the phase is too short for
/// such changes; held within the range of int.
int RescalingPeriod(int nSteps, double dTempStep, double dRange);

}  // namespace qsolve
