#include "scf/level_shift.h"

#include <gtest/gtest.h>

#include "job/state.h"
#include "setup/parameters.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Four levels, two of them full, with a gap of 0.5 in the unit of the method.
class LevelShifts : public FreshState {
  protected:
    LevelShifts() {
        setup.nOrbitals = 4;
        setup.nOccupied = setup.nDoublyOcc = setup.Map.nOccA = setup.Map.nOccB = 2;
        system.MethodId = kAm1;
        options.nIterationLimit = 100;
        for (Array<double>* v : {&scf.vLevelA, &scf.vLevelB}) {
            v->Take(4, kSetUp);
            for (std::size_t i = 0; i < 4; ++i) (*v)[i] = 0.5 * static_cast<double>(i);
        }
        shift = InitLevelShift();
        cycle.nCycle = 2;
    }
    void MakeUnrestricted() {
        options.nSpinTreatment = 1;
        setup.nOccupied = setup.nDoublyOcc = 0;
        scf.vLevelB[2] = 3.0;  // beta gap 2.5
    }
    LevelShift shift;
    ScfCycle cycle;
};

TEST_F(LevelShifts, StartAtOneElectronvoltOrNotAtAll) {
    EXPECT_EQ(shift.dShiftA, 1.0);
    EXPECT_EQ(shift.dShiftB, 1.0);
    EXPECT_EQ(shift.dShiftTarget, -4.44);
    EXPECT_EQ(shift.dShiftCap, 20.0);
    EXPECT_TRUE(shift.fLevelShift);
    options.nLevelShiftStart = -1;
    const LevelShift off = InitLevelShift();
    EXPECT_EQ(off.dShiftA, 0.0);
    EXPECT_EQ(off.dShiftTarget, 0.0);
    EXPECT_FALSE(off.fLevelShift);
}

TEST_F(LevelShifts, FollowTheGapTowardsTheTargetInElectronvolts) {
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_NEAR(shift.dShiftA, 1.0 - 4.44 + 0.5, 1e-14);
    EXPECT_NEAR(shift.dShiftTarget, -4.44 * 1.025, 1e-14);
    EXPECT_EQ(scf.dSavedTarget, -4.44);
    EXPECT_EQ(scf.dSavedShiftA, shift.dShiftA);
    EXPECT_EQ(shift.dShiftB, 1.0);  // a restricted job has no beta levels
    shift = InitLevelShift();
    system.MethodId = kZindo1;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_NEAR(shift.dShiftA, 1.0 - 4.44 + 0.5 * 27.211396, 1e-12);
}

TEST_F(LevelShifts, WaitForTheirCycle) {
    options.nLevelShiftStart = 3;
    for (cycle.nCycle = 1; cycle.nCycle <= 4; ++cycle.nCycle) {
        UpdateLevelShift(-2.0, -1.0, shift, cycle);
        EXPECT_EQ(shift.dShiftA, 1.0);
    }
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_NE(shift.dShiftA, 1.0);
}

TEST_F(LevelShifts, EndWithConvergenceOrTheLimit) {
    cycle.fConverged = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, 0.0);
    EXPECT_EQ(shift.dShiftB, 0.0);
    shift = InitLevelShift();
    cycle.fConverged = false;
    cycle.nCycle = 101;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_NE(shift.dShiftA, 0.0);
    cycle.nCycle = 102;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, 0.0);
}

TEST_F(LevelShifts, TakeAnExtraVoltOfTargetWhenTheEnergyRises) {
    UpdateLevelShift(-1.0, -2.0, shift, cycle);
    EXPECT_NEAR(shift.dShiftTarget, -5.44, 1e-14);
}

