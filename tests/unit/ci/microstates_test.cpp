#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "ci/ci.h"
#include "ci/spectrum.h"
#include "ci/state.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/ci_case.h"
#include "tests/support/ci_reference.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class MicrostateCi : public FreshState {
  protected:
    CiEnergies Run() {
        const auto n = static_cast<std::size_t>(setup.nOrbitals);
        vNaturalOcc.assign(n, 0.0);
        mSpin.assign(n * n, 0.0);
        return RunMicrostateCi(LevelsOfScf(), {.mDensityT = scf.mDensityT.Data(),
                                               .mSpinDensity = mSpin.data(),
                                               .mFockA = scf.mFockA.Data(),
                                               .mVectorsA = scf.mVectorsA.Data(),
                                               .vNaturalOcc = vNaturalOcc.data()});
    }
    CiEnergies Run(const CiCase& c) {
        RunCase(c);
        return Run();
    }
    std::vector<double> vNaturalOcc, mSpin;
};

// ---- numbers from outside ----------------------------------------------------------------------

/// Energies above the lowest, eV.
std::vector<ReferenceState> StatesOf() {
    Interaction ci;
    PlaceConfigurations(ci);
    Solve(LevelsOfScf(), ci);
    std::vector<ReferenceState> states;
    for (int k = 0; k < ci.Configs.nConfigs; ++k)
        states.push_back({.dSpin = SpinOf(ci.States.vSpinSquare[k]),
                          .dEnergy = ci.States.vCiEnergy[k] - ci.States.vCiEnergy[0]});
    return states;
}

/// The other program prints states of one energy and one spin once.
std::vector<ReferenceState> Distinct(const std::vector<ReferenceState>& states) {
    std::vector<ReferenceState> some;
    for (const ReferenceState& s : states)
        if (std::none_of(some.begin(), some.end(), [&](const ReferenceState& t) {
                return std::abs(t.dEnergy - s.dEnergy) < 2e-5 && std::abs(t.dSpin - s.dSpin) < 0.1;
            }))
            some.push_back(s);
    return some;
}

void ExpectStates(const ReferenceWindow& window, const std::vector<ReferenceState>& states) {
    const double dTolerance = window.sName == "nitric_oxide" ? 2e-4 : 3e-5;
    for (const ReferenceState& wanted : window.States) {
        const bool fFound = std::any_of(states.begin(), states.end(), [&](const auto& s) {
            return std::abs(s.dEnergy - wanted.dEnergy) < dTolerance &&
                   std::abs(s.dSpin - wanted.dSpin) < 0.01;
        });
        EXPECT_TRUE(fFound) << wanted.dSpin << " " << wanted.dEnergy;
    }
    if (window.sName != "nitric_oxide" && states.size() <= 20) {
        EXPECT_EQ(Distinct(states).size(), window.States.size());
    }
}

TEST_F(MicrostateCi, StatesHeatsAndOccupationsAreThoseOfOtherPrograms) {
    const std::vector<ReferenceWindow> all = ReadCiReference("ci_microstates.txt");
    ASSERT_EQ(all.size(), 60u);
    for (const ReferenceWindow& window : all) {
        SCOPED_TRACE(window.sName + ", method " + std::to_string(window.nMethod) + ", " +
                     std::to_string(window.nMultiplicity) + ", " +
                     std::to_string(window.nOccupied) + " + " + std::to_string(window.nUnoccupied));
        EnergyOf(ScriptOf(window));
        options.nCiKind = kMicrostates;
        options.nCiSelection = 1;
        options.nCiOccupied = window.nOccupied;
        options.nCiUnoccupied = window.nUnoccupied;
        ExpectStates(window, StatesOf());
        const double dScf = scf.dHeatOfFormation - scf.dStateCorrection;
        EXPECT_NEAR(dScf + 23.061 * Run().dHalfElectronCorrection, window.dHeat, 0.002);
        for (std::size_t k = 0; k < window.Occupations.size(); ++k)
            EXPECT_NEAR(vNaturalOcc[vNaturalOcc.size() - 1 - k], window.Occupations[k], 2e-5) << k;
    }
}

