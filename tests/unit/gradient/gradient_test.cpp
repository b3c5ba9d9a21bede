#include "gradient/gradient.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "gradient/state.h"
#include "job/state.h"
#include "numeric/row.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/gradient_check.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// What a gradient may differ from the differences of energies, kcal/(mol Angstrom): their own
/// error, and where a series of the overlap is cut off that of the series.
constexpr double kTolerance = 1e-3;

/// Sum of the forces, which is zero but for rounding, in parts of the largest; and of the torques,
/// which is zero for a stationary density alone.
constexpr double kBalanced = 1e-12, kTurnless = 2e-3;

// ---- molecules, distorted, with bonds on the axes in both directions ----------------------------

const std::vector<Place> kFormamide = {{6, 0, 0, 0},        {8, 0, 0, 1.25},
                                       {1, 0, 0, -1.06},    {7, -1.41, 0, 0},
                                       {1, -1.41, 1.05, 0}, {1, -1.95, -0.77, 0.31}};
const std::vector<Place> kThirdRow = {{16, 0, 0, 0},        {17, 0, 2.05, 0},
                                      {14, 0, 0, -2.15},    {1, 0, -1.5, -2.15},
                                      {1, 1.45, 0.1, -2.5}, {1, -1.2, 0.5, -2.9}};
const std::vector<Place> kHydroxide = {
    {8, 0, 0, 0}, {1, 0, -0.99, 0}, {1, 1.25, 0, 0}, {8, 2.41, 0.1, 0}, {1, 2.6, 0.7, 0.71}};
const std::vector<Place> kRadical = {{7, 0, 0, 0},       {1, 0, 0, -1.07},    {6, 0, 1.43, 0},
                                     {1, 0.9, 1.9, 0.3}, {1, -1.0, 1.8, 0.1}, {1, 0.1, 1.7, -1.1}};
const std::vector<Place> kTitanium = {{22, 0, 0, 0},
                                      {17, 0, 0, 2.21},
                                      {17, 0, -2.1, -0.5},
                                      {17, 1.8, 1.1, -0.9},
                                      {17, -1.9, 1.0, -0.7}};
const std::vector<Place> kNickel = {{28, 0, 0, 0},        {6, 0, 0, 1.78},    {8, 0.1, 0.05, 2.95},
                                    {6, 0, 1.85, -0.1},   {8, 0.1, 3.0, 0.1}, {6, -1.5, -0.8, -0.6},
                                    {8, -2.5, -1.3, -1.1}};
const std::vector<Place> kMetals = {
    {47, 0, 0, 0}, {17, 0, 0, -2.4}, {22, 2.7, 0, 0.2}, {17, 4.8, 0.6, 0.4}, {17, 3.0, -1.9, 1.4}};

struct Sample {
    const char* sName;
    std::vector<int> Methods;
    const std::vector<Place>& Places;
    int nCharge = 0;
    int nMultiplicity = 1;
    int nSpinTreatment = 0;
    double dSigma = 1.0, dPi = 1.0;
};

void PrintTo(const Sample& sample, std::ostream* pStream) {
    *pStream << sample.sName;
}

const std::vector<int> kAll = {kCndo, kIndo, kZindo1, kZindoS};
const std::vector<int> kZindo = {kZindo1, kZindoS};

const Sample kSamples[] = {
    {"formamide", kAll, kFormamide},
    {"formamide, unrestricted cation", kAll, kFormamide, 1, 2, 1},
    {"formamide, half-electron cation", kAll, kFormamide, 1, 2, 0},
    {"formamide, weighted overlap", {kZindo1}, kFormamide, 0, 1, 0, 1.1, 0.9},
    {"formamide, weighted overlap", {kZindoS}, kFormamide, 0, 1, 0, 1.267, 0.585},
    {"third row", kAll, kThirdRow},
    {"third row, unrestricted triplet", kAll, kThirdRow, 0, 3, 1},
    {"anion", kAll, kHydroxide, -1},
    {"radical", kAll, kRadical, 0, 2, 1},
    {"titanium", kZindo, kTitanium, 0, 1, 0, 1.2, 0.7},
    {"titanium, unrestricted anion", kZindo, kTitanium, -1, 2, 1},
    {"nickel", {kZindoS}, kNickel, 0, 1, 0, 1.1, 0.9},
    {"two rows of metals", {kZindo1}, kMetals, 1, 2, 1, 1.1, 0.9},
};

/// Differences want sharp energies.
void Sharpen(JobScript& script) {
    script.Options.flConvergenceLimit = 1e-10F;
}

JobScript ScriptOf(const Sample& sample, int nMethod) {
    JobScript script = Molecule(nMethod, sample.Places);
    Sharpen(script);
    script.Options.nTotalCharge = sample.nCharge;
    script.Options.nMultiplicity = sample.nMultiplicity;
    script.Options.nSpinTreatment = sample.nSpinTreatment;
    script.Options.flOverlapSigma = static_cast<float>(sample.dSigma);
    script.Options.flOverlapPi = static_cast<float>(sample.dPi);
    return script;
}