TEST_F(LevelShifts, AreCappedAndTheCapGivesWayDownwardsAfterARise) {
    scf.vLevelA[2] = 40.5;  // gap 40
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, 20.0);
    EXPECT_NEAR(shift.dShiftCap, 20.01, 1e-14);
    UpdateLevelShift(-1.0, -2.0, shift, cycle);  // a rise: 4.5, and half a volt less at once
    EXPECT_EQ(shift.dShiftA, 4.0);
    EXPECT_NEAR(shift.dShiftCap, 4.01, 1e-14);
    scf.vLevelA[2] = -400.0;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, -20.0);
}

TEST_F(LevelShifts, AtTheirCapLeaveItWhereItIs) {
    shift = {4.0, 1.0, -0.5, 4.0, true};         // the target is met by the gap: the shift stays
    UpdateLevelShift(-1.0, -2.0, shift, cycle);  // a rise, but 4 is not above 4
    EXPECT_EQ(shift.dShiftA, 4.0);
    EXPECT_NEAR(shift.dShiftCap, 4.01, 1e-14);
}

TEST_F(LevelShifts, AreFixedInAClosedSystemWithASettledDensity) {
    cycle.fShiftFrozenClosed = cycle.fNearConverged = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, -0.1);
    UpdateLevelShift(-1.0, -1.9, shift, cycle);  // a rise of less than one volt
    EXPECT_EQ(shift.dShiftA, 1.0);
    EXPECT_TRUE(cycle.fShiftFrozenClosed && cycle.fNearConverged);
    UpdateLevelShift(-1.0, -2.0, shift, cycle);  // one volt is not more than one
    EXPECT_TRUE(cycle.fShiftFrozenClosed && cycle.fNearConverged);
    UpdateLevelShift(-1.0, -2.1, shift, cycle);
    EXPECT_EQ(shift.dShiftA, 1.0);
    EXPECT_FALSE(cycle.fShiftFrozenClosed || cycle.fNearConverged);
}

TEST_F(LevelShifts, MeasureARiseInTheUnitOfTheFamily) {
    system.MethodId = kCndo;
    cycle.fShiftFrozenClosed = cycle.fNearConverged = true;
    UpdateLevelShift(-1.0, -1.0367, shift, cycle);
    EXPECT_TRUE(cycle.fNearConverged);
    UpdateLevelShift(-1.0, -1.0368, shift, cycle);
    EXPECT_FALSE(cycle.fNearConverged);
}

TEST_F(LevelShifts, OfAnOpenSystemStayDynamic) {
    setup.nOccupied = 3;
    cycle.fShiftFrozenClosed = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_NEAR(shift.dShiftA, 1.0 - 4.44 + 0.5, 1e-14);
}

TEST_F(LevelShifts, WithExtrapolationStayAtMinusEightUntilTheDensitySettles) {
    options.fDiis = 1;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, -8.0);
    cycle.fShiftFrozenClosed = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, 0.0);
}

TEST_F(LevelShifts, OfBetaFollowTheirOwnGap) {
    MakeUnrestricted();
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_NEAR(shift.dShiftB, 1.0 - 4.44 + 2.5, 1e-14);
    shift.dShiftB = 9.0;
    UpdateLevelShift(-1.0, -2.0, shift, cycle);
    EXPECT_EQ(shift.dShiftB, 4.0);
}

TEST_F(LevelShifts, OfBetaAreTheGrowthOfTheTargetOnceTheDensityIsSettled) {
    MakeUnrestricted();
    scf.dSavedTarget = -4.0;
    cycle.fShiftFrozenClosed = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_NEAR(shift.dShiftB, -4.44 + 4.0, 1e-14);
    EXPECT_EQ(shift.dShiftA, -0.1);
}

TEST_F(LevelShifts, OfBetaStayAtMinusEightWhileAlphaIsTheOneThatIsCleared) {
    MakeUnrestricted();
    options.fDiis = 1;
    cycle.fShiftFrozenClosed = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, 0.0);
    EXPECT_EQ(shift.dShiftB, -8.0);
}

