#include "setup/log_settings.h"

#include <cmath>
#include <limits>

#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/parameters.h"

namespace qsolve {

namespace {

constexpr const char* kOptimiserName[] = {"Steepest Descent", "Fletcher-Reeves", "Polak-Ribiere"};

/// A count of steps that travels as a float: its whole part within 0 and the largest integer.
int StepCount(float flSteps) {
    constexpr int kMost = std::numeric_limits<int>::max();
    if (!(flSteps > 0.0F)) return 0;
    return flSteps >= static_cast<float>(kMost) ? kMost : static_cast<int>(flSteps);
}

void LogTemperatures() {
    LogFormat(kMsgRunTemperatures, job.flStartTemp, job.flSimTemp);
    LogFormat(kMsgEndTemperatures, job.flFinalTemp, job.flTempStep);
}

void LogOptimisation() {
    if (job.nOptimiser >= kSteepestDescent && job.nOptimiser <= kPolakRibiere)
        LogFormat(kMsgOptimizer, kOptimiserName[job.nOptimiser]);
    LogFormat(kMsgOptimizeLimits, job.flRmsGradient, job.nMaxCycles);
}

void LogDynamics() {
    LogFormat(kMsgDynamicsTimes, job.flHeatTime, job.flRunTime, job.flCoolTime, job.flTimeStep);
    LogTemperatures();
}

void LogMonteCarlo() {
    LogFormat(kMsgMonteCarloSettings, StepCount(job.flHeatTime), StepCount(job.flRunTime),
              StepCount(job.flCoolTime), job.flTimeStep);
    LogTemperatures();
}

}  // namespace

void LogSettings() {
    LogFormat(kMsgConvergenceLimit, options.flConvergenceLimit, options.nIterationLimit);
    if (FamilyOf(system.MethodId) == Family::kZindo)
        LogFormat(kMsgOverlapWeights, options.flOverlapSigma, options.flOverlapPi);
    LogFormat(kMsgAccelerate, options.fDiis ? "YES" : "NO");

    switch (ThisKind().nSettings) {
        case Settings::kNone:
            return;
        case Settings::kSearch:
            return LogOptimisation();
        case Settings::kDynamics:
            return LogDynamics();
        case Settings::kLangevin:
            LogDynamics();
            return LogFormat(kMsgFriction, job.flFriction);
        case Settings::kMonteCarlo:
            return LogMonteCarlo();
    }
}

}  // namespace qsolve
