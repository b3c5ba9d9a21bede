#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <utility>

#include "job/methods.h"
#include "link/link.h"
#include "setup/state.h"
#include "tests/support/model_motion.h"

namespace qsolve {
namespace {

constexpr double kBoltzmannKcal = 0.001987191682600382;

double AsDouble(float fl) {
    return static_cast<double>(fl);
}

class MolecularDynamics : public MotionTest {
  protected:
    /// Spread of the reported total energies, root mean square about their mean.
    double Spread() const {
        double dMean = 0.0, dSquares = 0.0;
        const double n = static_cast<double>(Reports.size());
        for (const MotionReport& r : Reports) dMean += TotalOf(r) / n;
        for (const MotionReport& r : Reports) dSquares += std::pow(TotalOf(r) - dMean, 2) / n;
        return std::sqrt(dSquares);
    }
    static double TotalOf(const MotionReport& r) {
        return AsDouble(r.Block.flPotentialEnergy) + AsDouble(r.Block.flKineticEnergy);
    }
};

// ---- packets ------------------------------------------------------------------------------------

TEST_F(MolecularDynamics, ReportsTheFirstEveryNthAndTheLastStep) {
    Atoms({0, 0, 0, 0, 0, 1}, 1.0F);
    Steps(0.001, 10, 4);
    Run(kMolecularDynamics, Nothing());
    ASSERT_EQ(Reports.size(), 4u);
    const int steps[] = {0, 4, 8, 10};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_FLOAT_EQ(Reports[i].Block.flTime, 0.001F * static_cast<float>(steps[i]));
        EXPECT_EQ(Reports[i].Block.fFinalResult, i == 3 ? 1 : 0);
        EXPECT_EQ(Reports[i].Velocities.size(), 6u);
        EXPECT_EQ(Reports[i].Places.size(), 6u);
        EXPECT_EQ(Reports[i].Block.flSeedEcho, 1.0F);
    }
    EXPECT_EQ(model.nRuns, 11);
    EXPECT_FALSE(results.Motion.vVelocity);
}

TEST_F(MolecularDynamics, OfNoStepsReportsItsStartAsFinal) {
    Atoms({0, 0, 0}, 1.0F);
    Steps(0.001, 0);
    Run(kMolecularDynamics, Nothing());
    ASSERT_EQ(Reports.size(), 1u);
    EXPECT_EQ(Reports[0].Block.fFinalResult, 1);
    EXPECT_EQ(model.nRuns, 1);
    EXPECT_TRUE(setup.fFinalReport);
}

TEST_F(MolecularDynamics, WithoutAPeriodReportsTheLastStepAlone) {
    Atoms({0, 0, 0}, 1.0F);
    Steps(0.001, 5, 0);
    Run(kMolecularDynamics, Nothing());
    ASSERT_EQ(Reports.size(), 1u);
    EXPECT_FLOAT_EQ(Reports[0].Block.flTime, 0.005F);
}

TEST_F(MolecularDynamics, ClosesWithALineInLogAndStatus) {
    link.fLogReports = true;
    Atoms({0, 0, 0, 0, 0, 1}, 1.0F);
    Steps(0.001, 5);
    Run(kMolecularDynamics, Nothing());
    const double dKinetic = 3 * 300.0 * kBoltzmannKcal;  // 3/2 k T of two atoms
    ASSERT_EQ(client.Log().size(), 1u);
    EXPECT_EQ(client.Log()[0],
              Print(" Time = 0.0050 ps\n Kinetic Energy = %.4f kcal/mol\n Total Energy = %.4f "
                    "kcal/mol\n Temperature = 300.00 K",
                    dKinetic, dKinetic));
    EXPECT_EQ(client.Texts(kPacketStatusLine).back(),
              Print("Time=0.0050 ps TotalEnergy=%.4f kcal/mol T=300.00 K [final]", dKinetic));
}

TEST_F(MolecularDynamics, TellsItsLengthsOnTheDebugChannel) {
    Atoms({0, 0, 0, 0, 0, 1}, 1.0F);
    Steps(0.001, 20);
    Heat(10, 0, 300, 30);
    Cool(20, 100, 30);
    Run(kMolecularDynamics, Nothing());
    EXPECT_TRUE(client.Texts(kPacketDebugLine).empty());
    fDebugTrace = 1;
    Run(kMolecularDynamics, Nothing());
    EXPECT_EQ(client.Texts(kPacketDebugLine),
              (std::vector<std::string>{" Initial parameters for MD run: \n",
                                        " nHeatSteps:nRunSteps:nCoolSteps: 10 20 20 \n",
                                        " nUpPeriod:nDownPeriod: 1 3 \n"}));
}

// ---- the integrator -----------------------------------------------------------------------------

TEST_F(MolecularDynamics, MovesFreeAtomsOnStraightLines) {
    for (const int nMethod : {kAm1, kIndo}) {
        system.MethodId = nMethod;
        Atoms({0, 0, 0, 0, 0, 1, 5, 5, 5}, 4.0F);
        Steps(0.001, 50);
        Run(kMolecularDynamics, Nothing());
        const MotionReport &first = Reports.front(), &last = Reports.back();
        EXPECT_EQ(first.Velocities, last.Velocities);
        for (std::size_t i = 0; i < 9; ++i)  // places of the wire are Angstrom
            EXPECT_NEAR(AsDouble(last.Places[i]),
                        AsDouble(first.Places[i]) + 0.05 * AsDouble(first.Velocities[i]), 3e-6)
                << nMethod;
    }
}

// A spring between two atoms of mass m, from rest: the leapfrog scheme turns the phase by theta in
// each step, cos theta = 1 - w^2 / 2 with w = omega dt, and the start velocity stands half a step
// before the start.
TEST_F(MolecularDynamics, FollowsASpringAsTheLeapfrogDoes) {
    for (const int nMethod : {kAm1, kCndo}) {
        system.MethodId = nMethod;
        const double b = nMethod == kCndo ? 1.889726 : 1.0, k = 200.0, m = 2.0, d0 = 0.1;
        const double dt = AsDouble(0.0005F), omega2 = k * 418.4 / (m / 2) * b * b;
        const double theta = std::acos(1.0 - omega2 * dt * dt / 2.0);
        Atoms({0, 0, 0, 0, 0, 1 + d0}, 2.0F);
        Steps(0.0005, 400);
        job.flSimTemp = 0.0F;
        Run(kMolecularDynamics, Spring(k, 1.0));
        const auto At = [&](double n) {
            return d0 * std::cos((n + 0.5) * theta) / std::cos(theta / 2);
        };
        for (int n = 0; n <= 400; ++n) {
            const std::vector<double>& x = model.Path[static_cast<std::size_t>(n)];
            ASSERT_NEAR(x[5] - x[2], 1.0 + At(n), 1e-11) << n;
            // Kinetic energy of the half steps, each of the reduced mass and in Angstrom/ps.
            const double v1 = (At(n) - At(n - 1)) / dt / b, v2 = (At(n + 1) - At(n)) / dt / b;
            const double dKinetic = m / 2 * (v1 * v1 + v2 * v2) / 4 / 418.4;
            const ResultBlock& block = Reports[static_cast<std::size_t>(n)].Block;
            ASSERT_NEAR(AsDouble(block.flKineticEnergy), dKinetic, 1e-6) << n;
            ASSERT_NEAR(AsDouble(block.flTemperature), dKinetic / (3 * kBoltzmannKcal), 2e-4) << n;
            ASSERT_NEAR(AsDouble(block.flTotalEnergy), dKinetic + 0.5 * k * At(n) * At(n), 1e-6);
        }
    }
}

TEST_F(MolecularDynamics, LosesEnergyBySecondOrderOfTheStep) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0}, 12.0F);
    double dSpread[2];
    for (const int n : {0, 1}) {
        Steps(0.0008 / (n + 1), 2000 * (n + 1));
        job.flSimTemp = 150.0F;
        Run(kMolecularDynamics, LennardJones());
        dSpread[n] = Spread();
    }
    EXPECT_NEAR(dSpread[0] / dSpread[1], 4.0, 0.4);
    std::printf("R22: half the step, the energy wavers %.2f times less\n", dSpread[0] / dSpread[1]);
}