/// The first twenty states: the lowest of the spin in front, transitions from there.
TEST_F(MicrostateCi, FirstStatesAreKeptForClientsThatAskForThem) {
    const CiCase c{kZindoS, kBentFormaldehyde, 1, false, true, 3, 2};
    Run(c);
    EXPECT_FALSE(ci.Details.States);
    RunCase(c);
    options.nExtensions = static_cast<int>(kSectionsMark | 1U << kCiSection);
    const CiEnergies energies = Run();
    ASSERT_EQ(ci.Details.States.Size(), 20u);
    EXPECT_EQ(ci.Details.nConfigs, 100);
    EXPECT_EQ(ci.Details.nWanted, 0);
    EXPECT_NEAR(ci.Details.States[0].dEnergy, energies.dHalfElectronCorrection * 27.211396, 1e-9);
    EXPECT_NEAR(ci.Details.States[0].dSpinSquare, 0.0, 1e-9);
    EXPECT_EQ(ci.Details.States[0].dOscillator, 0.0);
    const std::vector<CiStateDetail> kept(ci.Details.States.begin(), ci.Details.States.end());
    // Moments are those in the orbitals of the SCF, in whose place the natural ones stand now.
    Interaction again;
    SolveCase(c, again);
    std::vector<StateProperties> properties(20);
    FillProperties(LevelsOfScf(), again, 20, properties.data());
    for (int k = 0; k < 20; ++k)
        EXPECT_NEAR(LengthOf(kept[static_cast<std::size_t>(k)].vDipole),
                    LengthOf(properties[static_cast<std::size_t>(k)].vDipole), 1e-6);
}

// ---- order of states ---------------------------------------------------------------------------

/// How far the lowest triplet is above the lowest singlet, kcal/mol.
double TripletAboveSinglet(const CiCase& c) {
    Interaction ci;
    SolveCase(c, ci);
    options.fNextLowestState = 0;
    double dEnergy[2] = {};
    for (const int nMultiplicity : {1, 3}) {
        options.nMultiplicity = nMultiplicity;
        dEnergy[nMultiplicity / 2] = 23.061 * ChooseState(ci.States).dCorrection;
    }
    return dEnergy[1] - dEnergy[0];
}

/// Hund's rule for two electrons in two equal levels, and its end where the levels are far apart.
TEST_F(MicrostateCi, TripletIsTheGroundStateOfOxygenAndMethyleneAndNotOfOzone) {
    EXPECT_LT(TripletAboveSinglet({kAm1, {{8, 0, 0, 0}, {8, 0.5, 0.6, 0.9}}, 1, true, true, 3, 1}),
              -10.0);
    EXPECT_LT(
        TripletAboveSinglet(
            {kAm1, {{6, 0, 0, 0}, {1, 0, 0.98, 0.4}, {1, 0, -0.98, 0.4}}, 1, true, true, 2, 2}),
        -5.0);
    EXPECT_GT(
        TripletAboveSinglet(
            {kAm1, {{8, 0, 0, 0}, {8, 0, 1.08, 0.67}, {8, 0, -1.08, 0.67}}, 1, false, true, 3, 1}),
        5.0);
}

/// A turn of ethylene by nearly a quarter leaves two levels of nearly one energy.
TEST_F(MicrostateCi, TwistedEthyleneHasASingletAndATripletOfNearlyOneEnergy) {
    EXPECT_NEAR(TripletAboveSinglet({kAm1,
                                     {{6, 0, 0, 0.72},
                                      {6, 0, 0, -0.72},
                                      {1, 0.93, 0, 1.28},
                                      {1, -0.93, 0, 1.28},
                                      {1, 0.1, 0.92, -1.28},
                                      {1, -0.1, -0.92, -1.28}},
                                     1,
                                     true,
                                     true,
                                     1,
                                     1}),
                0.0, 5.0);
}

// ---- the job -----------------------------------------------------------------------------------

TEST_F(MicrostateCi, ReportAndStatusLinesComeInTheirOrder) {
    RunCase({kAm1, kBentWater, 1, false, true, 1, 1});
    options.nLogLevel = 7;
    const std::size_t nStatus = client.Texts(kPacketStatusLine).size();
    const std::size_t nLog = client.Log().size();
    Run();
    const std::vector<std::string> status = client.Texts(kPacketStatusLine);
    ASSERT_EQ(status.size(), nStatus + 4);
    EXPECT_EQ(status[nStatus],
              "Starting a microstate excited CI calculation with 4 configurations.");
    EXPECT_EQ(status[nStatus + 1], "Computing the integrals for CI matrix: done 100%.");
    EXPECT_EQ(status[nStatus + 2], "Computing the CI matrix...");
    EXPECT_EQ(status[nStatus + 3], "Diagonalizing the CI matrix...");
    EXPECT_EQ(setup.nCiConfigurations, 4);
    std::vector<std::string> headings;
    for (std::size_t i = nLog; i < client.Log().size(); ++i)
        for (const char* s : {"Slater Determinants", "CI Eigenvalues", "Microstate CI Results"})
            if (client.Log()[i].find(s) != std::string::npos) headings.push_back(s);
    EXPECT_EQ(headings, (std::vector<std::string>{"Slater Determinants", "CI Eigenvalues",
                                                  "Microstate CI Results"}));
}

