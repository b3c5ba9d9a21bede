#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "job/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

class Units : public JobTest {};

TEST_F(Units, HartreeMethodsWorkInBohrAndTheOthersInAngstrom) {
    for (int nMethod = kExtendedHueckel; nMethod <= kMndoD; ++nMethod) {
        const bool fBohr =
            nMethod == kCndo || nMethod == kIndo || nMethod == kZindo1 || nMethod == kZindoS;
        UseMethod(nMethod);
        UseAtoms({{8, 1, 2, 3}, {1, 10, 20, 30, kClassical}});
        TakeCoordinates();
        const float flFactor = fBohr ? 1.889726F : 1.0F;
        const float flPlaces[] = {1, 2, 3, 10, 20, 30};  // classical atoms too
        for (int i = 0; i < 6; ++i)
            EXPECT_FLOAT_EQ(static_cast<float>(system.pCoords[i]), flPlaces[i] * flFactor)
                << nMethod;
        EXPECT_EQ(system.pAtoms[0].flZ, 3.0F) << "the records stay as they came";
    }
}

TEST_F(Units, PlacesThatCameInFullAreTakenInsteadOfTheRecords) {
    const double pPlaces[] = {1.0 + 1e-12, 2, 3, 10, 20, 30};  // more than a record holds
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS, kMindo3, kAm1, kMndoD}) {
        const bool fBohr = nMethod < kMindo3 || nMethod == kZindo1 || nMethod == kZindoS;
        UseMethod(nMethod);
        UseAtoms({{8, 4, 5, 6}, {1, 7, 8, 9, kClassical}});
        further.pXyz.Take(6, kSetUp);
        std::copy(std::begin(pPlaces), std::end(pPlaces), further.pXyz.Data());
        TakeCoordinates();
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_DOUBLE_EQ(system.pCoords[i], pPlaces[i] * (fBohr ? 1.889726 : 1.0)) << nMethod;
    }
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