TEST_F(MolecularDynamics, KeepsMomentumAndAngularMomentum) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0.1}, 12.0F);
    Steps(0.004, 1000, 10);
    job.flSimTemp = 150.0F;
    Run(kMolecularDynamics, LennardJones());
    // Of the half step between two places: both are kept to rounding, the places being doubles.
    const double dt = AsDouble(job.flTimeStep);
    std::vector<double> first;
    for (std::size_t n = 0; n + 1 < model.Path.size(); n += 100) {
        const std::vector<double>&a = model.Path[n], &z = model.Path[n + 1];
        std::vector<double> p(6, 0.0);
        for (std::size_t i = 0; i < a.size(); i += 3)
            for (std::size_t k = 0; k < 3; ++k) {
                const std::size_t k1 = (k + 1) % 3, k2 = (k + 2) % 3;
                p[k] += (z[i + k] - a[i + k]) / dt;
                p[3 + k] += (a[i + k1] * z[i + k2] - a[i + k2] * z[i + k1]) / dt;
            }
        if (first.empty()) first = p;
        for (std::size_t k = 0; k < 6; ++k) EXPECT_NEAR(p[k], first[k], 1e-9) << n << ' ' << k;
        for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(p[k], 0.0, 1e-9);
    }
}

// The velocity between the last two places, turned round, leads back over the same places. The
// floats that carry it round each velocity by 6e-8 of itself.
TEST_F(MolecularDynamics, GoesBackWhereItCameFrom) {
    Atoms({0, 0, 0, 0, 0, 1.1}, 12.0F);
    Steps(0.001, 200);
    Run(kMolecularDynamics, Morse(50, 2, 1));
    const std::vector<std::vector<double>> there = model.Path;
    const double dt = AsDouble(job.flTimeStep);
    std::vector<float> back;
    for (std::size_t i = 0; i < 6; ++i)
        back.push_back(static_cast<float>((there[199][i] - there[200][i]) / dt));
    Atoms(there[199], 12.0F);
    Run(kMolecularDynamics, Morse(50, 2, 1), back);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(model.Path[199][i], there[0][i], 2e-6) << i;
}

