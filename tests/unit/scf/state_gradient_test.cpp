#include "scf/state_gradient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "gradient/gradient.h"
#include "gradient/state.h"
#include "job/state.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/gradient_check.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// What the four-point formula leaves of energies up to 1e5 kcal/mol, kcal/(mol Angstrom).
constexpr double kTolerance = 5e-5;
constexpr double kStep = 1e-3;  ///< Angstrom

const std::vector<Place> kMethyl = {
    {6, 0, 0, 0}, {1, 1.08, 0.05, 0.1}, {1, -0.5, 0.95, 0.02}, {1, -0.55, -0.94, 0.05}};
const std::vector<Place> kNitrogenDioxide = {{7, 0, 0, 0}, {8, 1.2, 0.1, 0}, {8, -0.7, 0.95, 0.1}};
const std::vector<Place> kOxygen = {{8, 0, 0, 0}, {8, 0.7, 0.5, 0.8}};
const std::vector<Place> kHydroxyl = {{8, 0, 0, 0}, {1, 0, 0, 1.0}};
const std::vector<Place> kFormaldehyde = {
    {8, 0, 0, 0}, {6, 0.05, 0, -1.22}, {1, 0.13, 0.93, -1.81}, {1, -0.2, -0.95, -1.74}};
const std::vector<Place> kMethylidyne = {{6, 0, 0, 0}, {1, 0.6, 0.5, 0.8}};
const std::vector<Place> kSulfurMonoxide = {{16, 0, 0, 0}, {8, 0.9, 0.8, 0.9}};
const std::vector<Place> kTitanium = {
    {22, 0, 0, 0}, {17, 0, 0.3, 2.2}, {17, 2.0, 0, -1}, {17, -2, 0.2, -1.1}};

const std::vector<int> kAll = {kCndo, kIndo, kZindo1, kZindoS, kMindo3, kMndo, kAm1, kPm3, kMndoD};

struct Sample {
    const char* sName;
    const std::vector<Place>& Places;
    int nMultiplicity;
    std::vector<int> Methods;
    int fNextLowest = 0;
};
const Sample kSamples[] = {
    {"methyl", kMethyl, 2, kAll},
    {"nitrogen dioxide", kNitrogenDioxide, 2, kAll},
    {"oxygen, triplet of equal levels", kOxygen, 3, kAll},
    {"hydroxyl, whose hole may turn about the axis", kHydroxyl, 2, kAll},
    {"quartet", kMethylidyne, 4, kAll},
    {"formaldehyde, triplet", kFormaldehyde, 3, kAll},
    {"formaldehyde, open singlet", kFormaldehyde, 1, kAll, 1},
    {"d orbitals, triplet", kSulfurMonoxide, 3, {kMndoD, kZindo1}},
    {"metal", kTitanium, 2, {kZindo1, kZindoS}},
};

JobScript ScriptOf(const Sample& sample, int nMethod) {
    JobScript script = Molecule(nMethod, sample.Places);
    script.Options.flConvergenceLimit = 1e-10F;
    script.Options.nIterationLimit = 1000;
    script.Options.nMultiplicity = sample.nMultiplicity;
    script.Options.fNextLowestState = sample.fNextLowest;
    return script;
}

/// A job whose gradient is asked for, from the lowest mean that is found.
void Prepare(const Sample& sample, int nMethod) {
    SetUpJob(ScriptOf(sample, nMethod));
    further.Scf = {.fGuarded = 1, .nStability = kFollowStability, .fStateGradient = 1};
}

double EnergyAt(const std::vector<double>& vAngstrom) {
    SetPositions(vAngstrom);
    RunScf();
    return scf.dTotalEnergy;
}

/// kcal/(mol Angstrom), as the last SCF has left it.
std::vector<double> GradientAtHand() {
    std::vector<double> v(gradient.pGradient.begin(), gradient.pGradient.end());
    if (UsesAtomicUnits(system.MethodId))
        for (double& d : v) d *= kBohrPerAngstrom;
    return v;
}

