#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "job/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

class Units : public JobTest {
  protected:
    static void UseRestraints() {
        job.fRestraints = 1;
        for (int nKind = kTether; nKind <= kTorsion; ++nKind) {
            system.nRestraints[nKind] = 1;
            system.pRestraints[nKind].Take(1, kRestraints);
            system.pRestraints[nKind][0] = {nKind, {0, 1, 2, 0}, 100.0F, 2.0F, 3.0F, 4.0F};
        }
    }
};

TEST_F(Units, HartreeMethodsWorkInBohrAndTheOthersInAngstrom) {
    for (int nMethod = kExtendedHueckel; nMethod <= kMndoD; ++nMethod) {
        const bool fBohr =
            nMethod == kCndo || nMethod == kIndo || nMethod == kZindo1 || nMethod == kZindoS;
        UseMethod(nMethod);
        UseAtoms({{8, 1, 2, 3}, {1, 10, 20, 30, kClassical}});
        ConvertToWorkingUnit();
        const float flFactor = fBohr ? 1.889726F : 1.0F;
        EXPECT_FLOAT_EQ(system.pAtoms[0].flX, flFactor) << nMethod;
        EXPECT_FLOAT_EQ(system.pAtoms[0].flY, 2 * flFactor);
        EXPECT_FLOAT_EQ(system.pAtoms[0].flZ, 3 * flFactor);
        EXPECT_FLOAT_EQ(system.pAtoms[1].flZ, 30 * flFactor) << "classical atoms too";
    }
}

TEST_F(Units, TethersAndStretchesFollowTheCoordinatesAnglesDoNot) {
    UseMethod(kZindo1);
    UseWater();
    UseRestraints();
    ConvertToWorkingUnit();
    const RestraintRecord& tether = system.pRestraints[kTether][0];
    EXPECT_FLOAT_EQ(tether.flTarget, 2 * 1.889726F);
    EXPECT_FLOAT_EQ(tether.flTargetY, 3 * 1.889726F);
    EXPECT_FLOAT_EQ(tether.flTargetZ, 4 * 1.889726F);
    EXPECT_FLOAT_EQ(tether.flForceConstant, 28.002855F);
    const RestraintRecord& stretch = system.pRestraints[kStretch][0];
    EXPECT_FLOAT_EQ(stretch.flTarget, 2 * 1.889726F);
    EXPECT_FLOAT_EQ(stretch.flForceConstant, 28.002855F);
    for (const int nKind : {kBend, kTorsion}) {
        EXPECT_EQ(system.pRestraints[nKind][0].flTarget, 2.0F);
        EXPECT_EQ(system.pRestraints[nKind][0].flForceConstant, 100.0F);
    }
}

TEST_F(Units, EnergyOfAStretchIsTheSameInBothUnits) {
    UseMethod(kCndo);
    UseAtoms({{1}, {1, 2.5F, 0, 0}});
    UseRestraints();
    const auto energy = [] {
        const RestraintRecord& r = system.pRestraints[kStretch][0];
        const double d = static_cast<double>(system.pAtoms[1].flX - r.flTarget);
        return static_cast<double>(r.flForceConstant) * d * d;
    };
    const double dBefore = energy();
    ConvertToWorkingUnit();
    EXPECT_NEAR(energy(), dBefore, 1e-5 * dBefore);
}

TEST_F(Units, KindOfARestraintIsThatOfItsRecord) {
    UseMethod(kCndo);
    UseWater();
    UseRestraints();
    system.pRestraints[kTether][0].nKind = kBend;
    system.pRestraints[kStretch][0].nKind = 7;
    ConvertToWorkingUnit();
    EXPECT_EQ(system.pRestraints[kTether][0].flTarget, 2.0F);
    EXPECT_EQ(system.pRestraints[kStretch][0].flTarget, 2.0F);
}

TEST_F(Units, RestraintsStayWhereTheJobHasNone) {
    UseMethod(kCndo);
    UseWater();
    UseRestraints();
    job.fRestraints = 0;
    ConvertToWorkingUnit();
    EXPECT_EQ(system.pRestraints[kTether][0].flTarget, 2.0F);
}

TEST_F(Units, RefusesAnAtomWithoutMassWhateverItsState) {
    for (const float flMass : {0.0F, 1e-10F, -1.0F}) {
        NewScriptedClient();
        UseMethod(kAm1);
        UseAtoms({{8}, {1, 1, 0, 0, kClassical}});
        system.pAtoms[1].flMass = flMass;
        EXPECT_EQ(TrySetUp(), kMsgMassTooSmall);
    }
    EXPECT_EQ(OnlyError(), "The mass for atom 2 is too small (-1.000000).");
    EXPECT_EQ(client.Log(), Lines()) << "before anything is logged";
}

TEST_F(Units, RefusesAMassThatIsNoNumber) {
    for (const float flMass : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
        UseMethod(kAm1);
        UseWater();
        system.pAtoms[0].flMass = flMass;
        EXPECT_EQ(TrySetUp(), kMsgMassTooSmall);
    }
}

TEST_F(Units, AMassJustAboveTheLimitPasses) {
    UseMethod(kAm1);
    UseWater();
    system.pAtoms[0].flMass = 1.1e-10F;
    EXPECT_EQ(TrySetUp(), 0);
}

}  // namespace
}  // namespace qsolve
