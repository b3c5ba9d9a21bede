#include <gtest/gtest.h>

#include "job/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

class Occupations : public JobTest {
  protected:
    Occupations() {
        UseMethod(kAm1);
        UseWater();
    }
    static std::vector<float> Values() {
        const auto& v = results.Orbitals.vOccupancy;
        return {v.begin(), v.end()};
    }
};

using Floats = std::vector<float>;

TEST_F(Occupations, OfAClosedShellAreTwoAndNone) {
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(), (Floats{2, 2, 2, 2, 0, 0}));
}

TEST_F(Occupations, OfOpenLevelsAreOne) {
    options.nMultiplicity = 3;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(), (Floats{2, 2, 2, 1, 1, 0}));
}

TEST_F(Occupations, OfANextLowestStateMarkTheHole) {
    options.fNextLowestState = 1;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(), (Floats{2, 2, 2, 1, -1, 0}));
}

TEST_F(Occupations, OfEitherSpinMarkTheBetaHalf) {
    options.nSpinTreatment = 1;
    options.nMultiplicity = 3;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(), (Floats{1, 1, 1, 1, 1, 0, -1, -1, -1, 0, 0, 0}));
}

}  // namespace
}  // namespace qsolve
