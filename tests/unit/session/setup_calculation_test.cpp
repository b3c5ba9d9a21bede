#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "integrals/state.h"
#include "job/state.h"
#include "scf/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

/// What a set-up leaves, as far as a later one could spoil it.
struct Outcome {
    std::vector<double> values;
    Lines log;

    bool operator==(const Outcome&) const = default;
};

class SettingUp : public JobTest, public testing::WithParamInterface<int> {
  protected:
    static Outcome Leave() {
        Outcome outcome;
        for (const Array<double>* v :
             {&setup.vZeta1, &setup.vCoef1, &setup.vCoef2, &setup.vOrbitalEnergy0, &setup.vSpHybrid,
              &setup.vPdHybrid, &setup.Map.pOrbitalU, &system.pCoords})
            outcome.values.insert(outcome.values.end(), v->begin(), v->end());
        outcome.values.push_back(setup.dAtomicEnergy);
        outcome.values.push_back(setup.nElectrons);
        outcome.log = client.Log();
        return outcome;
    }

    /// A molecule that uses every kind of array.
    static int SetUpAnew() {
        NewScriptedClient();
        UseAtoms({{6}, {1, 1, 0, 0}, {1, 0, 1, 0}, {1, 0, 0, 1}, {6, -1.5F, 0, 0, kCapping}});
        options.nSpinTreatment = 1;
        options.fDiis = 1;
        return TrySetUp();
    }
};

TEST_P(SettingUp, EveryFailedAllocationIsReportedAndTheNextJobIsAsGoodAsNew) {
    UseMethod(GetParam());
    ASSERT_EQ(SetUpAnew(), 0);
    const Outcome good = Leave();
    const std::size_t nHeld = memory.nBytesHeld;

    int nFailures = 0;
    for (;; ++nFailures) {
        memory.nFailAt = nFailures + 2;  // the molecule of the test itself takes two arrays
        memory.nTaken = 0;
        if (SetUpAnew() == 0) break;
        EXPECT_EQ(OnlyError(),
                  "The molecule selected for calculation is too large and has consumed all "
                  "available memory.");
        EXPECT_LE(memory.nBytesHeld, nHeld);
        memory.nFailAt = -1;
        ASSERT_EQ(SetUpAnew(), 0) << "after allocation " << nFailures;
        EXPECT_TRUE(Leave() == good);
        EXPECT_EQ(memory.nBytesHeld, nHeld) << "something was kept after " << nFailures;
    }
    EXPECT_GT(nFailures, 40);
}

INSTANTIATE_TEST_SUITE_P(Methods, SettingUp, testing::Values(1, 3, 5, 7, 8, 9));

class Preparation : public JobTest {};

TEST_F(Preparation, RepeatedSetUpsOfOneMoleculeAreEqual) {
    for (int nMethod = kCndo; nMethod <= kMndoD; ++nMethod) {
        UseMethod(nMethod);
        UseWater();
        ASSERT_EQ(TrySetUp(), 0);
        const std::vector<double> first(setup.vSpHybrid.begin(), setup.vSpHybrid.end());
        const double dHeat = setup.dHeatCorrection;
        UseWater();
        ASSERT_EQ(TrySetUp(), 0);
        EXPECT_EQ(first, std::vector<double>(setup.vSpHybrid.begin(), setup.vSpHybrid.end()));
        EXPECT_EQ(dHeat, setup.dHeatCorrection);
    }
}

TEST_F(Preparation, ARefusedJobLeavesTheNextOneWhole) {
    UseMethod(kAm1);
    UseWater();
    options.nMultiplicity = 2;
    EXPECT_EQ(TrySetUp(), kMsgDoubletElectrons);
    EXPECT_FALSE(scf.mCore);
    NewScriptedClient();
    UseWater();
    options.nMultiplicity = 1;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Errors(), Lines());
}

TEST_F(Preparation, DerivedParametersThatCannotBeFoundAreAWarning) {
    UseMethod(kAm1);
    UseWater();
    parameters.pNddoParams[90].dGsp = std::numeric_limits<double>::infinity();
    parameters.pNddoParams[90].dGpp = std::numeric_limits<double>::infinity();
    parameters.pNddoParams[90].dRho2 = 0;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Warnings(), Lines{"Error in loading nddo/d parameters!"});
}

TEST_F(Preparation, SingleAtomsAndHydrogenPairsAreSetUpInEveryMethodAndSpin) {
    for (int nMethod = kCndo; nMethod <= kMndoD; ++nMethod) {
        for (const int nSpin : {0, 1}) {
            UseMethod(nMethod);
            options.nSpinTreatment = nSpin;
            options.nMultiplicity = 2;
            UseAtoms({{1}});
            EXPECT_EQ(TrySetUp(), 0);
            EXPECT_EQ(setup.nOrbitals, 1);
            options.nMultiplicity = 1;
            UseAtoms({{1}, {1, 0.7F, 0, 0}});
            EXPECT_EQ(TrySetUp(), 0);
            EXPECT_EQ(setup.nOrbitals, 2);
        }
    }
}

}  // namespace
}  // namespace qsolve
