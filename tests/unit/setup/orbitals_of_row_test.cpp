#include "setup/orbitals_of_row.h"

#include <gtest/gtest.h>

#include <string>

#include "job/state.h"
#include "setup/nddo_derived.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/parameter_files.h"

namespace qsolve {
namespace {

class OrbitalsOfARow : public FreshState {};

TEST_F(OrbitalsOfARow, AreThoseOfTheElementInCndoAndZindo) {
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS}) {
        system.MethodId = nMethod;
        for (int i = 0; i < kRows; ++i) EXPECT_EQ(OrbitalsOfRow(i), kOrbitalsOfElement[i]) << i;
    }
}

TEST_F(OrbitalsOfARow, AreNineInNddoOnlyWithParametersForD) {
    LoadParameters(kMndoD);
    ASSERT_TRUE(DeriveNddoDParameters());
    const std::string sWithD = "Al Si P S Cl Br I ";
    for (int i = 0; i < kRows; ++i) {
        const std::string sName = kElementSymbol[i];
        const std::string sSymbol = (sName[0] == ' ' ? sName.substr(1) : sName) + " ";
        const bool fD =
            i < kCappingOffset && (" " + sWithD).find(" " + sSymbol) != std::string::npos;
        const int nExpected = fD ? 9 : kOrbitalsOfElement[i] > 4 ? 4 : kOrbitalsOfElement[i];
        EXPECT_EQ(OrbitalsOfRow(i), nExpected) << sSymbol << i;
    }
}

TEST_F(OrbitalsOfARow, AreNineInAm1AndPm3WhereTheTableHasD) {
    for (const int nMethod : {kMndo, kAm1, kPm3}) {
        LoadParameters(nMethod);
        ASSERT_TRUE(DeriveNddoDParameters());
        EXPECT_EQ(OrbitalsOfRow(RowOf("Cl")), 4);
        NddoRow& row = parameters.pNddoParams[RowOf("Cl")];
        row.dUdd = row.dBetaD = -5.0;
        row.dZetaD = 1.0;
        row.dGdd = 5.0;
        row.dGsd = 5.0;
        row.dHsd = 0.5;
        ASSERT_TRUE(DeriveNddoDParameters());
        EXPECT_EQ(OrbitalsOfRow(RowOf("Cl")), 9);
    }
}

TEST_F(OrbitalsOfARow, AreAtMostFourInMindo3) {
    LoadParameters(kMindo3);
    EXPECT_EQ(OrbitalsOfRow(RowOf("Fe")), 4);
    EXPECT_EQ(OrbitalsOfRow(RowOf("Ce")), 4);
    EXPECT_EQ(OrbitalsOfRow(RowOf("H")), 1);
}

TEST_F(OrbitalsOfARow, AreNoneForADummy) {
    EXPECT_EQ(OrbitalsOfRow(-1), 0);
    EXPECT_EQ(OrbitalsOfRow(kRows), 0);
}

}  // namespace
}  // namespace qsolve
