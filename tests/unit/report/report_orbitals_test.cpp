#include "report/report_orbitals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "job/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/state.h"
#include "tests/unit/report/report_fixture.h"

namespace qsolve {
namespace {

const std::string kLevelHeading = "\nEIGENVALUES OF THE MOLECULAR ORBITALS(eV)\n";
const std::string kPopulationHeading = "\nATOMIC ORBITAL ELECTRON POPULATIONS\n";

float EnergyOf(int i) {
    return -40.25F + 3.125F * static_cast<float>(i);
}

std::string SymmetryLine(int nFirst, int nColumns) {
    return "Symmetry:    " + Join(nColumns, "     ", [&](int i) {
               const int k = nFirst + i;
               return Print("%3d %.4s", results.Orbitals.vSymmetryIndex[k],
                            std::string(results.Orbitals.sSymmetryLabel[k], 4).c_str());
           });
}

/// The list of levels of one spin, written naively.
void ExpectLevels(int n, bool fKnown, int nOffset, Lines& lines) {
    for (int nFirst = 0; nFirst < n; nFirst += 5) {
        const int nColumns = std::min(5, n - nFirst);
        if (nColumns == 5 || fKnown) lines.push_back(SymmetryLine(nFirst, nColumns));
        lines.push_back("Eigenvalue: " +
                        Join(nColumns, "  ",
                             [&](int i) {
                                 const float e = EnergyOf(nOffset + nFirst + i);
                                 return Print("%11.6f", static_cast<double>(e));
                             }) +
                        (nColumns == 5 ? "\n" : ""));
    }
}

void ExpectPopulations(int n, int nOffset, Lines& lines) {
    for (int nFirst = 0; nFirst < n; nFirst += 5) {
        const int nColumns = std::min(5, n - nFirst);
        lines.push_back("AO:          " + Join(nColumns, "   ", [&](int i) {
                            const int k = nFirst + i;
                            const int nAtom = setup.vOrbitalAtom[k];
                            const bool fCarbon = system.pAtoms[nAtom - 1].nAtomicNumber == 6;
                            return Print("%3d %s %s", nAtom, kOrbitalLabel[setup.vOrbitalType[k]],
                                         fCarbon ? " C" : " H");
                        }));
        lines.push_back("            " +
                        Join(nColumns, "  ",
                             [&](int i) {
                                 const float p = EnergyOf(nOffset + nFirst + i);
                                 return Print("%11.6f", static_cast<double>(p));
                             }) +
                        (nColumns == 5 ? "\n" : ""));
    }
}

class OrbitalLists : public ReportTest, public testing::WithParamInterface<int> {
  protected:
    /// Levels and populations of a molecule with n orbitals, all different.
    static void BuildOrbitals(int n, bool fUnrestricted) {
        Build(WithOrbitals(n, fUnrestricted));
        OrbitalResults& orbitals = results.Orbitals;
        for (int i = 0; i < orbitals.nOrbitalValues; ++i) {
            orbitals.vOrbitalEnergy[i] = orbitals.vPopulation[i] = EnergyOf(i);
            orbitals.vSymmetryIndex[i] = i + 1;
        }
    }
};

TEST_P(OrbitalLists, ShowLevelsInFiveColumnsAndTheRestOnAShorterLine) {
    const int n = GetParam();
    BuildOrbitals(n, false);
    ReportLevels();
    Lines expected{kLevelHeading};
    ExpectLevels(n, false, 0, expected);
    EXPECT_EQ(client.Log(), expected);
}

TEST_P(OrbitalLists, ShowSymmetryOnTheLastLineOnceItIsKnown) {
    const int n = GetParam();
    BuildOrbitals(n, false);
    symmetry.fOrbitalLabelsKnown = true;
    for (auto& sLabel : results.Orbitals.sSymmetryLabel) std::memcpy(sLabel, "T2gX", 4);
    ReportLevels();
    Lines expected{kLevelHeading};
    ExpectLevels(n, true, 0, expected);
    EXPECT_EQ(client.Log(), expected);
    EXPECT_NE(client.Log()[1].find("T2gX"), std::string::npos);
}

TEST_P(OrbitalLists, ShowBetaLevelsWithTheSymmetryOfAlpha) {
    const int n = GetParam();
    BuildOrbitals(n, true);
    ReportLevels();
    Lines expected{kLevelHeading, "Alpha Spin\n"};
    ExpectLevels(n, false, 0, expected);
    expected.push_back("\nBeta Spin\n");
    ExpectLevels(n, false, n, expected);
    EXPECT_EQ(client.Log(), expected);
}

TEST_P(OrbitalLists, ShowPopulationsUnderTheirOrbitals) {
    const int n = GetParam();
    BuildOrbitals(n, false);
    ReportOrbitalPopulations();
    Lines expected{kPopulationHeading};
    ExpectPopulations(n, 0, expected);
    EXPECT_EQ(client.Log(), expected);
}

TEST_P(OrbitalLists, ShowPopulationsOfBothSpins) {
    const int n = GetParam();
    BuildOrbitals(n, true);
    ReportOrbitalPopulations();
    Lines expected{kPopulationHeading, "Alpha Spin\n"};
    ExpectPopulations(n, 0, expected);
    expected.push_back("\nBeta Spin\n");
    ExpectPopulations(n, n, expected);
    EXPECT_EQ(client.Log(), expected);
}

INSTANTIATE_TEST_SUITE_P(Orbitals, OrbitalLists, testing::Values(1, 2, 3, 4, 5, 6, 7, 10, 11));

TEST_F(OrbitalLists, LookAsUsersReadThem) {
    BuildOrbitals(6, false);
    ReportLevels();
    ReportOrbitalPopulations();
    const Lines expected{
        kLevelHeading,
        "Symmetry:      1   ?       2   ?       3   ?       4   ?       5   ?",
        "Eigenvalue:  -40.250000   -37.125000   -34.000000   -30.875000   -27.750000\n",
        "Eigenvalue:  -24.625000",
        kPopulationHeading,
        "AO:            1   S  C     1  Px  C     1  Py  C     1  Pz  C     2   S  H",
        "             -40.250000   -37.125000   -34.000000   -30.875000   -27.750000\n",
        "AO:            3   S  H",
        "             -24.625000"};
    EXPECT_EQ(client.Log(), expected);
}

TEST_F(OrbitalLists, SayNothingWhileTheLogIsSilent) {
    BuildOrbitals(7, true);
    link.fLogReports = false;
    ReportLevels();
    ReportOrbitalPopulations();
    EXPECT_TRUE(client.Log().empty());
}

}  // namespace
}  // namespace qsolve