TEST_F(MicrostateCi, LogLevelsChooseConfigurationsAndVectors) {
    for (int nLevel = 0; nLevel < 10; ++nLevel) {
        RunCase({kAm1, kBentWater, 1, false, true, 1, 1});
        options.nLogLevel = nLevel;
        Run();
        int nDeterminants = 0, nVectors = 0;
        for (const std::string& s : client.Log()) {
            if (s.find("Slater Determinants") != std::string::npos) ++nDeterminants;
            if (s.find("CI Eigenvalues") != std::string::npos) ++nVectors;
        }
        EXPECT_EQ(nDeterminants, nLevel == 5 || nLevel == 7 || nLevel == 8) << nLevel;
        EXPECT_EQ(nVectors, nLevel >= 6 && nLevel <= 8) << nLevel;
    }
}

std::string LastError() {
    return client.Errors().empty() ? "" : client.Errors().back();
}

TEST_F(MicrostateCi, OneOccupiedLevelAloneIsTheScf) {
    EXPECT_NEAR(Run({kAm1, kBentWater, 1, false, true, 1, 0}).dHalfElectronCorrection, 0.0, 1e-9);
    EXPECT_EQ(setup.nCiConfigurations, 1);
    RunCase({kAm1, kBentWater, 1, true, true, 1, 0});
    EXPECT_THROW(Run(), Unwinding);
    EXPECT_EQ(LastError(), "Impossible to calculate the excited state.");
}

/// One pair of electrons in twenty levels makes 400 microstates.
TEST_F(MicrostateCi, TwentyLevelsAreTheMost) {
    std::vector<Place> row;
    for (int k = 0; k < 10; ++k) row.push_back({6, 1.3 * k, 0.1 * (k % 2), 0.0});
    RunCase({kAm1, row, 1, false, true, 1, 19});
    Run();
    EXPECT_EQ(setup.nCiConfigurations, 400);
    options.nCiUnoccupied = 20;
    EXPECT_THROW(Run(), Unwinding);
    EXPECT_EQ(LastError(),
              "The maximum molecular orbitals in Microstate CI may not be bigger than   20.");
}

/// Ten pairs in twenty levels make 3.4e10 configurations, six in twelve 853 776, whose matrix no
/// machine holds. Neither is begun.
TEST_F(MicrostateCi, MatrixThatDoesNotFitEndsInTheMessage) {
    std::vector<Place> row;
    for (int k = 0; k < 10; ++k) row.push_back({6, 1.3 * k, 0.1 * (k % 2), 0.0});
    RunCase({kAm1, row, 1, false, true, 10, 10});
    memory = MemoryState{.nBytesHeld = memory.nBytesHeld, .nBytesHighest = memory.nBytesHeld};
    for (const int nPairs : {10, 6}) {
        options.nCiOccupied = options.nCiUnoccupied = nPairs;
        EXPECT_THROW(Run(), Unwinding);
        EXPECT_EQ(LastError(), "This application has exhausted all available memory.");
    }
    EXPECT_LT(memory.nBytesHighest, memory.nBytesHeld + 10000);
}

TEST_F(MicrostateCi, NextLowestStateHasTheEnergiesOfTheFirstTwoSinglets) {
    const CiEnergies energies = Run({kAm1, kBentFormaldehyde, 1, true, true, 2, 2});
    EXPECT_GT(energies.dHalfElectronCorrection, energies.dNextStateCorrection + 1.0);
    // The density is that of the upper one: two orbitals hold about one electron.
    EXPECT_NEAR(vNaturalOcc[4], 1.0, 0.1);
}

TEST_F(MicrostateCi, StateThatIsNotThereEndsTheJob) {
    RunCase({kAm1, kBentFormaldehyde, 3, false, true, 1, 1});
    EXPECT_THROW(Run(), Unwinding);
    EXPECT_EQ(LastError().find("The state you have requested"), 0u);
}

TEST_F(MicrostateCi, EveryFailedAllocationEndsInTheMessage) {
    RunCase({kZindoS, kBentWater, 1, false, true, 2, 1});
    const std::size_t nHeld = memory.nBytesHeld;
    int nFailures = 0;
    for (bool fFailed = true; fFailed; ++nFailures) {
        memory = MemoryState{.nFailAt = nFailures, .nBytesHeld = memory.nBytesHeld};
        fFailed = false;
        try {
            Run();
        } catch (const Unwinding&) {
            fFailed = true;
            EXPECT_EQ(LastError(), "This application has exhausted all available memory.");
        }
        EXPECT_EQ(memory.nBytesHeld, nHeld);
    }
    EXPECT_GT(nFailures, 40);
}

}  // namespace
}  // namespace qsolve