// ---- start --------------------------------------------------------------------------------------

TEST_F(MolecularDynamics, StartsAtItsTemperatureExactly) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 1, 0}, 16.0F);
    Steps(0.001, 3);
    Run(kMolecularDynamics, Nothing());
    for (const MotionReport& report : Reports) EXPECT_FLOAT_EQ(report.Block.flTemperature, 300.0F);
}

TEST_F(MolecularDynamics, IsTheSameForTheSameSeedWhateverRanBefore) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 1, 0}, 16.0F);
    Steps(0.001, 20);
    Run(kMolecularDynamics, LennardJones());
    const auto path = model.Path;
    Run(kMolecularDynamics, Nothing());
    Run(kMolecularDynamics, LennardJones());
    EXPECT_EQ(model.Path, path);
    EXPECT_EQ(job.nRandomSeed, 1) << "the seed is the client's";
    job.nRandomSeed = 2;
    Run(kMolecularDynamics, LennardJones());
    EXPECT_NE(model.Path, path);
}

TEST_F(MolecularDynamics, GoesOnFromTheVelocitiesOfItsLastFrame) {
    Atoms({0, 0, 0, 0, 0, 1.1, 0, 1, 0}, 12.0F);
    Steps(0.001, 40);
    Run(kMolecularDynamics, LennardJones());
    const auto whole = model.Path;
    const MotionReport middle = Reports[20];
    Steps(0.001, 20);
    Atoms(whole[20], 12.0F);
    Run(kMolecularDynamics, LennardJones(), middle.Velocities);
    ASSERT_EQ(Reports.size(), 21u);
    // Velocities of some 10 Angstrom/ps come as floats: 1e-6 of them over 0.02 ps, and its growth.
    for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(model.Path[20][i], whole[40][i], 1e-6) << i;
}

TEST_F(MolecularDynamics, RefusesAVelocityThatIsNoNumber) {
    Atoms({0, 0, 0, 0, 0, 1}, 12.0F);
    Steps(0.001, 2);
    for (const float fl :
         {std::numeric_limits<float>::quiet_NaN(), 1e30F, std::numeric_limits<float>::infinity()}) {
        EXPECT_THROW(Run(kMolecularDynamics, Nothing(), {0, 0, 0, 0, fl, 0}), Unwinding);
        EXPECT_EQ(client.Errors(),
                  std::vector<std::string>{"A velocity of an atom is not a number (atom 2)."});
    }
}