double SlopeOfEnergy(std::vector<double> vAngstrom, std::size_t i) {
    const double dMiddle = vAngstrom[i];
    const auto At = [&](int nSteps) {
        vAngstrom[i] = dMiddle + nSteps * kStep;
        return EnergyAt(vAngstrom);
    };
    return (8.0 * (At(1) - At(-1)) - (At(2) - At(-2))) / (12.0 * kStep);
}

class StateGradient : public FreshState, public testing::WithParamInterface<Sample> {};
INSTANTIATE_TEST_SUITE_P(Samples, StateGradient, testing::ValuesIn(kSamples),
                         [](const auto& sample) { return std::to_string(sample.index); });

TEST_P(StateGradient, IsTheSlopeOfTheEnergyThatIsTold) {
    const Sample& sample = GetParam();
    const std::vector<double> vPlaces = PositionsOf(sample.Places);
    for (const int nMethod : sample.Methods) {
        SCOPED_TRACE(std::string(sample.sName) + ", method " + std::to_string(nMethod));
        Prepare(sample, nMethod);
        EnergyAt(vPlaces);
        ASSERT_EQ(scf.Force.nWhy, kForceOfState);
        ASSERT_TRUE(gradient.fComputed);
        const std::vector<double> v = GradientAtHand();
        for (std::size_t i = 0; i < v.size(); ++i)
            EXPECT_NEAR(v[i], SlopeOfEnergy(vPlaces, i), kTolerance) << i;
        EXPECT_EQ(scf.Force.nOfMean, 0);
    }
}

/// Sums of forces and of torques about the origin, of which the mean's gradient has none either.
TEST_P(StateGradient, NeitherMovesNorTurnsTheMolecule) {
    const Sample& sample = GetParam();
    const std::vector<double> x = PositionsOf(sample.Places);
    for (const int nMethod : sample.Methods) {
        Prepare(sample, nMethod);
        EnergyAt(x);
        const std::vector<double> g = GradientAtHand();
        for (std::size_t c = 0; c < 3; ++c) {
            const std::size_t u = (c + 1) % 3, w = (c + 2) % 3;
            double dForce = 0.0, dTorque = 0.0;
            for (std::size_t i = 0; i < g.size(); i += 3) {
                dForce += g[i + c];
                dTorque += x[i + u] * g[i + w] - x[i + w] * g[i + u];
            }
            EXPECT_NEAR(dForce, 0.0, 1e-10) << sample.sName << nMethod;
            EXPECT_NEAR(dTorque, 0.0, 2e-5) << sample.sName << nMethod;
        }
    }
}

class StateGradientJob : public FreshState {};

TEST_F(StateGradientJob, LeavesDensitiesAndFockMatrixAsTheyWere) {
    const Sample& sample = kSamples[6];
    Prepare(sample, kAm1);
    EnergyAt(PositionsOf(sample.Places));
    const std::vector<double> t(scf.mDensityT.begin(), scf.mDensityT.end());
    const std::vector<double> a(scf.mDensityA.begin(), scf.mDensityA.end());
    const std::vector<double> f(scf.mFockA.begin(), scf.mFockA.end());
    ComputeStateGradient();
    EXPECT_EQ(t, std::vector<double>(scf.mDensityT.begin(), scf.mDensityT.end()));
    EXPECT_EQ(a, std::vector<double>(scf.mDensityA.begin(), scf.mDensityA.end()));
    EXPECT_EQ(f, std::vector<double>(scf.mFockA.begin(), scf.mFockA.end()));
    EXPECT_GT(scf.Force.nProducts, 0);
}

