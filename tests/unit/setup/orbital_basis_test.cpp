#include "setup/orbital_basis.h"

#include <gtest/gtest.h>

#include "job/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

template <class T>
std::vector<T> Values(const Array<T>& a) {
    return {a.begin(), a.end()};
}

using Ints = std::vector<int>;
using Doubles = std::vector<double>;

class OrbitalBasis : public JobTest {};

TEST_F(OrbitalBasis, OfHydrogenAloneHasOneOrbitalPerAtom) {
    UseMethod(kMndo);
    UseAtoms({{1}, {1, 1, 0, 0}, {1, 2, 0, 0}, {1, 3, 0, 0}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nOrbitals, system.nSelected);
    EXPECT_EQ(Values(setup.Map.pLastSpOrbital), Values(setup.Map.pFirstOrbital));
    EXPECT_EQ(setup.Map.nAtomsWithP, 0);
    EXPECT_EQ(setup.Map.nAtomsWithD, 0);
}

TEST_F(OrbitalBasis, NumbersTheOrbitalsInTheOrderOfTheSelection) {
    UseMethod(kZindoS);
    UseAtoms({{1}, {26, 2, 0, 0}, {0, 3, 0, 0}, {6, 4, 0, 0, kClassical}, {9, 5, 0, 0}});
    system.nSelectedAtoms[0] = 2, system.nSelectedAtoms[1] = 3;
    system.nSelectedAtoms[2] = 1, system.nSelectedAtoms[3] = 5;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(setup.Map.pFirstOrbital), (Ints{1, 10, 10, 11}));
    EXPECT_EQ(Values(setup.Map.pLastSpOrbital), (Ints{4, 9, 10, 14}));
    EXPECT_EQ(Values(setup.Map.pLastOrbital), (Ints{9, 9, 10, 14}));
    EXPECT_EQ(setup.nOrbitals, 14);
    EXPECT_EQ(setup.Map.nAtomsWithP, 1);
    EXPECT_EQ(setup.Map.nAtomsWithD, 1);
    EXPECT_EQ(Values(setup.vOrbitalAtom), (Ints{2, 2, 2, 2, 2, 2, 2, 2, 2, 1, 5, 5, 5, 5}));
    EXPECT_EQ(Values(setup.vOrbitalType), (Ints{1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 1, 2, 3, 4}));
    EXPECT_EQ(Values(setup.vOrbitalShell), (Ints{4, 4, 4, 4, 3, 3, 3, 3, 3, 1, 2, 2, 2, 2}));
}

TEST_F(OrbitalBasis, CappingAtomsHaveFourOrbitalsWhateverTheyAre) {
    for (const int nElement : {1, 2, 6, 26, 53}) {
        UseMethod(kZindo1);
        UseAtoms({{9}, {nElement, 2, 0, 0, kCapping}});
        ASSERT_EQ(TrySetUp(), 0);
        EXPECT_EQ(setup.nOrbitals, 8);
    }
    UseMethod(kMndoD);
    UseAtoms({{9}, {17, 2, 0, 0, kCapping}});
    NddoRow& row = parameters.pNddoParams[kCappingOffset + 16];
    row.dUdd = -20, row.dBetaD = -2, row.dZetaD = 1.2, row.dGdd = 8;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nOrbitals, 8) << "though its row has a d shell";
}

TEST_F(OrbitalBasis, OfNddoHasADShellOnlyWithParameters) {
    UseMethod(kMndoD);
    UseAtoms({{17}, {1, 1.3F, 0, 0}, {58, 5, 0, 0}, {26, 9, 0, 0}});
    for (const int nRow : {16, 25}) {
        NddoRow& row = parameters.pNddoParams[nRow];
        row.dUdd = -20, row.dBetaD = -2, row.dZetaD = 1.2 + nRow, row.dGdd = 8;
    }
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(setup.Map.pLastOrbital), (Ints{9, 10, 14, 23}));
    EXPECT_EQ(setup.Map.nAtomsWithD, 2);
    EXPECT_EQ(setup.Map.nAtomsWithP, 1);
    EXPECT_EQ(setup.vZeta1[4], 17.2);
    EXPECT_EQ(setup.vOrbitalShell[4], 3) << "beside its s and p shell";
    EXPECT_EQ(setup.vOrbitalShell[14], 4);
    EXPECT_EQ(setup.vOrbitalShell[18], 3) << "the shell below, in a transition metal";
    EXPECT_EQ(setup.Map.pOrbitalU[4], -20.0);
}

