#include "gradient/nddo_gradient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "gradient/state.h"
#include "job/state.h"
#include "scf/scf.h"
#include "tests/support/fresh_state.h"
#include "tests/support/gradient_check.h"
#include "tests/support/reference_table.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// What a gradient may differ from the differences of energies, kcal/(mol Angstrom): the error of
/// the overlap's series where that is cut off.
constexpr double kTolerance = 1e-3;

/// A sum of forces that is zero but for rounding.
constexpr double kBalanced = 1e-9;

/// The torque, kcal/mol, is zero at a stationary density: where the density lacks 1e-5, it is not.
constexpr double kTurn = 1e-4;

// ---- molecules, distorted, with bonds on the axes in both directions ----------------------------

const std::vector<Place> kFormamide = {{6, 0, 0, 0},        {8, 0, 0, 1.25},
                                       {1, 0, 0, -1.06},    {7, -1.41, 0, 0},
                                       {1, -1.41, 1.05, 0}, {1, -1.95, -0.77, 0.31}};
const std::vector<Place> kWaterUp = {{8, 0, 0, 0}, {1, 0, 0, 0.99}, {1, 0.9, 0.1, -0.25}};
const std::vector<Place> kWaterDown = {{8, 0, 0, 0}, {1, 0, 0, -0.99}, {1, 0.1, -0.9, 0.25}};
const std::vector<Place> kThirdRow = {{16, 0, 0, 0},       {17, 0, 2.05, 0},
                                      {6, 0, 0, -1.79},    {1, 0, -1.012, -2.15},
                                      {1, 1.0, 0.1, -2.1}, {1, -0.9, 0.5, -2.2}};
const std::vector<Place> kSilicon = {
    {14, 0, 0, 0},       {17, 0, 0, 2.05},     {16, 0, -2.15, 0},
    {1, 0, -2.3, -1.35}, {1, 1.45, 0.2, -0.3}, {6, -1.8, 0, 0},
    {1, -2.2, 1.0, 0.1}, {1, -2.1, -0.6, 0.9}, {1, -2.2, -0.5, -0.8}};
const std::vector<Place> kHydroxide = {
    {8, 0, 0, 0}, {1, 0, -0.99, 0}, {1, 1.25, 0, 0}, {8, 2.41, 0.1, 0}, {1, 2.6, 0.7, 0.71}};
const std::vector<Place> kRadical = {{7, 0, 0, 0},       {1, 0, 0, -1.07},    {6, 0, 1.43, 0},
                                     {1, 0.9, 1.9, 0.3}, {1, -1.0, 1.8, 0.1}, {1, 0.1, 1.7, -1.1}};
const std::vector<Place> kBoron = {{5, 0, 0, 0},      {9, 0, 0, 1.33},     {6, 1.57, 0, 0},
                                   {1, 0, -1.2, 0},   {1, 2.1, 0.95, 0.2}, {1, 2.0, -0.6, 0.9},
                                   {1, 1.8, -0.4, -1}};
const std::vector<Place> kFar = {{8, 0, 0, 0},        {1, 0, 0, 1.02}, {1, 0.9, 0, -0.3},
                                 {7, 0, 58, 0},       {1, 0, 59.1, 0}, {1, 0.8, 57.5, 0},
                                 {1, -0.5, 57.4, 0.8}};

struct Sample {
    const char* sName;
    std::vector<int> Methods;
    const std::vector<Place>& Places;
    int nCharge = 0;
    int nMultiplicity = 1;
    int nSpinTreatment = 0;
};

void PrintTo(const Sample& sample, std::ostream* pStream) {
    *pStream << sample.sName;
}

const std::vector<int> kAll = {kMindo3, kMndo, kAm1, kPm3};

