#include "ci/ci_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "job/methods.h"
#include "link/link.h"
#include "scf/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/ci_case.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class CiLog : public FreshState {
  protected:
    template <class Write>
    static std::vector<std::string> LinesOf(Write write) {
        const std::size_t nBefore = client.Log().size();
        write();
        std::vector<std::string> lines = client.Log();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(nBefore));
        return lines;
    }
    static void ExpectLines(const std::vector<std::string>& lines,
                            const std::vector<std::string>& wanted) {
        ASSERT_EQ(lines.size(), wanted.size());
        for (std::size_t i = 0; i < lines.size(); ++i)
            EXPECT_EQ(lines[i].substr(0, wanted[i].size()), wanted[i]);
    }
    Interaction ci;
};

/// Water has four doubly occupied levels: the window begins with the third.
TEST_F(CiLog, DeterminantsHaveTheNumbersOfTheirLevelsAndARowForEachSpin) {
    SolveCase({kAm1, kBentWater, 1, false, false, 2, 1}, ci);
    ExpectLines(
        LinesOf([&] { LogMicrostates(ci); }),
        {"\n          ===== Slater Determinants =====\n", "      MO:       3  4  5\n",
         "  1 Spin Up:    1  1  0", "    Spin Down:  1  1  0\n", "  2 Spin Up:    1  0  1",
         "    Spin Down:  1  1  0\n", "  3 Spin Up:    0  1  1", "    Spin Down:  1  1  0\n",
         "  4 Spin Up:    1  1  0", "    Spin Down:  1  0  1\n", "  5 Spin Up:    1  1  0",
         "    Spin Down:  0  1  1\n"});
}

TEST_F(CiLog, DeterminantsOfMoreThanTwentyLevelsAreNotWritten) {
    NewScriptedClient();
    link.fLogReports = true;
    ci.Window.nLevels = 21;
    ci.Window.nAlphaRef = ci.Window.nBetaRef = 1;
    ci.Window.dLimit = 1.0;
    const double levels[21] = {};
    PlaceSingles(ci.Window, levels, ci.Configs);
    EXPECT_TRUE(LinesOf([&] { LogMicrostates(ci); }).empty());
    Interaction twenty;
    twenty.Window.nLevels = 20;
    twenty.Window.nAlphaRef = twenty.Window.nBetaRef = 1;
    PlaceMicrostates(twenty.Window, twenty.Configs);
    EXPECT_EQ(LinesOf([&] { LogMicrostates(twenty); }).size(), 2u + 2u * 400u);
}

/// Nine states: a block of six and one of three.
TEST_F(CiLog, VectorsComeInBlocksOfSixStates) {
    SolveCase({kZindoS, kBentWater, 1, false, false, 2, 2}, ci);
    const CiStates& s = ci.States;
    std::vector<std::vector<double>> v(9, std::vector<double>(9));
    for (int k = 0; k < 9; ++k) TakeState(s, k, v[static_cast<std::size_t>(k)].data());
    const auto& E = s.vCiEnergy;
    std::vector<std::string> wanted = {
        "\n           ===== CI Eigenvalues(in (a.u.)) and Eigenvectors =====\n",
        "\n   CI State        1          2          3          4          5          6",
        Print("Eigenvalue  %11.5f%11.5f%11.5f%11.5f%11.5f%11.5f\n", E[0], E[1], E[2], E[3], E[4],
              E[5])};
    for (std::size_t i = 0; i < 9; ++i)
        wanted.push_back(Print("   %3d      %11.5f%11.5f%11.5f%11.5f%11.5f%11.5f",
                               static_cast<int>(i) + 1, v[0][i], v[1][i], v[2][i], v[3][i], v[4][i],
                               v[5][i]));
    wanted.push_back("\n   CI State        7          8          9");
    wanted.push_back(Print("Eigenvalue  %11.5f%11.5f%11.5f\n", E[6], E[7], E[8]));
    for (std::size_t i = 0; i < 9; ++i)
        wanted.push_back(Print("   %3d      %11.5f%11.5f%11.5f", static_cast<int>(i) + 1, v[6][i],
                               v[7][i], v[8][i]));
    ExpectLines(LinesOf([&] { LogCiVectors(s); }), wanted);
}

TEST_F(CiLog, MicrostatesAreTheLowestTwentyWithTheirSpins) {
    for (const int nLevels : {1, 2}) {
        Interaction interaction;
        SolveCase({kAm1, kBentFormaldehyde, 1, false, true, nLevels, nLevels + 1}, interaction);
        const CiStates& s = interaction.States;
        const int nShown = std::min(20, s.nConfigs);
        std::vector<std::string> wanted = {
            "\n                        *****************************\n                        *** "
            "Microstate CI Results ***\n                        *****************************",
            Print("\n          (The Lowest %2d CI State Energies and Spins)", nShown),
            "\n*****************************************************************************\n",
            "\nState     Absolute           Relative             Spin\n      Energy(kcal/mol)   "
            "Energy(kcal/mol)     S(S+1)   S\n"};
        for (int k = 0; k < nShown; ++k)
            wanted.push_back(Print("%3d   %15.7f    %15.7f       %4.2f   %4.2f", k + 1,
                                   23.061 * (-100.0 + s.vCiEnergy[k]),
                                   23.061 * (s.vCiEnergy[k] - s.vCiEnergy[0]), s.vSpinSquare[k],
                                   SpinOf(s.vSpinSquare[k])));
        wanted.push_back(wanted[2]);
        ExpectLines(LinesOf([&] { LogMicrostateResults(s, -100.0, 23.061); }), wanted);
        EXPECT_EQ(s.nConfigs, nLevels == 1 ? 9 : 100);
    }
}

TEST_F(CiLog, NothingIsWrittenWhenTheLogIsSilent) {
    SolveCase({kAm1, kBentWater, 1, false, false, 2, 1}, ci);
    link.fLogReports = false;
    EXPECT_TRUE(LinesOf([&] {
                    LogMicrostates(ci);
                    LogCiVectors(ci.States);
                    LogMicrostateResults(ci.States, 0.0, 1.0);
                }).empty());
}

}  // namespace
}  // namespace qsolve
