#include "setup/atomic_energies.h"

#include <gtest/gtest.h>

#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

class AtomicEnergies : public JobTest {};

TEST_F(AtomicEnergies, AreSumsOverTheCalculatedAtomsInKcal) {
    UseMethod(kAm1);
    parameters.pNddoParams[0].dAtomEnergy = -11;
    parameters.pNddoParams[0].dHeatOfAtom = 52;
    UseAtoms({{8}, {1, 1, 0, 0}, {1, 0, 1, 0}, {0}, {6, 5, 0, 0, kClassical}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_DOUBLE_EQ(setup.dAtomicEnergy, (-100 - 22) * 23.061);
    EXPECT_DOUBLE_EQ(setup.dHeatCorrection, (170 + 104) + 122 * 23.061);
}

TEST_F(AtomicEnergies, OfCappingAtomsComeFromTheirOwnRows) {
    UseMethod(kAm1);
    parameters.pNddoParams[kCappingOffset + 5].dAtomEnergy = -400;
    UseAtoms({{6}, {1, 1, 0, 0}, {6, 0, 1, 0, kCapping}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_DOUBLE_EQ(setup.dAtomicEnergy, -600 * 23.061);
}

TEST_F(AtomicEnergies, OfCndoAndIndoDiffer) {
    for (const int nMethod : {kCndo, kIndo}) {
        UseMethod(nMethod);
        UseAtoms({{2}});
        ASSERT_EQ(TrySetUp(), 0);
        EXPECT_DOUBLE_EQ(setup.dAtomicEnergy, (nMethod == kCndo ? -30 : -31) * 23.061);
    }
}

TEST_F(AtomicEnergies, OfZindoComeFromItsTable) {
    UseMethod(kZindoS);
    UseAtoms({{2}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_DOUBLE_EQ(setup.dAtomicEnergy, -90 * 23.061);
    EXPECT_DOUBLE_EQ(setup.dHeatCorrection, 160 + 90 * 23.061);
}

}  // namespace
}  // namespace qsolve
