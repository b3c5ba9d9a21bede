#include "geometry/geometry.h"

#include "job/state.h"
#include "tests/support/model_potential.h"

namespace qsolve {
namespace {

class MovedAtoms : public ModelTest {};

TEST_F(MovedAtoms, GoByTheirRowsInTheOrderOfTheList) {
    Place({0, 0, 0, 1, 1, 1, 2, 2, 2}, {3, 1});
    const double v[] = {1, 2, 3, 4, 5, 6};
    MoveAtoms(v, 0.5);
    EXPECT_EQ(DistanceFrom({2, 2.5, 3, 1, 1, 1, 2.5, 3, 3.5}), 0.0);
}

TEST_F(MovedAtoms, AreTheFreeOnesAlone) {
    Place({0, 0, 0, 1, 1, 1});
    system.pAtoms[1].nState = kCapping;
    const double v[] = {1, 1, 1, 1, 1, 1};
    MoveAtoms(v, -1.0);
    EXPECT_EQ(DistanceFrom({-1, -1, -1, 1, 1, 1}), 0.0);
}

}  // namespace
}  // namespace qsolve
