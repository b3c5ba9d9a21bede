#include "integrals/atom_list.h"

#include <gtest/gtest.h>

#include "job/state.h"
#include "tests/unit/integrals/hand_made_molecule.h"

namespace qsolve {
namespace {

class AtomList : public HandMadeMolecule {};

TEST_F(AtomList, WalksTheSelectionInItsOrder) {
    UseMethod(kZindoS);
    Place({{1, 0, 0, 0}, {8, 0, 0, 9, kClassical}, {0, 0, 0, 2}, {26, 1, 2, 3}, {6, 0, 0, 5}});
    ASSERT_EQ(system.nSelected, 4);
    EXPECT_EQ(AtomAt(0).nElement, 1);
    EXPECT_EQ(AtomAt(0).nOrbitals, 1);
    EXPECT_TRUE(AtomAt(1).IsDummy());
    EXPECT_EQ(AtomAt(1).nOrbitals, 0);
    EXPECT_EQ(AtomAt(2).nFirst, 1);
    EXPECT_EQ(AtomAt(2).pXyz[2], 3.0);
    EXPECT_TRUE(AtomAt(2).HasD());
    EXPECT_EQ(AtomAt(3).nFirst, 10);
    EXPECT_TRUE(AtomAt(3).HasP());
    EXPECT_FALSE(AtomAt(3).HasD());
    EXPECT_EQ(CoreChargeOf(26), 8.0);
}

TEST_F(AtomList, KnowsTheTransitionRows) {
    for (int nElement = 1; nElement <= 105; ++nElement) {
        EXPECT_EQ(IsFirstTransitionRow(nElement), nElement >= 21 && nElement <= 29);
        EXPECT_EQ(IsSecondTransitionRow(nElement), nElement >= 39 && nElement <= 47);
    }
}

}  // namespace
}  // namespace qsolve
