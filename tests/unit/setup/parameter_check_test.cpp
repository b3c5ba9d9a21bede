#include "setup/parameter_check.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/unit/setup/parameter_fixture.h"

namespace qsolve {
namespace {

/// Numbers of the errors start here, those of the warnings below.
constexpr int kFirstErrorNumber = 24576;

TEST(ShellsOfAtoms, OfPStartBehindHelium) {
    for (int nElement = 1; nElement <= 18; ++nElement) {
        AtomRecord atom;
        atom.nAtomicNumber = nElement;
        EXPECT_TRUE(HasShell(atom, Shell::kS)) << nElement;
        EXPECT_EQ(HasShell(atom, Shell::kP), nElement > 2) << nElement;
    }
}

// The cases stand beside the checks of each group of methods.
TEST_P(ParameterTest, SaysWhatIsWrongAndRefusesOnlyWhatCannotBeComputed) {
    const ParameterCase& c = GetParam();
    UseMethod(c.nMethod);
    UseMixedMolecule();
    c.Spoil();
    const int nId = TrySetUp();
    if (c.nId < kFirstErrorNumber) {
        EXPECT_EQ(WithoutDerivationWarning(client.Warnings()), Lines{c.sText});
        EXPECT_EQ(client.Errors(), Lines());
        EXPECT_EQ(nId, 0);
    } else {
        EXPECT_EQ(nId, c.nId);
        EXPECT_EQ(OnlyError(), c.sText);
    }
}

TEST(ParameterFaults, AreWhatTheirNamesSay) {
    EXPECT_TRUE(IsFaulty(Fault::kNotPositive, 0.0));
    EXPECT_FALSE(IsFaulty(Fault::kNotPositive, 1e-300));
    EXPECT_TRUE(IsFaulty(Fault::kNotNegative, 0.0));
    EXPECT_FALSE(IsFaulty(Fault::kNotNegative, -1e-300));
    EXPECT_TRUE(IsFaulty(Fault::kPositive, 1e-300));
    EXPECT_FALSE(IsFaulty(Fault::kPositive, 0.0));
    EXPECT_TRUE(IsFaulty(Fault::kNegative, -1e-300));
    EXPECT_FALSE(IsFaulty(Fault::kNegative, 0.0));
    EXPECT_TRUE(IsFaulty(Fault::kZero, -0.0));
    EXPECT_FALSE(IsFaulty(Fault::kZero, 1e-300));
}

TEST(ParameterFaults, OfWhatIsNoNumberAreThoseOfSign) {
    EXPECT_TRUE(IsFaulty(Fault::kNotPositive, std::nan("")));
    EXPECT_TRUE(IsFaulty(Fault::kNotNegative, std::nan("")));
}

}  // namespace
}  // namespace qsolve