TEST_F(MolecularDynamics, TakesVelocitiesOfTheSelectionAlone) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 0, 2}, 12.0F, {3, 1});
    Steps(0.001, 0);
    const float flNan = std::numeric_limits<float>::quiet_NaN();
    Run(kMolecularDynamics, Nothing(), {1, 2, 3, flNan, flNan, flNan, 7, 8, 9});
    EXPECT_EQ(Reports[0].Velocities, (std::vector<float>{1, 2, 3, 0, 0, 0, 7, 8, 9}));
}

// ---- parts of molecules -------------------------------------------------------------------------

TEST_F(MolecularDynamics, CountsAllAtomsInTheEnergyAndTheActiveOnesInTheTemperature) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 0, 2, 0, 0, 3}, 12.0F, {1, 2});
    Steps(0.001, 4);
    Run(kMolecularDynamics, Nothing());
    for (const MotionReport& report : Reports) {
        EXPECT_FLOAT_EQ(report.Block.flTemperature, 300.0F);
        EXPECT_NEAR(AsDouble(report.Block.flKineticEnergy), 6 * 300 * kBoltzmannKcal, 1e-6);
        EXPECT_EQ(report.Velocities[6], 0.0F);
    }
    for (std::size_t i = 6; i < 12; ++i) EXPECT_EQ(model.Path.back()[i], model.Path.front()[i]);
}

// ---- temperature --------------------------------------------------------------------------------

/// Twice the mean of two half steps, less the half step before: the half step's own temperature.
std::vector<double> HalfSteps(const std::vector<MotionReport>& reports, double dFirst) {
    std::vector<double> t{dFirst};
    for (const MotionReport& r : reports)
        t.push_back(2.0 * AsDouble(r.Block.flTemperature) - t.back());
    return t;
}

// Free atoms keep what they are given. A report after a rescaling is the mean over two
// temperatures.
TEST_F(MolecularDynamics, HeatsAndCoolsFreeAtomsOntoTheirTargets) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 1, 0}, 12.0F);
    Steps(0.001, 20);
    Heat(9, 30, 300, 30);
    Cool(20, 100, 30);
    Run(kMolecularDynamics, Nothing());
    ASSERT_EQ(Reports.size(), 50u);
    // Kicks do nothing here: the velocities of a report are those that its step moved by.
    const auto TemperatureOf = [](const MotionReport& r) {
        double dSum = 0.0;
        for (const float v : r.Velocities) dSum += 12.0 * AsDouble(v) * AsDouble(v) / 418.4;
        return dSum / (9 * kBoltzmannKcal);
    };
    const std::pair<std::size_t, double> targets[] = {{0, 30},   {1, 60},   {8, 270},  {9, 300},
                                                      {29, 300}, {30, 270}, {32, 270}, {33, 240},
                                                      {47, 120}, {48, 100}, {49, 100}};
    for (const auto& [nStep, dTarget] : targets)
        EXPECT_NEAR(TemperatureOf(Reports[nStep]), dTarget, 1e-4) << nStep;
    // The report of a rescaled step is the mean over both half steps.
    EXPECT_NEAR(AsDouble(Reports[0].Block.flTemperature), 30.0, 1e-4);
    EXPECT_NEAR(AsDouble(Reports[29].Block.flTemperature), 300.0, 1e-4);
    EXPECT_NEAR(AsDouble(Reports[30].Block.flTemperature), 285.0, 1e-4);
}

TEST_F(MolecularDynamics, StaysColdWhereNothingPushes) {
    Atoms({0, 0, 0, 0, 0, 1}, 12.0F);
    Steps(0.001, 5);
    Heat(10, 0, 300, 30);
    Run(kMolecularDynamics, Spring(100, 1));
    for (const MotionReport& report : Reports) EXPECT_EQ(report.Block.flTemperature, 0.0F);
}