void Print(const char* sName, int nMethod, const GradientCheck& check) {
    std::printf("    method %d, %-32s worst %.1e of %.0f kcal/(mol Angstrom)\n", nMethod, sName,
                check.dWorst, check.dLargest);
}

using GradientOfSums = FreshState;
class CndoGradient : public FreshState, public testing::WithParamInterface<Sample> {};
INSTANTIATE_TEST_SUITE_P(Samples, CndoGradient, testing::ValuesIn(kSamples),
                         [](const auto& sample) { return std::to_string(sample.index); });

TEST_P(CndoGradient, IsTheSlopeOfTheEnergyAndBalanced) {
    const Sample& sample = GetParam();
    for (const int nMethod : sample.Methods) {
        const GradientCheck check =
            CheckGradient(ScriptOf(sample, nMethod), PositionsOf(sample.Places));
        Print(sample.sName, nMethod, check);
        EXPECT_LT(check.dWorst, kTolerance) << sample.sName << ", method " << nMethod;
        EXPECT_GT(check.dLargest, 10.0) << "the molecule is distorted";
        EXPECT_LT(check.dForce, kBalanced * check.dLargest);
        EXPECT_LT(check.dTorque, kTurnless);
    }
}

/// Twice one set of densities less once the same is that set; what repels without electrons counts
/// once in it.
TEST_F(GradientOfSums, CountsEachByItsWeight) {
    JobScript script = Molecule(kIndo, kRadical);
    script.Options.nMultiplicity = 2;
    script.Options.nSpinTreatment = 1;
    EnergyOf(script);
    const double *t = scf.mDensityT.Data(), *a = scf.mDensityA.Data(), *b = scf.mDensityB.Data();
    ComputeGradient(t, a, b);
    const std::vector<double> v(gradient.pGradient.begin(), gradient.pGradient.end());
    ClearGradient();
    EXPECT_FALSE(gradient.fComputed);
    AddGradient(2.0, t, a, b);
    AddGradient(-1.0, t, a, b);
    EXPECT_TRUE(gradient.fComputed);
    for (std::size_t i = 0; i < v.size(); ++i) EXPECT_NEAR(gradient.pGradient[i], v[i], 1e-13);
    ClearGradient();
    AddGradient(1.0, t, a, nullptr);  // spins alike: the exchange of one, twice
    double dApart = 0.0;
    for (std::size_t i = 0; i < v.size(); ++i) dApart += std::abs(gradient.pGradient[i] - v[i]);
    EXPECT_GT(dApart, 1e-3);
}

// ---- mixed models -------------------------------------------------------------------------------

/// Formamide with a carbon atom that closes it, and charges at all ranges: within the clouds, among
/// small clouds, of an atom without a radius, and of a point.
JobScript Mixed(int nMethod, int nCharge = 0) {
    JobScript script = Molecule(nMethod, kFormamide);
    script.Atoms.pop_back();
    script.Add(6, -2.1F, -1.1F, 0.5F, kClassical);
    script.Bond(3, 5);
    script.Add(8, 0.3F, 0.2F, 3.4F, kClassical).flCharge = -0.6F;
    script.Add(1, -0.9F, 0.1F, 6.8F, kClassical).flCharge = 0.4F;
    script.Add(17, 2.9F, 0.0F, 0.0F, kClassical).flCharge = 0.3F;
    script.Add(7, -55.0F, 21.0F, 0.0F, kClassical).flCharge = 0.8F;
    script.Add(6, 0.0F, -3.0F, 0.0F, kClassical).flCharge = 1e-6F;
    Sharpen(script);
    script.Options.nTotalCharge = nCharge;
    script.Options.nMultiplicity = nCharge == 0 ? 1 : 2;
    script.Options.nSpinTreatment = nCharge == 0 ? 0 : 1;
    return script;
}

std::vector<double> PositionsOf(const JobScript& script) {
    std::vector<double> v;
    for (const AtomRecord& atom : script.Atoms)
        for (const float fl : {atom.flX, atom.flY, atom.flZ}) v.push_back(static_cast<double>(fl));
    return v;
}

class MixedGradient : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, MixedGradient, testing::ValuesIn(kAll));

TEST_P(MixedGradient, IsTheSlopeOfTheEnergyAmongClassicalCharges) {
    for (const int nCharge : {0, 1}) {
        const JobScript script = Mixed(GetParam(), nCharge);
        const GradientCheck check = CheckGradient(script, PositionsOf(script));
        ASSERT_EQ(system.nCapping, 1);
        Print(nCharge ? "mixed model, ion" : "mixed model", GetParam(), check);
        EXPECT_LT(check.dWorst, kTolerance);
        EXPECT_GT(check.dForce, 1.0) << "the charges push";
    }
}