TEST_F(OrbitalBasis, OfCndoTakesExponentsAndEnergiesFromItsRow) {
    UseMethod(kIndo);
    UseAtoms({{9}, {1, 1, 0, 0}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(setup.vZeta1), (Doubles{1.6, 1.5, 1.5, 1.5, 1.6}));
    EXPECT_EQ(Values(setup.vZeta2), Doubles(5, 0.0));
    EXPECT_EQ(Values(setup.vCoef1), Doubles(5, 1.0));
    EXPECT_EQ(Values(setup.vCoef2), Doubles(5, 0.0));
    EXPECT_EQ(Values(setup.vOrbitalEnergy0), (Doubles{-10, -5, -5, -5, -10}));
    EXPECT_FALSE(setup.Map.pOrbitalU);
}

TEST_F(OrbitalBasis, OfZindoTakesTwoTermsForADFunction) {
    UseMethod(kZindo1);
    ZindoRow& row = parameters.pZindoParams[25];
    row.dZetaD1 = 6, row.dZetaD2 = 1e-9, row.dCoefD1 = 0.6, row.dCoefD2 = 0.8;
    UseAtoms({{26}, {8, 2, 0, 0}});
    ASSERT_EQ(TrySetUp(), 0);
    for (int i = 4; i < 9; ++i) {
        EXPECT_EQ(setup.vZeta1[i], 6.0);
        EXPECT_EQ(setup.vZeta2[i], 1e-9);
        EXPECT_NEAR(setup.vCoef1[i], 0.6, 1e-9);
        EXPECT_NEAR(setup.vCoef2[i], 0.8, 1e-9);
        EXPECT_EQ(setup.vOrbitalEnergy0[i], 8.0);
    }
    EXPECT_EQ(setup.vZeta2[0], 0.0);
    EXPECT_EQ(setup.vCoef1[3], 1.0);
    EXPECT_EQ(setup.vOrbitalEnergy0[0], 20.0);
    EXPECT_EQ(setup.vOrbitalEnergy0[3], 10.0);
}

TEST_F(OrbitalBasis, OfNddoKeepsItsOneCentreEnergiesApart) {
    UseMethod(kPm3);
    UseWater();
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(Values(setup.vOrbitalEnergy0), Doubles(6, 0.0));
    EXPECT_EQ(Values(setup.Map.pOrbitalU), (Doubles{-40, -30, -30, -30, -40, -40}));
}

TEST_F(OrbitalBasis, FirstDensityHoldsTheElectronsOfTheMolecule) {
    for (const int nCharge : {0, 1, -3}) {
        UseMethod(kAm1);
        UseWater();
        options.nTotalCharge = nCharge;
        options.nMultiplicity = 1 + (nCharge != 0);
        ASSERT_EQ(TrySetUp(), 0);
        const Doubles guess = Values(setup.Map.pGuessDensity);
        EXPECT_DOUBLE_EQ(guess[0], 6.0 / 4 - nCharge / 6.0);
        EXPECT_DOUBLE_EQ(guess[5], 1.0 - nCharge / 6.0);
        double dTrace = 0.0;
        for (const double d : guess) dTrace += d;
        EXPECT_NEAR(dTrace, 8 - nCharge, 1e-12);
    }
}

TEST_F(OrbitalBasis, OddNumbersOfOrbitalsHaveASpareColumn) {
    UseMethod(kAm1);
    UseAtoms({{9}, {1, 1, 0, 0}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nOrbitals, 5);
    EXPECT_EQ(setup.nEvenColumns, 6);
    UseWater();
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nEvenColumns, 6);
}

TEST_F(OrbitalBasis, BlocksSetThePaceOfTheYieldAndTheWordsOfTheSelection) {
    UseMethod(kAm1);
    UseWater();
    link.nYieldShift = 3;
    link.nYieldCounter = 5;
    system.Layout.nOrbitalsOnNode = system.Layout.nOrbitalEstimate = 99;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(link.nYieldShift, 14);
    EXPECT_EQ(link.nYieldCounter, 0U);
    EXPECT_EQ(system.Layout.nOrbitalsOnNode, 6);
    EXPECT_EQ(system.Layout.nOrbitalEstimate, 6);
}

}  // namespace
}  // namespace qsolve
