#include "dynamics/temperature_control.h"

#include <cmath>
#include <string>
#include <vector>

#include "link/link.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

/// A rescaling: the temperature it leads to, and that of the random force.
struct Rescaling {
    long long nStep;
    double dTarget, dLangevin;
};

TemperaturePlan PlanOf(int nHeat, int nRun, int nCool, double dStart, double dSimulation,
                       double dFinal, double dStep, bool fLand = false) {
    return {.Lengths = DerivePhaseLengths(nHeat, nRun, nCool, 1.0),
            .dStart = dStart,
            .dSimulation = dSimulation,
            .dFinal = dFinal,
            .dStep = dStep,
            .fLand = fLand};
}

/// All rescalings of a plan, for a molecule that is at dNow before each.
std::vector<Rescaling> RescalingsOf(const TemperaturePlan& plan, double dNow = 50.0) {
    TemperatureControl control = StartTemperatureControl(plan, plan.dStart);
    std::vector<Rescaling> all;
    for (long long nStep = 1; nStep <= plan.Lengths.nTotalSteps; ++nStep) {
        const double d = RescalingFactor(control, nStep, dNow);
        if (d != 1.0) all.push_back({nStep, d * d * dNow, control.dLangevinTemperature});
    }
    return all;
}

void ExpectTargets(const std::vector<Rescaling>& all, const std::vector<long long>& steps,
                   const std::vector<double>& targets) {
    ASSERT_EQ(all.size(), steps.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].nStep, steps[i]);
        EXPECT_NEAR(all[i].dTarget, targets[i], 1e-9) << steps[i];
    }
}

class Control : public FreshState {
  protected:
    Control() { NewScriptedClient(); }
};

TEST_F(Control, HeatsAndCoolsInSteps) {
    const auto all = RescalingsOf(PlanOf(100, 200, 100, 0, 300, 100, 30));
    ExpectTargets(
        all, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 301, 316, 331, 346, 361, 376, 391},
        {30, 60, 90, 120, 150, 180, 210, 240, 270, 300, 270, 240, 210, 180, 150, 120, 100});
}

// The period does not divide the phase: the heating stops at its last whole period.
TEST_F(Control, EndsShortOfItsGoalWhereThePeriodDoesNotDivideTheHeating) {
    const auto all = RescalingsOf(PlanOf(50, 0, 0, 100, 400, 0, 45));
    ExpectTargets(all, {8, 16, 24, 32, 40, 48}, {145, 190, 235, 280, 325, 370});
    EXPECT_EQ(all.back().dLangevin, 370.0);
}

TEST_F(Control, MakesUpTheRestInTheLastCoolingStep) {
    const auto all = RescalingsOf(PlanOf(20, 20, 20, 300, 300, 50, 7), 77.0);
    ASSERT_EQ(all.size(), 20u);
    for (std::size_t i = 0; i < 19; ++i)
        EXPECT_NEAR(all[i].dTarget, 293.0 - 7.0 * static_cast<double>(i), 1e-9);
    EXPECT_NEAR(all.back().dTarget, 50.0, 1e-9);
    EXPECT_EQ(all.back().nStep, 60);
    // The random force follows the step and not the correction.
    EXPECT_NEAR(all.back().dLangevin, 160.0, 1e-9);
}

TEST_F(Control, HeatsDownwardsWhereTheStartIsHotter) {
    ExpectTargets(RescalingsOf(PlanOf(4, 0, 0, 400, 300, 0, 50)), {2, 4}, {350, 300});
}

TEST_F(Control, LeavesEqualTemperaturesAlone) {
    EXPECT_TRUE(RescalingsOf(PlanOf(100, 10, 100, 300, 300, 300, 30)).empty());
    EXPECT_TRUE(RescalingsOf(PlanOf(100, 10, 100, 300, 300.0000005, 300, 30)).empty());
}

// 109 steps of 3 K from 300 to 0 K pass 0 before they land.
TEST_F(Control, NeverTakesARootOfANegativeTemperature) {
    for (const auto& all : {RescalingsOf(PlanOf(0, 0, 109, 0, 300, 0, 3)),
                            RescalingsOf(PlanOf(0, 0, 11, 0, 300, 0, 30)),
                            RescalingsOf(PlanOf(10, 0, 0, 0, -300, 0, 30))}) {
        ASSERT_FALSE(all.empty());
        for (const Rescaling& r : all) EXPECT_GE(r.dTarget, 0.0) << r.nStep;
        EXPECT_EQ(all.back().dTarget, 0.0);
    }
}

TEST_F(Control, RefusesAPhaseTooShortForItsSteps) {
    const auto Refusal = [](const TemperaturePlan& plan) {
        NewScriptedClient();
        EXPECT_THROW(StartTemperatureControl(plan, 0.0), Unwinding);
        EXPECT_EQ(client.Errors().size(), 1u);
        return client.Errors().empty() ? "" : client.Errors()[0];
    };
    const char* const kHeating = "Heating time too short or temperature step too small.";
    const char* const kCooling = "Cooling time too short or temperature step too small.";
    EXPECT_EQ(Refusal(PlanOf(1, 0, 0, 0, 300, 0, 1)), kHeating);
    EXPECT_EQ(Refusal(PlanOf(100, 0, 0, 0, 300, 0, 0)), kHeating);
    EXPECT_EQ(Refusal(PlanOf(100, 0, 0, 0, 300, 0, -30)), kHeating) << "a period of -10";
    EXPECT_EQ(Refusal(PlanOf(0, 0, 1, 0, 300, 0, 1)), kCooling);
    EXPECT_EQ(Refusal(PlanOf(0, 0, 100, 0, 300, 0, -1)), kCooling);
}

