#include "symmetry/symmetry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/parameter_files.h"
#include "tests/support/reference_table.h"
#include "tests/support/scf_job.h"
#include "tests/support/source_folder.h"

namespace qsolve {
namespace {

std::string Text(const char (&sField)[4]) {
    return std::string(sField, strnlen(sField, 4));
}

/// Running numbers and species of the levels.
std::string Labels() {
    std::string s;
    for (int k = 0; k < setup.nOrbitals; ++k)
        s += (k > 0 ? " " : "") + std::to_string(results.Orbitals.vSymmetryIndex[k]) +
             Text(results.Orbitals.sSymmetryLabel[k]);
    return s;
}

std::string Group() {
    return Text(results.Orbitals.sPointGroup);
}

class SymmetryReport : public FreshState {};

// ---- orbitals of an independent program ---------------------------------------------------------

struct LabelledMolecule {
    ReferenceMolecule Molecule;
    std::vector<std::pair<std::string, std::string>> Lines;  ///< method; group and labels
};

std::vector<LabelledMolecule> ReadLabels() {
    std::ifstream in(SourcePath("tests/reference/orbital_labels.txt"));
    std::vector<LabelledMolecule> found;
    for (std::string sLine; std::getline(in, sLine);) {
        if (sLine.empty() || sLine[0] == '#') continue;
        std::istringstream words(sLine);
        std::string sFirst, sSpin;
        words >> sFirst;
        if (sFirst == "molecule") {
            ReferenceMolecule& m = found.emplace_back().Molecule;
            words >> m.sName >> m.nCharge >> m.nMultiplicity >> sSpin;
            m.fUnrestricted = sSpin == "UHF";
        } else if (sLine[0] == ' ') {
            found.back().Lines.back().second += sLine.substr(3);
        } else if (std::islower(static_cast<unsigned char>(sFirst[0]))) {
            found.back().Lines.emplace_back(sFirst, sLine.substr(sFirst.size() + 1));
        } else {
            ReferenceMolecule& m = found.back().Molecule;
            m.Elements.push_back(RowOf(sFirst) + 1);
            for (double d; words >> d;) m.Coordinates.push_back(d);
        }
    }
    return found;
}

int MethodNamed(const std::string& s) {
    const std::vector<std::string> names = {"",    "cndo", "indo",   "mindo3", "mndo",
                                            "am1", "pm3",  "zindo1", "zindos", "mndod"};
    return static_cast<int>(std::find(names.begin(), names.end(), s) - names.begin());
}

TEST_F(SymmetryReport, SpeciesOfOrbitalsAreThoseOfAnIndependentProgram) {
    int nSets = 0, nLevels = 0;
    for (const LabelledMolecule& m : ReadLabels())
        for (const auto& [sMethod, sExpected] : m.Lines) {
            SetUpJob(SinglePointOf(m.Molecule, MethodNamed(sMethod)));
            SetPositions(m.Molecule.Coordinates);
            RunScf();
            EXPECT_EQ(Group() + " " + Labels(), sExpected) << m.Molecule.sName << " " << sMethod;
            EXPECT_EQ(symmetry.nSymmetryFailure, 0) << m.Molecule.sName << " " << sMethod;
            ++nSets;
            nLevels += setup.nOrbitals;
        }
    std::cout << nLevels << " levels of " << nSets << " sets\n";
    EXPECT_EQ(nSets, 159);
}

// ---- what has no symmetry -----------------------------------------------------------------------

TEST_F(SymmetryReport, OfAnAtomIsUnknown) {
    JobScript script = Molecule(5, {{6, 0, 0, 0}});
    script.Options.nMultiplicity = 3;
    SetUpJob(script);
    RunScf();
    EXPECT_EQ(Group(), "  ?");
    EXPECT_EQ(Labels(), "1  ? 2  ? 3  ? 4  ?");
    EXPECT_FALSE(symmetry.fCharacterTable);
}

TEST_F(SymmetryReport, OfAGroupThatIsNoneOfTheTableIsUnknown) {
    std::vector<Place> ring;
    for (int i = 0; i < 10; ++i)
        ring.push_back({1, 2.0 * std::cos(0.2 * i * std::acos(-1.0)),
                        2.0 * std::sin(0.2 * i * std::acos(-1.0)), 0.0});
    SetUpJob(Molecule(5, ring));
    RunScf();
    EXPECT_EQ(Group(), "  ?");
    EXPECT_EQ(symmetry.nSymmetryFailure, 2);
    EXPECT_EQ(Labels().substr(0, 9), "1  ? 2  ?");
}

TEST_F(SymmetryReport, LeavesOutDummies) {
    JobScript script = Water();
    script.Add(0, 1.0f, 2.0f, 3.0f);
    SetUpJob(script);
    RunScf();
    EXPECT_EQ(Group(), "C2V");
    EXPECT_EQ(symmetry.nSymmetryAtoms, 3);
    JobScript plain = Water();
    const std::string sLabels = Labels();
    SetUpJob(plain);
    RunScf();
    EXPECT_EQ(Labels(), sLabels);
}

TEST_F(SymmetryReport, TellsACappingAtomFromOneOfItsElement) {
    // Hydrogen peroxide, planar and trans, is C2H; with one hydrogen as a capping atom its two
    // oxygens are no images of each other.
    const std::vector<Place> places = {
        {8, 0, 0.7, 0}, {8, 0, -0.7, 0}, {1, 0.9, 1.0, 0}, {1, -0.9, -1.0, 0}};
    SetUpJob(Molecule(5, places));
    RunScf();
    EXPECT_EQ(Group(), "C2H");
    JobScript script = Molecule(5, places);
    script.Atoms[3].nState = kClassical;
    script.Bond(1, 3);
    SetUpJob(script);
    ASSERT_EQ(system.nCapping, 1);
    RunScf();
    EXPECT_EQ(Group(), "CS");
}

// ---- when it is reported ------------------------------------------------------------------------

TEST_F(SymmetryReport, WaitsForTheFinalReportOfAJob) {
    SetUpJob(Water());
    setup.fFinalReport = 0;
    RunScf();
    EXPECT_FALSE(symmetry.fPointGroupKnown);
    EXPECT_EQ(Group(), "  ?");
    EXPECT_EQ(Labels(), "1  ? 2  ? 3  ? 4  ? 5  ? 6  ?");
    setup.fFinalReport = 1;
    RunScf();
    EXPECT_TRUE(symmetry.fPointGroupKnown);
    EXPECT_TRUE(symmetry.fOrbitalLabelsKnown);
    EXPECT_EQ(Group(), "C2V");
    EXPECT_EQ(Labels(), "1A1 1B2 2A1 1B1 3A1 2B2");
    setup.fFinalReport = 0;
    RunScf();  // and stays for what the job does afterwards
    EXPECT_EQ(Group(), "C2V");
}

// Sackur and Tetrode, and the rigid rotor in its classical limit, at 298.15 K and 1 atm. The factor
// of the rotation of a body is 0.01 short of half the gas constant, which counts 4.6 times here.
TEST_F(SymmetryReport, KeepsTheEntropiesOfTheGasButForTheSymmetryNumber) {
    constexpr double h = 6.62607015e-34, k = 1.380649e-23, N = 6.02214076e23, amu = 1.66053907e-27;
    const double R = k * N / 4.184, T = 298.15, pi = std::acos(-1.0);
    SetUpJob(Molecule(5, {{6, 0, 0, 0}, {8, 0, 0, 1.13}}));
    RunScf();
    const double m = (12.011 + 15.9994) * amu, I = 12.011 * 15.9994 / 28.0104 * amu * 1.2769e-20;
    const double dVolume = k * T / 101325.0;
    EXPECT_NEAR(symmetry.dTranslationalEntropy,
                R * (std::log(std::pow(2 * pi * m * k * T, 1.5) / (h * h * h) * dVolume) + 2.5),
                0.02);
    EXPECT_NEAR(symmetry.dRotationalEntropy,
                R * (std::log(8 * pi * pi * I * k * T / (h * h)) + 1.0), 0.01);
    EXPECT_EQ(symmetry.nSymmetryNumber, 1);

    SetUpJob(Water());
    RunScf();
    EXPECT_EQ(symmetry.nSymmetryNumber, 2);
    const double dBody = R * (1.5 * std::log(8 * pi * pi * k * T / (h * h) * amu * 1e-20) +
                              0.5 * std::log(pi) + 1.5);
    const double dProduct =
        std::exp((symmetry.dRotationalEntropy - 11.592852) / 0.98325);  // of three moments, water
    EXPECT_NEAR(dProduct, 0.6 * 1.2 * 1.8, 0.5);
    EXPECT_NEAR(11.592852, dBody, 0.02);
}

}  // namespace
}  // namespace qsolve