/// Whoever does not ask gets the gradient of old, to the last bit.
TEST_F(StateGradientJob, IsThatOfTheMeanWhereItIsNotAskedFor) {
    const Sample& sample = kSamples[1];
    for (const bool fGuarded : {false, true}) {
        SetUpJob(ScriptOf(sample, kPm3));
        further.Scf = {.fGuarded = fGuarded, .fStateGradient = !fGuarded};
        EXPECT_FALSE(WantsStateGradient());
        EnergyAt(PositionsOf(sample.Places));
        const std::vector<double> v = GradientAtHand();
        const std::vector<double> mean = GradientOfLastScf();
        for (std::size_t i = 0; i < v.size(); ++i) EXPECT_NEAR(v[i], mean[i], 1e-12);
        EXPECT_GT(std::abs(v[3] - SlopeOfEnergy(PositionsOf(sample.Places), 3)), 1.0);
        EXPECT_EQ(scf.Force.nOfMean, 0);
    }
}

TEST_F(StateGradientJob, IsAskedForByOpenLevelsAlone) {
    SetUpJob(Molecule(kAm1, kFormaldehyde));
    further.Scf = {.fGuarded = 1, .fStateGradient = 1};
    EXPECT_FALSE(WantsStateGradient());
    JobScript script = ScriptOf(kSamples[0], kAm1);
    script.Options.nSpinTreatment = 1;
    SetUpJob(script);
    further.Scf = {.fGuarded = 1, .fStateGradient = 1};
    EXPECT_FALSE(WantsStateGradient());
}

/// A record that says why, and the gradient of the mean.
void ExpectOfMean(MeanForce nWhy) {
    EXPECT_EQ(scf.Force.nWhy, nWhy);
    EXPECT_EQ(scf.Force.nWhyFirst, nWhy);
    EXPECT_EQ(scf.Force.nOfMean, 1);
    const std::vector<double> v = GradientAtHand(), mean = GradientOfLastScf();
    for (std::size_t i = 0; i < v.size(); ++i) EXPECT_NEAR(v[i], mean[i], 1e-10);
}

TEST_F(StateGradientJob, IsThatOfTheMeanWithoutConvergence) {
    JobScript script = ScriptOf(kSamples[1], kPm3);
    script.Options.nIterationLimit = 2;
    SetUpJob(script);
    further.Scf = {.fGuarded = 1, .fStateGradient = 1};
    RunScf();
    ExpectOfMean(kForceUnconverged);
}

/// The levels that the electrons of an open singlet take, exchanged with those below.
TEST_F(StateGradientJob, IsThatOfTheMeanWhereThatIsNoMinimum) {
    Prepare(kSamples[1], kPm3);
    RunScf();
    const int n = setup.nOrbitals;
    // The open level goes into the place of an empty one far above: no minimum, and no SCF either,
    // which only the curvature knows.
    double* c = scf.mVectorsA.Data() + static_cast<std::ptrdiff_t>(setup.nDoublyOcc) * n;
    std::swap_ranges(c, c + n, c + 2 * n);
    std::swap(scf.vEnergyA[static_cast<std::size_t>(setup.nDoublyOcc)],
              scf.vEnergyA[static_cast<std::size_t>(setup.nDoublyOcc) + 2]);
    ComputeStateGradient();
    EXPECT_EQ(scf.Force.nWhy, kForceNoMinimum);
    EXPECT_EQ(scf.Force.nOfMean, 1);
}

/// An open singlet whose levels are told to be one: nothing keeps them apart.
TEST_F(StateGradientJob, IsThatOfTheMeanWhereTheLevelsOfAnOpenSingletAreOne) {
    Prepare(kSamples[6], kAm1);
    RunScf();
    const auto nFirst = static_cast<std::size_t>(setup.nDoublyOcc);
    scf.vEnergyA[nFirst] = scf.vEnergyA[nFirst + 1];
    ComputeStateGradient();
    EXPECT_EQ(scf.Force.nWhy, kForceEqualLevels);
}

}  // namespace
}  // namespace qsolve
