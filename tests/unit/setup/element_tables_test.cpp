#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "setup/parameters.h"
#include "tests/support/parameter_files.h"

namespace qsolve {
namespace {

int FirstShellFrom(int nElement) {
    int n = 1;
    for (const int nNobleGas : {2, 10, 18, 36, 54, 86})
        if (nElement > nNobleGas) ++n;
    return n;
}

/// Electrons of the closed shells below the valence shell.
int ClosedShells(int nElement) {
    int nCore = 0;
    for (const int nClosed : {2, 10, 18, 28, 36, 46, 54, 68, 78, 86, 100}) {
        const bool fFilledSubshell = nClosed == 28 || nClosed == 46 || nClosed == 78;  // d10
        const bool fFilledF = nClosed == 68 || nClosed == 100;                         // f14
        if (nElement > nClosed + (fFilledSubshell ? 1 : 0) + (fFilledF ? 2 : 0)) nCore = nClosed;
    }
    return nCore;
}

TEST(ElementTables, NobleGasesEndTheShells) {
    for (int nElement = 1; nElement <= kHighestElement; ++nElement)
        EXPECT_EQ(kPrincipalQuantum[nElement - 1], FirstShellFrom(nElement)) << nElement;
}

TEST(ElementTables, ValenceElectronsAreThoseAboveTheClosedShells) {
    for (int nElement = 1; nElement <= kHighestElement; ++nElement)
        EXPECT_EQ(kCoreCharge[nElement - 1], nElement - ClosedShells(nElement)) << nElement;
}

TEST(ElementTables, OrbitalsFollowTheBlocks) {
    const auto orbitals = [](const char* sSymbol) { return kOrbitalsOfElement[RowOf(sSymbol)]; };
    for (const char* s : {"H", "He"}) EXPECT_EQ(orbitals(s), 1) << s;
    for (const char* s : {"Li", "Ne", "Ar", "Ca", "Zn", "Sr", "Cd", "Ba", "Hg", "Ra"})
        EXPECT_EQ(orbitals(s), 4) << s;
    for (const char* s : {"Sc", "Cu", "Y", "Ag", "La", "Hf", "Au", "Ac", "??"})
        EXPECT_EQ(orbitals(s), 9) << s;
    for (const char* s : {"Ce", "Lu", "Th", "Lr"}) EXPECT_EQ(orbitals(s), 16) << s;
}

TEST(ElementTables, CappingRowsAreHalogensOfTheirShell) {
    for (int nElement = 1; nElement <= kHighestElement; ++nElement) {
        const int nRow = kCappingOffset + nElement - 1;
        EXPECT_EQ(kOrbitalsOfElement[nRow], nElement + kCappingOffset <= 193 ? 4 : 0) << nElement;
        EXPECT_EQ(kCoreCharge[nRow], 7.0);
        EXPECT_EQ(kPrincipalQuantum[nRow], nElement <= 2 ? 2 : FirstShellFrom(nElement));
        EXPECT_EQ(kAtomicMass[nRow], kAtomicMass[nElement - 1]);
        EXPECT_STREQ(kElementSymbol[nRow], kElementSymbol[nElement - 1]);
    }
}

TEST(ElementTables, MassesAreThoseOfTheElements) {
    EXPECT_EQ(kAtomicMass[0], 1.0079);
    EXPECT_EQ(kAtomicMass[RowOf("C")], 12.011);
    EXPECT_EQ(kAtomicMass[RowOf("N")], 14.0067);
    EXPECT_EQ(kAtomicMass[RowOf("O")], 15.9994);
    EXPECT_EQ(kAtomicMass[RowOf("Br")], 79.904);
    EXPECT_EQ(kAtomicMass[RowOf("Hg")], 200.59);
    EXPECT_EQ(kAtomicMass[kHighestElement - 1], 257.0);
    for (int nElement = 2; nElement <= kHighestElement; ++nElement) {
        EXPECT_GT(kAtomicMass[nElement - 1], 1.95 * nElement) << nElement;
        EXPECT_LT(kAtomicMass[nElement - 1], 2.6 * nElement) << nElement;
    }
}

TEST(ElementTables, InverseMassFactorTurnsForcesIntoAccelerations) {
    // 4.184 J/cal in units of amu Angstrom^2/ps^2: 418.4.
    EXPECT_DOUBLE_EQ(InverseMassFactor(RowOf("C")), 418.4 / 12.011);
    EXPECT_DOUBLE_EQ(InverseMassFactor(RowOf("*C")), InverseMassFactor(RowOf("C")));
}

TEST(ElementTables, SymbolsHaveTwoCharactersAndDiffer) {
    std::set<std::string> symbols;
    for (const auto& sSymbol : kElementSymbol) {
        EXPECT_EQ(std::strlen(sSymbol), 2u);
        symbols.insert(sSymbol);
    }
    EXPECT_EQ(symbols.size(), static_cast<std::size_t>(kHighestElement));
    EXPECT_STREQ(kElementSymbol[0], " H");
    EXPECT_STREQ(kElementSymbol[103], " ?");
    EXPECT_STREQ(kElementSymbol[104], "??");
}

TEST(ElementTables, OrbitalLabelsHaveThreeCharacters) {
    EXPECT_STREQ(kOrbitalLabel[0], "");
    for (int i = 1; i < 10; ++i) EXPECT_EQ(std::strlen(kOrbitalLabel[i]), 3u) << i;
    EXPECT_STREQ(kOrbitalLabel[1], "  S");
    EXPECT_STREQ(kOrbitalLabel[8], "Dx2");
}

TEST(ElementTables, FactorialsGrowByTheirIndex) {
    EXPECT_EQ(kFactorial[0], 1.0);
    for (int n = 1; n <= 20; ++n) EXPECT_EQ(kFactorial[n], n * kFactorial[n - 1]) << n;
}

TEST(ElementTables, TheDShellIsAnInnerOneWhereTheMethodSaysSo) {
    for (const int nMethod : {kMndo, kMndoD}) {
        EXPECT_EQ(DShellNumber(nMethod, RowOf("Cl")), 3);
        EXPECT_EQ(DShellNumber(nMethod, RowOf("Ca")), 4);
        for (const char* s : {"Sc", "Zn"}) EXPECT_EQ(DShellNumber(nMethod, RowOf(s)), 3) << s;
        for (const char* s : {"Ga", "Br"}) EXPECT_EQ(DShellNumber(nMethod, RowOf(s)), 4) << s;
        for (const char* s : {"Y", "Cd"}) EXPECT_EQ(DShellNumber(nMethod, RowOf(s)), 4) << s;
        for (const char* s : {"In", "I"}) EXPECT_EQ(DShellNumber(nMethod, RowOf(s)), 5) << s;
        for (const char* s : {"La", "Hg"}) EXPECT_EQ(DShellNumber(nMethod, RowOf(s)), 5) << s;
        EXPECT_EQ(DShellNumber(nMethod, RowOf("Tl")), 6);
    }
    for (const int nMethod : {kCndo, kMindo3, kAm1, kPm3, kZindoS}) {
        EXPECT_EQ(DShellNumber(nMethod, RowOf("Ar")), 3);
        EXPECT_EQ(DShellNumber(nMethod, RowOf("K")), 3);
        EXPECT_EQ(DShellNumber(nMethod, RowOf("Br")), 3);
        EXPECT_EQ(DShellNumber(nMethod, RowOf("*Br")), 3);
    }
}

}  // namespace
}  // namespace qsolve
