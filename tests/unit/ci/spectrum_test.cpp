#include "ci/spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
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

class Spectrum : public FreshState {
  protected:
    void Run(const CiCase& c) {
        SolveCase(c, ci);
        MoveToFront(ChooseState(ci.States).nFirst, ci.States);
        properties_.resize(static_cast<std::size_t>(ci.Configs.nConfigs));
        FillProperties(LevelsOfScf(), ci, ci.Configs.nConfigs, properties_.data());
    }
    const StateProperties& At(int k) const { return properties_[static_cast<std::size_t>(k)]; }
    /// The lines of the spectrum alone.
    std::vector<std::string> Log() {
        const std::size_t nBefore = client.Log().size();
        LogSpectrum(ci, properties_.data());
        std::vector<std::string> lines = client.Log();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(nBefore));
        return lines;
    }
    Interaction ci;
    std::vector<StateProperties> properties_;
};

/// Factors of the hartree and the eV families, one molecule each.
TEST_F(Spectrum, EnergiesAreInEvAndWavenumbers) {
    for (const int nMethod : {kZindoS, kAm1}) {
        Run({nMethod, kBentFormaldehyde, 1, false, false, 3, 2});
        const double dEv = nMethod == kZindoS ? 27.211396 : 1.0;
        const double dWave = nMethod == kZindoS ? 219470.0 : 8066.0;
        const double dKcal = nMethod == kZindoS ? 627.5220032 : 23.061;
        EXPECT_NEAR(At(0).dEnergy, scf.dTotalEnergy / dKcal * dEv, 1e-7);
        for (int k = 1; k < ci.Configs.nConfigs; ++k)
            EXPECT_NEAR(At(k).dEnergy, (ci.States.vCiEnergy[k] - ci.States.vCiEnergy[0]) * dWave,
                        1e-8);
        EXPECT_GT(At(1).dEnergy, 5000.0);
    }
}

/// f = 2/3 dE |d|^2 in atomic units; the factor has other last digits.
TEST_F(Spectrum, OscillatorStrengthFollowsFromTheTransitionDipole) {
    Run({kZindoS, kBentFormaldehyde, 1, false, false, 5, 4});
    double dLargest = 0.0;
    for (int k = 1; k < ci.Configs.nConfigs; ++k) {
        const double* t = At(k).vTransition;
        const double dSquare = (t[0] * t[0] + t[1] * t[1] + t[2] * t[2]) / (2.5416 * 2.5416);
        EXPECT_NEAR(At(k).dOscillator, 2.0 / 3.0 * At(k).dEnergy / 219474.6 * dSquare, 1e-4);
        dLargest = std::max(dLargest, At(k).dOscillator);
    }
    EXPECT_GT(dLargest, 0.2);
    EXPECT_EQ(At(0).dOscillator, 0.0);
}

TEST_F(Spectrum, RecordHasTheWavelengthAndTheMoments) {
    StateProperties p;
    p.dEnergy = 40000.0;
    p.dSpin = 1.0;
    p.dOscillator = 0.25;
    for (int k = 0; k < 3; ++k) p.vDipole[k] = k + 1.0, p.vTransition[k] = -k - 4.0;
    const UvRecord r = RecordOf(3, 7, p);
    EXPECT_EQ(r.nState, 3);
    EXPECT_EQ(r.nVector, 7);
    EXPECT_EQ(r.flEnergy, 250.0F);
    EXPECT_EQ(r.flSpin, 1.0F);
    EXPECT_EQ(r.flDipole, static_cast<float>(std::sqrt(14.0)));
    EXPECT_EQ(r.flOscillator, 0.25F);
    EXPECT_EQ(r.flTransitionX, -4.0F);
    EXPECT_EQ(r.flTransitionZ, -6.0F);
    EXPECT_EQ(r.flDipoleX, 1.0F);
    EXPECT_EQ(r.flDipoleZ, 3.0F);
    for (const int n : r.nUnused48) EXPECT_EQ(n, 0);
    p.dEnergy = 0.0;
    EXPECT_EQ(RecordOf(3, 7, p).flEnergy, 0.0F);  // a state of the reference's energy
    p.dEnergy = -5.5;
    EXPECT_EQ(RecordOf(0, 0, p).flEnergy, -5.5F);
}

TEST_F(Spectrum, LogHasEachStateWithItsExcitations) {
    Run({kZindoS, kBentWater, 1, false, false, 1, 1});
    const std::vector<std::string> lines = Log();
    const auto dipole = [&](const double* v) {
        return Print("%8.4f  %8.4f  %8.4f", v[0], v[1], v[2]);
    };
    std::vector<std::string> wanted = {
        "\n                   *********************************\n                   ********** UV "
        "Spectrum **********\n                   *********************************",
        "\n ---- Absolute Energy in eV.\n ---- Dipole Moments in Debye.\n",
        Print(
            "\n   0 (Reference)  Absolute Energy   %13.5f\n\n            0     Spin S             "
            "     0.00\n                  State Dipole           %7.4f\n",
            At(0).dEnergy, LengthOf(At(0).vDipole)),
        "                  State Dipole Components       " + dipole(At(0).vDipole)};
    for (int k = 1; k < 3; ++k) {
        const StateProperties& p = At(k);
        wanted.push_back(
            Print("\n %3d (Transition) Excitation Energy   %11.1f nm\n                "
                  "                      %11.1f 1/cm",
                  k, 1e7 / p.dEnergy, p.dEnergy));
        wanted.push_back(
            Print("\n        0 -> %3d  Spin S                 %4.2f\n                  "
                  "State Dipole           %7.4f\n                  Oscillator Strength "
                  "   %7.4f\n",
                  k, p.dSpin, LengthOf(p.vDipole), p.dOscillator));
        wanted.push_back("                  State Dipole Components       " + dipole(p.vDipole));
        wanted.push_back("                  Transition Dipole Components  " +
                         dipole(p.vTransition));
        wanted.push_back(
            "\n        Spin Up :  Occ. MO  -->  Unocc. MO  Coefficients\n       "
            "-------------------------------------------------");
        wanted.push_back("                       4  -->     5            0.707107");
        wanted.push_back(
            "\n       Spin Down:  Occ. MO  -->  Unocc. MO  Coefficients\n       "
            "-------------------------------------------------");
        wanted.push_back(Print("                       4  -->     5        %12.6f",
                               p.dSpin > 0.5 ? 0.707107 : -0.707107));
    }
    wanted.push_back(
        "\n*****************************************************************************\n");
    ASSERT_EQ(lines.size(), wanted.size());
    // The client gets a line of text in each packet; where a text ends is its own affair.
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(lines[i].find(wanted[i]), 0u) << lines[i] << "\n" << wanted[i];
}

/// An open shell mixes its reference with others, and a list of excitations would mislead.
TEST_F(Spectrum, LogHasNoExcitationsWhereTheReferenceIsMixed) {
    Run({kZindoS, kBentMethyl, 2, false, false, 2, 2});
    for (const std::string& s : Log()) EXPECT_EQ(s.find("Occ. MO"), std::string::npos);
}

TEST_F(Spectrum, NothingIsWrittenWhenTheLogIsSilent) {
    Run({kZindoS, kBentWater, 1, false, false, 1, 1});
    link.fLogReports = false;
    EXPECT_TRUE(Log().empty());
}

}  // namespace
}  // namespace qsolve