const Sample kSamples[] = {
    {"formamide", kAll, kFormamide},
    {"formamide, unrestricted cation", kAll, kFormamide, 1, 2, 1},
    {"formamide, half-electron cation", kAll, kFormamide, 1, 2, 0},
    {"formamide, unrestricted triplet", {kMndo, kAm1, kPm3}, kFormamide, 0, 3, 1},
    {"water, bond along z", kAll, kWaterUp},
    {"water, bond against z", kAll, kWaterDown},
    {"third row", kAll, kThirdRow},
    {"d orbitals", {kMndoD}, kSilicon},
    {"d orbitals, half-electron cation", {kMndoD}, kSilicon, 1, 2},
    {"d orbitals, unrestricted anion", {kMndoD}, kThirdRow, -1, 2, 1},
    {"third row, unrestricted anion", kAll, kThirdRow, -1, 2, 1},
    {"anion", kAll, kHydroxide, -1},
    {"radical", kAll, kRadical, 0, 2, 1},
    {"boron with H, C and F", {kMindo3, kMndo, kAm1, kPm3}, kBoron},
    {"far apart", kAll, kFar},
};

JobScript ScriptOf(const Sample& sample, int nMethod) {
    JobScript script = Molecule(nMethod, sample.Places);
    script.Options.flConvergenceLimit = 1e-10F;
    script.Options.nTotalCharge = sample.nCharge;
    script.Options.nMultiplicity = sample.nMultiplicity;
    script.Options.nSpinTreatment = sample.nSpinTreatment;
    return script;
}

void Print(const char* sName, int nMethod, const GradientCheck& check) {
    std::printf("    method %d, %-32s worst %.1e of %.0f kcal/(mol Angstrom)\n", nMethod, sName,
                check.dWorst, check.dLargest);
}

class NddoGradient : public FreshState, public testing::WithParamInterface<Sample> {};
INSTANTIATE_TEST_SUITE_P(Samples, NddoGradient, testing::ValuesIn(kSamples),
                         [](const auto& sample) { return std::to_string(sample.index); });

TEST_P(NddoGradient, IsTheSlopeOfTheEnergyAndBalanced) {
    const Sample& sample = GetParam();
    for (const int nMethod : sample.Methods) {
        const GradientCheck check =
            CheckGradient(ScriptOf(sample, nMethod), PositionsOf(sample.Places));
        Print(sample.sName, nMethod, check);
        EXPECT_LT(check.dWorst, kTolerance) << sample.sName << ", method " << nMethod;
        EXPECT_GT(check.dLargest, 10.0) << "the molecule is distorted";
        EXPECT_LT(check.dForce, kBalanced * check.dLargest);
        EXPECT_LT(check.dTorque, kTurn);
    }
}

// ---- mixed models -------------------------------------------------------------------------------

/// Formamide with a carbon atom that closes it, and charges on the axes of its atoms and elsewhere.
JobScript Mixed(int nMethod, int nCharge) {
    JobScript script = Molecule(nMethod, kFormamide);
    script.Atoms.pop_back();
    script.Add(6, -2.1F, -1.1F, 0.5F, kClassical);
    script.Bond(3, 5);
    script.Add(8, 0.0F, 0.0F, 3.4F, kClassical).flCharge = -0.6F;
    script.Add(1, -0.9F, 0.1F, 6.8F, kClassical).flCharge = 0.4F;
    script.Add(17, 2.9F, 0.0F, 0.0F, kClassical).flCharge = 0.3F;
    script.Add(7, -25.0F, 21.0F, 0.0F, kClassical).flCharge = 0.8F;
    script.Add(6, 0.0F, -3.0F, 0.0F, kClassical).flCharge = 1e-6F;
    script.Options.flConvergenceLimit = 1e-10F;
    script.Options.nTotalCharge = nCharge;
    script.Options.nMultiplicity = nCharge == 0 ? 1 : 2;
    // Unrestricted, the ion's density in MINDO/3 takes more cycles than a test has time for.
    script.Options.nSpinTreatment = nCharge == 0 || nMethod == kMindo3 ? 0 : 1;
    return script;
}

std::vector<double> PositionsOf(const JobScript& script) {
    std::vector<double> v;
    for (const AtomRecord& atom : script.Atoms)
        for (const float fl : {atom.flX, atom.flY, atom.flZ}) v.push_back(static_cast<double>(fl));
    return v;
}

class MixedNddoGradient : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, MixedNddoGradient,
                         testing::Values(kMindo3, kMndo, kAm1, kPm3, kMndoD));