TEST_F(MixedGradient, ReachesDShells) {
    for (const int nMethod : kZindo) {
        JobScript script = Molecule(nMethod, kTitanium);
        Sharpen(script);
        script.Add(8, 0.7F, -0.4F, -3.1F, kClassical).flCharge = -0.5F;
        const GradientCheck check = CheckGradient(script, PositionsOf(script));
        Print("titanium and a charge", nMethod, check);
        EXPECT_LT(check.dWorst, kTolerance);
    }
}

TEST_P(MixedGradient, IsReportedInKcalWithoutTheCappingAtoms) {
    const JobScript script = Mixed(GetParam());
    SetUpJob(script);
    RunScf();
    ASSERT_TRUE(gradient.fComputed);
    const Array<double> reported = std::move(gradient.pGradient);
    gradient.pGradient.Take(reported.Size(), kSetUp);
    const std::vector<double> vWhole = GradientOfLastScf();

    const std::size_t nReal = 3 * static_cast<std::size_t>(system.nSelected - 1);
    ASSERT_EQ(reported.Size(), nReal + 3);
    double dSquare = 0.0;
    for (std::size_t i = 0; i < nReal; ++i) {
        EXPECT_NEAR(reported[i] * kBohrPerAngstrom, vWhole[i], 1e-9);
        dSquare += vWhole[i] * vWhole[i];
    }
    for (std::size_t i = nReal; i < vWhole.size(); ++i) {
        EXPECT_EQ(reported[i], 0.0);
        EXPECT_GT(std::abs(vWhole[i]), 1e-3) << "it has one before the report";
    }
    const double dRms = std::sqrt(dSquare / static_cast<double>(vWhole.size()));
    EXPECT_NEAR(gradient.dRmsGradient, dRms, 1e-9);
    EXPECT_FLOAT_EQ(results.Block.flRmsGradient, static_cast<float>(dRms));
}

// ---- edge cases ---------------------------------------------------------------------------------

class EdgeGradient : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, EdgeGradient, testing::ValuesIn(kAll));

TEST_P(EdgeGradient, OfOneAtomIsZero) {
    SetUpJob(Molecule(GetParam(), {{8, 0.3, 0.2, 0.1}}));
    gradient.pGradient[1] = 5.0;
    RunScf();
    EXPECT_TRUE(gradient.fComputed);
    for (const double d : gradient.pGradient) EXPECT_EQ(d, 0.0);
    EXPECT_EQ(gradient.dRmsGradient, 0.0);
}

TEST_P(EdgeGradient, OfADummyIsZero) {
    JobScript script = Molecule(GetParam(), kFormamide);
    Sharpen(script);
    script.Add(0, 0.7F, 0.0F, 0.0F);
    std::swap(script.Atoms[2], script.Atoms.back());
    const GradientCheck check = CheckGradient(script, PositionsOf(script));
    EXPECT_LT(check.dWorst, kTolerance);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(gradient.pGradient[6 + c], 0.0);
}

TEST_P(EdgeGradient, OfAtomsInOnePlaceIsANumber) {
    for (const double dApart : {0.0, 1e-9, 2e-4}) {
        const std::vector<Place> places = {
            {6, 0, 0, 0}, {6, dApart, 0, 0}, {1, 0, 0, 1.1}, {1, 0, 0, -1.1}};
        SetUpJob(Molecule(GetParam(), {{6, 0, 0, 0}, {6, 1, 0, 0}, {1, 0, 0, 1.1}, {1, 0, 0, -1}}));
        SetPositions(PositionsOf(places));
        RunScf();
        for (const double d : gradient.pGradient) EXPECT_TRUE(std::isfinite(d)) << dApart;
    }
}

TEST_P(EdgeGradient, OfAtomsOutOfReachIsTheSlopeToo) {
    const std::vector<Place> places = {{8, 0, 0, 0},        {1, 0, 0, 1.02}, {1, 0.9, 0, -0.3},
                                       {7, 0, 58, 0},       {1, 0, 59.1, 0}, {1, 0.8, 57.5, 0},
                                       {1, -0.5, 57.4, 0.8}};
    JobScript script = Molecule(GetParam(), places);
    Sharpen(script);
    const GradientCheck check = CheckGradient(script, PositionsOf(places));
    EXPECT_LT(check.dWorst, kTolerance);
}

TEST_F(EdgeGradient, IsForgottenWhenTheNextScfFails) {
    SetUpJob(Water(kCndo));
    RunScf();
    ASSERT_TRUE(gradient.fComputed);
    memory.nFailAt = memory.nTaken;
    memory.fFailFromThenOn = true;
    EXPECT_ANY_THROW(RunScf());
    EXPECT_FALSE(gradient.fComputed);
}

}  // namespace
}  // namespace qsolve