TEST_F(MolecularDynamics, ForgetsItsStartInABathByItsTimeConstant) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 1, 0}, 12.0F);
    Steps(0.001, 200);
    Heat(1, 100, 100, 30);
    job.flSimTemp = 100.0F;
    Run(kMolecularDynamics, Nothing());
    const std::vector<float> v = Reports[0].Velocities;
    job.flHeatTime = 0;
    job.flSimTemp = 300.0F;
    job.fTempBath = 1;
    job.flBathRelaxTime = 0.1F;
    Run(kMolecularDynamics, Nothing(), v);
    const std::vector<double> t = HalfSteps(Reports, 100.0);
    for (const std::size_t n : {50u, 100u, 200u})
        EXPECT_NEAR(t[n], 300 - 200 * std::exp(-static_cast<double>(n) / 100), 1.5) << n;
}

TEST_F(MolecularDynamics, RefusesAPhaseTooShort) {
    Atoms({0, 0, 0, 0, 0, 1}, 12.0F);
    Steps(0.001, 5);
    Heat(1, 0, 300, 1);
    EXPECT_EQ(Failure(kMolecularDynamics, Nothing()), MessageText(kMsgHeatingTooShort));
}

// ---- what goes wrong ----------------------------------------------------------------------------

Potential Steep(double dForce) {
    return [=](const std::vector<double>&, std::vector<double>& g) {
        g[0] = dForce;
        return 0.0;
    };
}

std::string LargeGradient(long nStep, double dGradient) {
    return Print(
        "Step %ld: Large Gradient: %f\nSimulation may be unstable.\nTry smaller time step, lower "
        "temperature or better starting geometry.",
        nStep, dGradient);
}

TEST_F(MolecularDynamics, WarnsOfLargeForcesAndEndsAtHugeOnes) {
    Atoms({0, 0, 0, 0, 0, 1}, 12.0F);
    Steps(0.001, 0);
    // Root of a sixth: the mean goes over the coordinates of both atoms.
    Run(kMolecularDynamics, Steep(1.0e3 * std::sqrt(6.0) * 0.999));
    EXPECT_TRUE(client.Warnings().empty());
    Run(kMolecularDynamics, Steep(1.0e3 * std::sqrt(6.0) * 1.001));
    EXPECT_EQ(client.Warnings(), std::vector<std::string>{LargeGradient(0, 1001.0)});
    EXPECT_EQ(Failure(kMolecularDynamics, Steep(1.0e5 * std::sqrt(6.0) * 0.999)), "");
    EXPECT_EQ(Failure(kMolecularDynamics, Steep(1.0e5 * std::sqrt(6.0) * 1.01)),
              LargeGradient(0, 101000.0));
}

TEST_F(MolecularDynamics, EndsWhereForcesAreNoNumbers) {
    Atoms({0, 0, 0}, 12.0F);
    Steps(0.001, 5);
    for (const double d :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        EXPECT_NE(Failure(kMolecularDynamics, Steep(d)), "");
        EXPECT_EQ(model.nRuns, 1);
    }
}

TEST_F(MolecularDynamics, TellsOfATinyStepAndGoesOn) {
    Atoms({0, 0, 0}, 12.0F);
    Steps(5e-7, 3);
    Run(kMolecularDynamics, Nothing());
    EXPECT_EQ(client.Errors(),
              std::vector<std::string>{"Verlet: Integration step size is too small\n"});
    EXPECT_EQ(Reports.size(), 4u);
    job.flTimeStep = 0.0F;
    job.flRunTime = 1.0F;
    Run(kMolecularDynamics, Nothing());
    EXPECT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(Reports.size(), 1u);
}

TEST_F(MolecularDynamics, EndsWithoutMemoryForItsVelocities) {
    Atoms({0, 0, 0}, 12.0F);
    Steps(0.001, 3);
    Run(kMolecularDynamics, Nothing());
    const long long nBefore = memory.nTaken;
    Run(kMolecularDynamics, Nothing());
    const long long nEach = memory.nTaken - nBefore;
    int nVelocity = 0;
    for (long long n = 0; n < nEach; ++n) {
        memory.nTaken = 0;
        memory.nFailAt = n;
        try {
            Run(kMolecularDynamics, Nothing());
        } catch (const Unwinding&) {
            if (client.Errors().front() == "Verlet: trouble with malloc of velocity packet\n") {
                ++nVelocity;
                EXPECT_EQ(client.Errors().back(), MessageText(kMsgOutOfMemory));
            }
        }
    }
    EXPECT_EQ(nVelocity, 1);
}

}  // namespace
}  // namespace qsolve
