#include "setup/log_settings.h"

#include <gtest/gtest.h>

#include <cmath>

#include "job/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

const std::string kLimits = "Convergence limit = 0.0100000  Iteration limit = 50";
const std::string kNoDiis = "Accelerate convergence = NO";

class Settings : public JobTest {
  protected:
    Settings() {
        system.MethodId = kAm1;
        job.nMaxCycles = 20;
        job.flRmsGradient = 0.25F;
        job.flHeatTime = 1, job.flRunTime = 2, job.flCoolTime = 3, job.flTimeStep = 0.001F;
        job.flStartTemp = 10, job.flSimTemp = 300, job.flFinalTemp = 20, job.flTempStep = 5;
        job.flFriction = 0.5F;
    }
};

TEST_F(Settings, OfASinglePointAreTheLimitsAndTheAcceleration) {
    options.fDiis = 1;
    LogSettings();
    EXPECT_EQ(client.Log(), (Lines{kLimits, "Accelerate convergence = YES"}));
}

TEST_F(Settings, OfZindoHaveTheOverlapWeightsInBetween) {
    system.MethodId = kZindoS;
    options.flOverlapSigma = 1.267F;
    options.flOverlapPi = 0.585F;
    LogSettings();
    EXPECT_EQ(client.Log(), (Lines{kLimits,
                                   "Overlap weighting factors: P(Sigma-Sigma) = 1.2670 and "
                                   "P(Pi-Pi) = 0.5850",
                                   kNoDiis}));
}

TEST_F(Settings, OfAnOptimisationNameItsAlgorithm) {
    job.nCalcKind = kOptimisation;
    const char* sName[] = {"Steepest Descent", "Fletcher-Reeves", "Polak-Ribiere"};
    for (int i = 0; i < 3; ++i) {
        NewScriptedClient();
        job.nOptimiser = i;
        LogSettings();
        EXPECT_EQ(client.Log(),
                  (Lines{kLimits, kNoDiis, std::string("Optimization algorithm = ") + sName[i],
                         "Criterion of RMS gradient = 0.2500 kcal/(Ang mol)  "
                         "Maximum cycles = 20"}));
    }
}

TEST_F(Settings, OfOtherOptimisersHaveNoName) {
    job.nCalcKind = kOptimisation;
    for (const int nOptimiser : {-1, 3, 4, 5}) {
        NewScriptedClient();
        job.nOptimiser = nOptimiser;
        LogSettings();
        EXPECT_EQ(client.Log().size(), 3U);
    }
}

TEST_F(Settings, OfDynamicsAreTimesAndTemperatures) {
    job.nCalcKind = kMolecularDynamics;
    LogSettings();
    EXPECT_EQ(client.Log(),
              (Lines{kLimits, kNoDiis,
                     "Heat time = 1.0000 ps  Run time = 2.0000 ps  Cool time = 3.0000 ps  "
                     "Time step = 0.001000 ps",
                     "Starting temperature = 10.00 K  Simulation temperature = 300.00 K",
                     "Final temperature = 20.00 K  Temperature step = 5.00 K"}));
}

TEST_F(Settings, OfLangevinDynamicsEndWithTheFriction) {
    job.nCalcKind = kLangevinDynamics;
    LogSettings();
    ASSERT_EQ(client.Log().size(), 6U);
    EXPECT_EQ(client.Log().back(), "Friction coefficient = 0.5000 1/ps");
}

TEST_F(Settings, OfMonteCarloCountInWholeSteps) {
    job.nCalcKind = kMonteCarlo;
    job.flHeatTime = 10.9F, job.flRunTime = 1e30F, job.flCoolTime = std::nanf("");
    job.flTimeStep = 0.05F;
    LogSettings();
    ASSERT_EQ(client.Log().size(), 5U);
    EXPECT_EQ(client.Log()[2],
              "Heat steps = 10  Run steps = 2147483647  Cool steps = 0  Maximum delta = "
              "0.0500 Ang");
    EXPECT_EQ(client.Log()[4], "Final temperature = 20.00 K  Temperature step = 5.00 K");
}

}  // namespace
}  // namespace qsolve