TEST_P(MixedNddoGradient, IsTheSlopeOfTheEnergyAmongClassicalCharges) {
    for (const int nCharge : {0, 1}) {
        const JobScript script = Mixed(GetParam(), nCharge);
        const GradientCheck check = CheckGradient(script, PositionsOf(script));
        ASSERT_EQ(system.nCapping, 1);
        Print(nCharge ? "mixed model, ion" : "mixed model", GetParam(), check);
        EXPECT_LT(check.dWorst, kTolerance);
        EXPECT_GT(check.dForce, 1.0) << "the charges push";
    }
}

TEST_F(MixedNddoGradient, LeavesDOrbitalsOutOfTheChargesPush) {
    JobScript script = Molecule(kMndoD, kSilicon);
    script.Options.flConvergenceLimit = 1e-10F;
    script.Add(8, 0.7F, 2.9F, -1.1F, kClassical).flCharge = -0.5F;
    const GradientCheck check = CheckGradient(script, PositionsOf(script));
    Print("silicon and a charge", kMndoD, check);
    EXPECT_LT(check.dWorst, kTolerance);
}

// ---- edge cases ---------------------------------------------------------------------------------

TEST_P(MixedNddoGradient, OfADummyIsZero) {
    JobScript script = Molecule(GetParam(), kWaterUp);
    script.Options.flConvergenceLimit = 1e-10F;
    script.Atoms.insert(script.Atoms.begin() + 1, AtomRecord{});
    script.Atoms[1].nAtomicNumber = 0;
    script.Atoms[1].flMass = 1.0F;
    script.Atoms[1].flX = 0.7F;
    const GradientCheck check = CheckGradient(script, PositionsOf(script));
    EXPECT_LT(check.dWorst, kTolerance);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(gradient.pGradient[3 + c], 0.0);
}

TEST_P(MixedNddoGradient, OfAtomsInOnePlaceIsANumber) {
    for (const double dApart : {0.0, 1e-9, 2e-4}) {
        const std::vector<Place> places = {
            {6, 0, 0, 0}, {6, dApart, 0, 0}, {1, 0, 0, 1.1}, {1, 0, 0, -1.1}};
        SetUpJob(Molecule(GetParam(), {{6, 0, 0, 0}, {6, 1, 0, 0}, {1, 0, 0, 1.1}, {1, 0, 0, -1}}));
        SetPositions(PositionsOf(places));
        RunScf();
        for (const double d : gradient.pGradient) EXPECT_TRUE(std::isfinite(d)) << dApart;
    }
}

// ---- other programs -----------------------------------------------------------------------------

struct Table {
    int nMethod;
    const char* sRow;
};

class NddoGradientReference : public FreshState, public testing::WithParamInterface<Table> {};
INSTANTIATE_TEST_SUITE_P(Methods, NddoGradientReference,
                         testing::Values(Table{kMindo3, "mindo3"}, Table{kMndo, "mndo"},
                                         Table{kAm1, "am1"}, Table{kPm3, "pm3"}));

TEST_P(NddoGradientReference, AgreesInEveryComponent) {
    auto values = ReadReferenceValues("nddo_gradients.txt");
    int nCompared = 0;
    double dWorst = 0.0;
    for (const ReferenceMolecule& molecule : ReadReferenceMolecules("nddo_geometries.txt")) {
        if (!values[molecule.sName].contains(GetParam().sRow)) continue;
        const std::vector<double>& expected = values[molecule.sName][GetParam().sRow];
        JobScript script = SinglePointOf(molecule, GetParam().nMethod);
        script.Options.flConvergenceLimit = 1e-8F;
        EnergyOf(script);
        for (int i = 0; i < 3; ++i) RunScf();  // the density lags behind the energy
        const std::vector<double> computed = GradientOfLastScf();
        ASSERT_EQ(computed.size(), expected.size()) << molecule.sName;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            dWorst = std::max(dWorst, std::abs(computed[i] - expected[i]));
            EXPECT_NEAR(computed[i], expected[i], 3e-3) << molecule.sName << ' ' << i;
        }
        ++nCompared;
    }
    EXPECT_GE(nCompared, 22);
    std::printf("    %s: %d molecules, worst %.1e kcal/(mol Angstrom)\n", GetParam().sRow,
                nCompared, dWorst);
}

}  // namespace
}  // namespace qsolve
