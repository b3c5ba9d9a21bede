#include <cmath>
#include <cstddef>

#include "job/methods.h"
#include "setup/state.h"
#include "tests/support/model_motion.h"

namespace qsolve {
namespace {

constexpr double kBoltzmannKcal = 0.001987191682600382;

double AsDouble(float fl) {
    return static_cast<double>(fl);
}

class Langevin : public MotionTest {
  protected:
    /// nAtoms atoms far from each other.
    void Scatter(int nAtoms, float flMass) {
        std::vector<double> x;
        for (int i = 0; i < nAtoms; ++i)
            for (const double d : {0.0, 0.0, 10.0 * i}) x.push_back(d);
        Atoms(x, flMass);
    }
    double MeanTemperature() const {
        double dSum = 0.0;
        for (const MotionReport& r : Reports) dSum += AsDouble(r.Block.flTemperature);
        return dSum / static_cast<double>(Reports.size());
    }
    double MeanPotential() const {
        double dSum = 0.0;
        for (const MotionReport& r : Reports) dSum += AsDouble(r.Block.flPotentialEnergy);
        return dSum / static_cast<double>(Reports.size());
    }
};

TEST_F(Langevin, ReportsTheFirstEveryNthAndTheLastStep) {
    Scatter(2, 1.0F);
    Steps(0.001, 10, 4);
    job.flFriction = 5.0F;
    Run(kLangevinDynamics, Nothing());
    ASSERT_EQ(Reports.size(), 4u);
    const int steps[] = {0, 4, 8, 10};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_FLOAT_EQ(Reports[i].Block.flTime, 0.001F * static_cast<float>(steps[i]));
        EXPECT_EQ(Reports[i].Block.fFinalResult, i == 3 ? 1 : 0);
        EXPECT_EQ(Reports[i].Velocities.size(), 6u);
    }
    EXPECT_EQ(model.nRuns, 11);
    EXPECT_FALSE(results.Motion.vVelocity);
}

TEST_F(Langevin, AlwaysReportsItsStart) {
    Scatter(1, 1.0F);
    Steps(0.001, 3, 0);
    Run(kLangevinDynamics, Nothing());
    EXPECT_EQ(Reports.size(), 2u);
}

// The closing lines belong to a step.
TEST_F(Langevin, OfNoStepsReportsItsStartAsFinalAndSaysNothing) {
    link.fLogReports = true;
    Scatter(2, 1.0F);
    Steps(0.001, 0);
    Run(kLangevinDynamics, Nothing());
    ASSERT_EQ(Reports.size(), 1u);
    EXPECT_EQ(Reports[0].Block.fFinalResult, 1);
    EXPECT_TRUE(setup.fFinalReport);
    EXPECT_TRUE(client.Log().empty());
    Steps(0.001, 1);
    Run(kLangevinDynamics, Nothing());
    ASSERT_EQ(client.Log().size(), 1u);
    EXPECT_EQ(client.Log()[0].find(" Time = 0.0010 ps\n Kinetic Energy = "), 0u);
    EXPECT_EQ(client.Texts(kPacketStatusLine).size(), 1u);
}

TEST_F(Langevin, NamesItselfInItsTexts) {
    Scatter(1, 1.0F);
    Steps(5e-7, 1);
    Run(kLangevinDynamics, Nothing());
    EXPECT_EQ(client.Errors(),
              std::vector<std::string>{"Langevin: Integration step size is too small\n"});
}

// Velocity Verlet on a spring, from rest: x_n = A cos(n theta), and the velocity on the step is the
// mean slope to both sides.
TEST_F(Langevin, WithoutFrictionFollowsASpringAsVelocityVerletDoes) {
    for (const int nMethod : {kAm1, kZindo1}) {
        system.MethodId = nMethod;
        const double b = nMethod == kZindo1 ? 1.889725985 : 1.0, k = 200.0, d0 = 0.1;
        const double dt = AsDouble(0.0005F), omega2 = k * 418.4 * b * b;
        const double theta = std::acos(1.0 - omega2 * dt * dt / 2.0);
        Atoms({0, 0, 0, 0, 0, 1 + d0}, 2.0F);
        Steps(0.0005, 400);
        job.flSimTemp = 0.0F;
        Run(kLangevinDynamics, Spring(k, 1.0));
        for (int n = 0; n <= 400; ++n) {
            const std::vector<double>& x = model.Path[static_cast<std::size_t>(n)];
            ASSERT_NEAR(x[5] - x[2], 1.0 + d0 * std::cos(n * theta), 1e-10) << n;
            const double v = d0 * std::sin(theta) * std::sin(n * theta) / dt / b;
            const ResultBlock& block = Reports[static_cast<std::size_t>(n)].Block;
            ASSERT_NEAR(AsDouble(block.flKineticEnergy), 0.5 * v * v / 418.4, 1e-6) << n;
        }
    }
}

TEST_F(Langevin, AtZeroOnlyDamps) {
    Atoms({0, 0, 0, 0, 0, 1.2}, 2.0F);
    Steps(0.0005, 4000, 100);
    job.flSimTemp = 0.0F;
    job.flFriction = 20.0F;
    Run(kLangevinDynamics, Spring(200, 1.0));
    for (std::size_t i = 1; i < Reports.size(); ++i)
        EXPECT_LT(AsDouble(Reports[i].Block.flTotalEnergy),
                  AsDouble(Reports[i - 1].Block.flTotalEnergy) + 1e-12);
    EXPECT_LT(AsDouble(Reports.back().Block.flTotalEnergy), 1e-8);
}

TEST_F(Langevin, IsTheSameForTheSameSeedWhateverRanBefore) {
    for (const bool fLong : {false, true}) {
        further.Motion.fLongNoise = fLong;
        Scatter(2, 12.0F);
        Steps(0.001, 20);
        job.flFriction = 10.0F;
        job.nRandomSeed = 1;
        Run(kLangevinDynamics, Nothing());
        const auto path = model.Path;
        Run(kMolecularDynamics, Nothing());
        Run(kLangevinDynamics, Nothing());
        EXPECT_EQ(model.Path, path);
        EXPECT_EQ(job.nRandomSeed, 1) << "the seed is the client's";
        job.nRandomSeed = 2;
        Run(kLangevinDynamics, Nothing());
        EXPECT_NE(model.Path, path);
    }
}

// The kinetic energy forgets itself in 1 / (2 f), so that the mean over a time t has a standard
// error of T sqrt(2 / (3 N f t)).
TEST_F(Langevin, KeepsFreeAtomsAtItsTemperatureWithTheLongNoise) {
    const int nAtoms = 20, nSteps = 20000;
    const double f = 5.0, dError = 300.0 * std::sqrt(2.0 / (3 * nAtoms * f * 0.001 * nSteps));
    job.flFriction = 5.0F;
    further.Motion.fLongNoise = true;
    for (const int nSeed : {1, 2, 3}) {
        Scatter(nAtoms, 12.0F);
        Steps(0.001, nSteps, 10);
        job.nRandomSeed = nSeed;
        Run(kLangevinDynamics, Nothing());
        EXPECT_NEAR(MeanTemperature(), 300.0, 3.5 * dError) << nSeed;
    }
    // The noise of the generator comes back after 496 steps of twenty atoms: a third too hot.
    further.Motion.fLongNoise = false;
    Scatter(nAtoms, 12.0F);
    Run(kLangevinDynamics, Nothing());
    EXPECT_GT(MeanTemperature(), 300.0 + 8 * dError);
}

// Each of the six coordinates in its own bowl: kT / 2 of potential energy, more by (w dt)^2 / 6 of
// it from the finite step, and kT / 2 of kinetic energy, less by half that.
TEST_F(Langevin, SharesTheEnergyEqually) {
    const double k = 20.0, dt = 0.002, w = std::sqrt(k * 418.4 / 12.0) * dt, kT = 0.59615750;
    const int nSteps = 100000;
    const std::vector<double> x = {0, 0, 0, 3, 0, 0};
    job.flFriction = 20.0F;
    further.Motion.fLongNoise = true;
    Atoms(x, 12.0F);
    Steps(dt, nSteps, 5);
    Run(kLangevinDynamics, Bowl(std::vector<double>(6, k), x));
    // At this friction, below the frequency of 26 / ps, energies forget themselves in about 1 / f.
    const double dError = 3.5 * std::sqrt(2.0 / (20.0 * dt * nSteps) / 6);
    EXPECT_NEAR(MeanPotential() / (3 * kT), 1.0 + w * w / 6, dError);
    EXPECT_NEAR(MeanTemperature() / 300.0, 1.0 - w * w / 12, dError);
}

TEST_F(Langevin, FollowsTheTargetsOfTheHeating) {
    further.Motion.fLongNoise = true;
    Scatter(30, 12.0F);
    Steps(0.001, 3000, 1);
    Heat(100, 10, 300, 29);
    job.flFriction = 100.0F;
    Run(kLangevinDynamics, Nothing());
    double dSum = 0.0;
    for (std::size_t i = 500; i < 3100; ++i) dSum += AsDouble(Reports[i].Block.flTemperature);
    EXPECT_NEAR(dSum / 2600, 300.0, 3.5 * 300 * std::sqrt(2.0 / (90 * 100 * 2.6)));
}

TEST_F(Langevin, GoesOnFromTheVelocitiesOfItsLastFrame) {
    Atoms({0, 0, 0, 0, 0, 1.1, 0, 1, 0}, 12.0F);
    Steps(0.001, 40);
    Run(kLangevinDynamics, LennardJones());
    const auto whole = model.Path;
    const std::vector<float> velocities = Reports[20].Velocities;
    Steps(0.001, 20);
    Atoms(whole[20], 12.0F);
    Run(kLangevinDynamics, LennardJones(), velocities);
    for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(model.Path[20][i], whole[40][i], 1e-6) << i;
}

TEST_F(Langevin, LeavesWhatIsNotSelectedInItsPlace) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 0, 2}, 12.0F, {1, 3});
    Steps(0.001, 5);
    job.flFriction = 10.0F;
    Run(kLangevinDynamics, Nothing());
    for (std::size_t i = 0; i < 9; ++i)
        EXPECT_EQ(model.Path.back()[i] == model.Path.front()[i], i / 3 == 1) << i;
}

TEST_F(Langevin, RestsCappingAtomsOnlyWhenAskedTo) {
    for (const bool fRest : {false, true}) {
        further.Motion.fRestUnmoving = fRest;
        CapLast = true;
        Atoms({0, 0, 0, 0, 0, 1, 0, 0, 2}, 12.0F);
        Steps(0.001, 2);
        Run(kLangevinDynamics, Nothing());
        EXPECT_EQ(Reports[0].Velocities[8] == 0.0F, fRest);
        EXPECT_NEAR(AsDouble(Reports[0].Block.flTemperature), 300.0, 1e-3);
        EXPECT_EQ(model.Path.back()[8], 2.0);
    }
}

}  // namespace
}  // namespace qsolve