TEST_F(Control, StartsWhereTheHeatingStarts) {
    TemperaturePlan plan = PlanOf(10, 0, 0, 20, 300, 0, 30);
    EXPECT_EQ(FirstTemperature(plan, 0.01), 20.0);
    EXPECT_EQ(FirstTemperature(plan, 1e-7), 300.0);
    plan.Lengths.nHeatSteps = 0;
    EXPECT_EQ(FirstTemperature(plan, 0.00001), 300.0) << "less than a tenth of a step";
}

// ---- landing always -----------------------------------------------------------------------------

TEST_F(Control, LandsHoweverTheStepsDivideTheRangeWhenAskedTo) {
    int nSeen = 0;
    for (const int n : {1, 2, 7, 11, 54, 99, 100, 101, 105, 109})
        for (const double dStep : {0.5, 2.0, 3.0, 7.0, 30.0, 45.0, 300.0, 500.0})
            for (const auto& [dFrom, dTo] :
                 {std::pair{0.0, 300.0}, {300.0, 0.0}, {100.0, 400.0}, {300.0, 50.0}}) {
                if (std::ceil(n * dStep / std::abs(dTo - dFrom) - 0.1) < 1) continue;
                ++nSeen;
                const double dLow = std::min(dFrom, dTo), dHigh = std::max(dFrom, dTo);
                for (const auto& all :
                     {RescalingsOf(PlanOf(n, 0, 0, dFrom, dTo, 0, dStep, true), 77.0),
                      RescalingsOf(PlanOf(0, 5, n, 0, dFrom, dTo, dStep, true), 77.0)}) {
                    ASSERT_FALSE(all.empty()) << n << ' ' << dStep;
                    EXPECT_NEAR(all.back().dTarget, dTo, 1e-9) << n << ' ' << dStep;
                    EXPECT_EQ(all.back().dLangevin, dTo) << n << ' ' << dStep;
                    for (const Rescaling& r : all) {
                        EXPECT_GE(r.dTarget, dLow - 1e-9);
                        EXPECT_LE(r.dTarget, dHigh + 1e-9);
                    }
                }
            }
    EXPECT_GT(nSeen, 200);
}

// ---- the bath -----------------------------------------------------------------------------------

TEST_F(Control, BathGoesAPartOfTheWayInTheRunAlone) {
    TemperaturePlan plan = PlanOf(10, 10, 10, 300, 300, 300, 30);
    plan.fBath = true;
    plan.dBathWeight = 0.25;
    const auto all = RescalingsOf(plan, 100.0);
    ASSERT_EQ(all.size(), 10u);
    EXPECT_EQ(all.front().nStep, 11);
    EXPECT_EQ(all.back().nStep, 20);
    for (const Rescaling& r : all) {
        EXPECT_NEAR(r.dTarget, 150.0, 1e-9);
        EXPECT_EQ(r.dLangevin, 300.0);
    }
}

// dT/dt = (T0 - T) / tau: a molecule with no other exchange of energy relaxes exponentially.
TEST_F(Control, BathRelaxesWithItsTimeConstant) {
    TemperaturePlan plan = PlanOf(0, 4000, 0, 0, 300, 0, 30);
    plan.fBath = true;
    plan.dBathWeight = BathWeight(0.0005, 0.1);
    TemperatureControl control = StartTemperatureControl(plan, 300);
    double dTemperature = 100.0;
    for (int nStep = 1; nStep <= 400; ++nStep)
        dTemperature *= std::pow(RescalingFactor(control, nStep, dTemperature), 2);
    // Two time constants; each step of 1/200 of one is followed to its second order.
    EXPECT_NEAR(dTemperature, 300.0 - 200.0 * std::exp(-2.0), 0.2);
}

TEST_F(Control, BathRescalesFullyWhereItsTimeIsNotAboveTheStep) {
    EXPECT_EQ(BathWeight(0.001, 0.001), 1.0);
    EXPECT_EQ(BathWeight(0.001, 0.0), 1.0);
    EXPECT_NEAR(BathWeight(0.001, 0.1), 0.01, 1e-15);
    TemperaturePlan plan = PlanOf(0, 5, 0, 0, -300, 0, 30);
    plan.fBath = true;
    for (const Rescaling& r : RescalingsOf(plan)) EXPECT_EQ(r.dTarget, 0.0);
}

TEST_F(Control, StaysFiniteForAMoleculeAtRest) {
    TemperaturePlan plan = PlanOf(10, 10, 10, 0, 300, 100, 30);
    plan.fBath = true;
    TemperatureControl control = StartTemperatureControl(plan, 0);
    for (int nStep = 1; nStep <= 30; ++nStep)
        EXPECT_TRUE(std::isfinite(RescalingFactor(control, nStep, 0.0))) << nStep;
}

}  // namespace
}  // namespace qsolve