TEST_F(LevelShifts, AreHeldAtTheSavedValuesInATightDensity) {
    scf.dSavedShiftA = -1.25;
    scf.dSavedShiftB = -2.5;
    cycle.fTightDensity = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, -1.25);
    EXPECT_EQ(shift.dShiftB, -2.5);
}

TEST_F(LevelShifts, WithExtrapolationEndInASettledDensityThatIsTightToo) {
    scf.dSavedShiftA = -8.0;
    options.fDiis = 1;
    cycle.fTightDensity = cycle.fShiftFrozenClosed = true;
    UpdateLevelShift(-2.0, -1.0, shift, cycle);
    EXPECT_EQ(shift.dShiftA, 0.0);
    EXPECT_EQ(scf.dSavedShiftA, 0.0);
}

TEST_F(LevelShifts, CountAGapWithoutLevelsOnOneSideAsNone) {
    scf.vLevelA[0] = -7.0;
    for (const int nOcc : {0, 4}) {
        shift = InitLevelShift();
        setup.Map.nOccA = nOcc;
        UpdateLevelShift(-2.0, -1.0, shift, cycle);
        EXPECT_NEAR(shift.dShiftA, 1.0 - 4.44, 1e-14) << nOcc;
    }
}

class AppliedShift : public LevelShifts {
  protected:
    TestMatrix f = RandomSymmetric(4, 1), p{4, 4};
    double level[4] = {0.0, 0.5, 1.0, 1.5}, energy[4] = {0.0, 0.5, 1.0, 1.5};
    void Apply(int nOcc, double dShift) {
        ApplyLevelShift(nOcc, cycle.nCycle, dShift, p.Data(), level, energy, f.Data());
    }
};

TEST_F(AppliedShift, MovesTheEmptyLevelsOfTheMatrixAndLeavesTheFullOnes) {
    p(0, 0) = p(1, 1) = 1.0;
    const TestMatrix before = f;
    Apply(2, -8.0);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_NEAR(f(i, j), before(i, j) + (i == j && i >= 2 ? 8.0 : 0.0), 1e-14);
}

TEST_F(AppliedShift, EditsTheLevelsFromTheHighestFullOneUpAndTheEnergiesAboveIt) {
    Apply(2, -0.25);
    EXPECT_EQ(std::vector<double>(level, level + 4), (std::vector<double>{0.0, 0.25, 0.75, 1.25}));
    // Energies are held against the level as it has become, 0.25.
    EXPECT_EQ(std::vector<double>(energy, energy + 4),
              (std::vector<double>{0.0, 0.25, 0.75, 1.25}));
}

TEST_F(AppliedShift, IsTurnedToHartreeWhereTheFamilyIsInHartree) {
    system.MethodId = kZindoS;
    const TestMatrix before = f;
    Apply(2, 1.0);
    EXPECT_NEAR(f(3, 3), before(3, 3) - 0.03674930900274282, 1e-16);
}

TEST_F(AppliedShift, TakesEveryLevelAsEmptyWithoutElectrons) {
    Apply(0, 2.0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(level[i], 0.5 * i + 2.0);
        EXPECT_EQ(energy[i], 0.5 * i + 2.0);
    }
}

TEST_F(AppliedShift, EditsTheLastLevelAloneWhenAllAreFull) {
    Apply(4, -0.5);
    EXPECT_EQ(std::vector<double>(level, level + 4), (std::vector<double>{0.0, 0.5, 1.0, 1.0}));
    EXPECT_EQ(std::vector<double>(energy, energy + 4), (std::vector<double>{0.0, 0.5, 0.5, 1.0}));
}

TEST_F(AppliedShift, WaitsForItsCycle) {
    const TestMatrix before = f;
    options.nLevelShiftStart = 1;
    Apply(2, 1.0);
    EXPECT_EQ(f.v, before.v);
    EXPECT_EQ(level[3], 1.5);
}

}  // namespace
}  // namespace qsolve
