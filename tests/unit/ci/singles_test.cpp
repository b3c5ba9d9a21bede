#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ci/ci.h"
#include "ci/spectrum.h"
#include "ci/state.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/ci_case.h"
#include "tests/support/ci_reference.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

// ---- numbers from outside ----------------------------------------------------------------------

/// The states of a window as a table has them: energies in eV above the lowest, which is first.
std::vector<ReferenceState> StatesOf(const ReferenceWindow& window) {
    EnergyOf(ScriptOf(window));
    options.nCiKind = kSingles;
    options.nCiSelection = 1;
    options.nCiOccupied = window.nOccupied;
    options.nCiUnoccupied = window.nUnoccupied;
    Interaction ci;
    PlaceConfigurations(ci);
    Solve(LevelsOfScf(), ci);
    MoveToFront(ChooseState(ci.States).nFirst, ci.States);
    std::vector<StateProperties> properties(static_cast<std::size_t>(ci.Configs.nConfigs));
    FillProperties(LevelsOfScf(), ci, ci.Configs.nConfigs, properties.data());
    const double dEv = UsesAtomicUnits(system.MethodId) ? 27.211396 : 1.0;
    std::vector<ReferenceState> states;
    for (int k = 0; k < ci.Configs.nConfigs; ++k) {
        const StateProperties& p = properties[static_cast<std::size_t>(k)];
        states.push_back({p.dSpin, (ci.States.vCiEnergy[k] - ci.States.vCiEnergy[0]) * dEv,
                          p.dOscillator, LengthOf(p.vDipole)});
    }
    std::stable_sort(states.begin() + 1, states.end(),
                     [](const auto& a, const auto& b) { return a.dEnergy < b.dEnergy; });
    return states;
}

struct Tolerances {
    double dEnergy, dOscillator, dDipole;
    double
        dOneLevel;  ///< states so near to each other are turned into each other by next to nothing
};

/// Sums over all states of the energy and the spin of one.
ReferenceState LevelOf(const std::vector<ReferenceState>& states, const ReferenceState& one,
                       double dOneLevel) {
    ReferenceState sum;
    for (const ReferenceState& s : states) {
        if (std::abs(s.dEnergy - one.dEnergy) > dOneLevel || std::abs(s.dSpin - one.dSpin) > 0.01)
            continue;
        sum.dOscillator += s.dOscillator;
        sum.dDipole += s.dDipole;
        sum.dSpin += 1.0;  // states
    }
    return sum;
}

/// Holds the states of a table, which ends somewhere, against ours in their order.
void ExpectStates(const std::vector<ReferenceState>& wanted,
                  const std::vector<ReferenceState>& states, const Tolerances& tolerances) {
    ASSERT_LE(wanted.size(), states.size());
    for (std::size_t k = 0; k < wanted.size(); ++k) {
        EXPECT_NEAR(states[k].dEnergy, wanted[k].dEnergy, tolerances.dEnergy) << k;
        const ReferenceState ours = LevelOf(states, states[k], tolerances.dOneLevel);
        const ReferenceState theirs = LevelOf(wanted, wanted[k], tolerances.dOneLevel);
        if (ours.dSpin != theirs.dSpin) continue;  // the table ends within a degenerate set
        EXPECT_NEAR(states[k].dSpin, wanted[k].dSpin, 1e-3) << k;
        EXPECT_NEAR(ours.dOscillator, theirs.dOscillator, tolerances.dOscillator) << k;
        if (tolerances.dDipole > 0.0) {
            EXPECT_NEAR(ours.dDipole, theirs.dDipole, tolerances.dDipole) << k;
        }
    }
}

/// Those above the ground state with one spin.
std::vector<ReferenceState> OfSpin(double dSpin, const std::vector<ReferenceState>& states) {
    std::vector<ReferenceState> some;
    for (const ReferenceState& s : states)
        if (std::abs(s.dSpin - dSpin) < 0.05 && &s != &states[0]) some.push_back(s);
    return some;
}
std::vector<ReferenceState> PeersOfSpin(double dSpin, const std::vector<ReferenceState>& peers) {
    std::vector<ReferenceState> some;
    for (const ReferenceState& s : peers)
        if (s.dSpin == dSpin) some.push_back(s);
    return some;
}

void ExpectWindows(const std::string& sFile, std::size_t nWindows, int nMost) {
    const std::vector<ReferenceWindow> all = ReadCiReference(sFile);
    ASSERT_EQ(all.size(), nWindows);
    for (const ReferenceWindow& window : all) {
        if (2 * window.nOccupied * window.nUnoccupied > nMost) continue;
        SCOPED_TRACE(window.sName + ", method " + std::to_string(window.nMethod) + ", " +
                     std::to_string(window.nOccupied) + " x " + std::to_string(window.nUnoccupied));
        const std::vector<ReferenceState> states = StatesOf(window);
        // That program's overlap integrals are those of a truncated series, which ZINDO/S feels.
        const double dEnergy = UsesAtomicUnits(window.nMethod) ? 1e-4 : 1e-5;
        ExpectStates(window.States, states, {dEnergy, 2e-5, 5e-4, 1e-4});
        for (const double dSpin : {0.0, 1.0})
            ExpectStates(PeersOfSpin(dSpin, window.Peers), OfSpin(dSpin, states),
                         {0.003, 0.002, 0.0, 0.05});
    }
}

using SinglesCi = FreshState;

TEST_F(SinglesCi, WindowsAreThoseOfOtherPrograms) {
    ExpectWindows("ci_singles.txt", 41, 1000);
}

TEST_F(SinglesCi, SpectraOfAllLevelsAreThoseOfAnotherProgram) {
    ExpectWindows("ci_spectra.txt", 13, 500);
}

/// The largest of them takes seconds.
class SinglesCiLong : public FreshState {};
TEST_F(SinglesCiLong, SpectraOfAllLevelsAreThoseOfAnotherProgram) {
    ExpectWindows("ci_spectra.txt", 13, 2000);
}

// ---- where the molecule lies -------------------------------------------------------------------

/// Energies, eV, and strengths of a window at positions in double precision.
std::vector<ReferenceState> StatesAt(int nMethod, const std::vector<Place>& places) {
    JobScript script = Molecule(nMethod, places);
    script.Options.flConvergenceLimit = 0.0F;  // never reached: to the last digit
    script.Options.fDiis = 1;
    script.Options.nIterationLimit = 60;
    EnergyOf(script, PositionsOf(places));
    options.nCiKind = kSingles;
    options.nCiSelection = 1;
    options.nCiOccupied = 4;
    options.nCiUnoccupied = 3;
    RunSinglesCi(LevelsOfScf());
    std::vector<ReferenceState> states;
    Interaction ci;
    PlaceConfigurations(ci);
    Solve(LevelsOfScf(), ci);
    std::vector<StateProperties> p(static_cast<std::size_t>(ci.Configs.nConfigs));
    FillProperties(LevelsOfScf(), ci, ci.Configs.nConfigs, p.data());
    const double dEv = UsesAtomicUnits(nMethod) ? 27.211396 : 1.0;
    for (std::size_t k = 0; k < p.size(); ++k)
        states.push_back(
            {p[k].dSpin, ci.States.vCiEnergy[k] * dEv, p[k].dOscillator, LengthOf(p[k].vDipole)});
    return states;
}

class SinglesCiOf : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, SinglesCiOf, testing::Values(kIndo, kZindoS, kMindo3, kAm1));

/// Which of two atoms comes first shows in the ninth digit of the Coulomb integrals of INDO.
TEST_P(SinglesCiOf, StatesTurnWithTheMoleculeAndDoNotKnowTheOrderOfAtoms) {
    const double dSame = GetParam() == kIndo ? 2e-8 : 1e-8;
    const std::vector<ReferenceState> wanted = StatesAt(GetParam(), kBentFormaldehyde);
    std::vector<Place> turned;  // by 3-4-5 about two axes, moved, and in another order
    for (const Place& p : kBentFormaldehyde) {
        const double x = 0.6 * p.x - 0.8 * p.y, y = 0.8 * p.x + 0.6 * p.y;
        turned.push_back({p.nElement, x + 3, 0.8 * y - 0.6 * p.z - 1, 0.6 * y + 0.8 * p.z + 2});
    }
    std::swap(turned[0], turned[3]);
    const std::vector<ReferenceState> states = StatesAt(GetParam(), turned);
    ASSERT_EQ(states.size(), wanted.size());
    for (std::size_t k = 0; k < states.size(); ++k) {
        EXPECT_NEAR(states[k].dEnergy, wanted[k].dEnergy, dSame) << k;
        EXPECT_NEAR(states[k].dOscillator, wanted[k].dOscillator, 1e-6) << k;
        EXPECT_NEAR(states[k].dDipole, wanted[k].dDipole, 1e-5) << k;
        EXPECT_NEAR(states[k].dSpin, wanted[k].dSpin, 1e-6) << k;
    }
}

std::vector<Place> Benzene() {
    std::vector<Place> places;
    for (const auto& [nElement, dRadius] : {std::pair{6, 1.39}, std::pair{1, 2.48}})
        for (int k = 0; k < 6; ++k) {
            const double a = 3.14159265358979323846 / 3 * k;
            places.push_back({nElement, dRadius * std::cos(a), dRadius * std::sin(a), 0.0});
        }
    return places;
}

/// The frontier of benzene is two pairs of equal levels; a turn within each changes nothing.
TEST_F(SinglesCi, DegenerateLevelsMayBeTurnedIntoEachOther) {
    JobScript script = Molecule(kZindoS, Benzene());
    script.Options.flConvergenceLimit = 1e-10F;
    script.Options.nIterationLimit = 300;
    EnergyOf(script, PositionsOf(Benzene()));
    options.nCiKind = kSingles;
    options.nCiSelection = 1;
    options.nCiOccupied = options.nCiUnoccupied = 2;
    const auto Energies = [] {
        Interaction ci;
        PlaceConfigurations(ci);
        Solve(LevelsOfScf(), ci);
        return std::vector<double>(ci.States.vCiEnergy.begin(), ci.States.vCiEnergy.end());
    };
    const std::vector<double> before = Energies();
    const int n = setup.nOrbitals;
    for (const int nLower : {13, 15}) {
        ASSERT_NEAR(scf.vEnergyA[nLower], scf.vEnergyA[nLower + 1], 1e-9);
        double *a = Row(scf.mVectorsA.Data(), n, nLower), *b = a + n;
        for (int i = 0; i < n; ++i) {
            const double x = 0.6 * a[i] + 0.8 * b[i];
            b[i] = 0.6 * b[i] - 0.8 * a[i];
            a[i] = x;
        }
    }
    const std::vector<double> after = Energies();
    for (std::size_t k = 0; k < before.size(); ++k) EXPECT_NEAR(after[k], before[k], 1e-9) << k;
    EXPECT_NEAR(before[7], before[8], 1e-8);  // a state of E1u is there twice
}

/// The sum of f over all singlets is near the valence electrons that move, and grows with the
/// window: a rule that holds exactly for all states of all levels in a complete basis.
TEST_F(SinglesCi, StrengthsOfAllTransitionsGrowWithTheWindow) {
    double dBefore = 0.0;
    for (const int nLevels : {1, 3, 6}) {
        SolveCase({kZindoS, kBentFormaldehyde, 1, false, false, nLevels, std::min(nLevels, 4)},
                  *std::make_unique<Interaction>());
        RunSinglesCi(LevelsOfScf());
        double dSum = 0.0;
        for (int k = 1; k < ci.nCiStates; ++k)
            dSum += static_cast<double>(ci.CiStateTable[k].flOscillator);
        EXPECT_GT(dSum, dBefore);
        EXPECT_LT(dSum, 12.0);
        dBefore = dSum;
    }
    EXPECT_GT(dBefore, 2.0);
}

// ---- the job -----------------------------------------------------------------------------------

std::vector<std::string> Since(std::size_t nBefore, std::vector<std::string> lines) {
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(nBefore));
    return lines;
}

TEST_F(SinglesCi, RecordsAreTheStatesWithTheChosenOneInFront) {
    RunCase({kZindoS, kBentWater, 3, false, false, 3, 1});
    const CiEnergies energies = RunSinglesCi(LevelsOfScf());
    ASSERT_GT(ci.nCiStates, 3);
    EXPECT_EQ(ci.CiStateTable.Size(), static_cast<std::size_t>(ci.nCiStates));
    EXPECT_EQ(ci.nCiStates, setup.nCiConfigurations);
    const UvRecord& first = ci.CiStateTable[0];
    EXPECT_EQ(first.nState, 0);
    EXPECT_NEAR(first.flSpin, 1.0F, 0.02F);
    EXPECT_EQ(first.flOscillator, 0.0F);
    const ScfLevels levels = LevelsOfScf();
    EXPECT_NEAR(
        static_cast<double>(first.flEnergy),
        (energies.dHalfElectronCorrection + levels.dEnergy + levels.dCoreEnergy) * 27.211396, 1e-4);
    std::vector<bool> seen(static_cast<std::size_t>(ci.nCiStates));
    for (int k = 0; k < ci.nCiStates; ++k) {
        EXPECT_EQ(ci.CiStateTable[k].nState, k);
        seen[static_cast<std::size_t>(ci.CiStateTable[k].nVector)] = true;
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), ci.nCiStates);
    EXPECT_EQ(energies.dNextStateCorrection, 0.0);
}

TEST_F(SinglesCi, StatesAreKeptForClientsThatAskForThem) {
    RunCase({kZindoS, kBentFormaldehyde, 1, false, false, 3, 2});
    options.nExtensions = static_cast<int>(kSectionsMark | ((1U << kCiSection) - 1));
    RunSinglesCi(LevelsOfScf());
    EXPECT_FALSE(ci.Details.States);
    options.nExtensions = static_cast<int>(kSectionsMark | 1U << kCiSection);
    RunSinglesCi(LevelsOfScf());
    ASSERT_EQ(ci.Details.States.Size(), 13u);
    for (int k = 0; k < 13; ++k) {
        EXPECT_EQ(ci.Details.States[k].nVector, ci.CiStateTable[k].nVector);
        EXPECT_FLOAT_EQ(static_cast<float>(ci.Details.States[k].dOscillator),
                        ci.CiStateTable[k].flOscillator);
    }
}

/// Without mixing of the reference a closed shell gains nothing by its singles.
TEST_F(SinglesCi, GroundStateOfAClosedShellIsTheScf) {
    RunCase({kAm1, kBentFormaldehyde, 1, false, false, 4, 3});
    EXPECT_NEAR(RunSinglesCi(LevelsOfScf()).dHalfElectronCorrection, 0.0, 1e-9);
    EXPECT_EQ(ci.CiStateTable[0].nVector, 0);
}

TEST_F(SinglesCi, NextLowestStateHasTheEnergiesOfTheFirstTwoSinglets) {
    RunCase({kZindoS, kBentFormaldehyde, 1, true, false, 3, 3});
    const int nDoubly = setup.nDoublyOcc, nOccupied = setup.nOccupied;
    const CiEnergies energies = RunSinglesCi(LevelsOfScf());
    EXPECT_GT(energies.dHalfElectronCorrection, energies.dNextStateCorrection + 0.05);
    EXPECT_NEAR(ci.CiStateTable[0].flSpin, 0.0F, 0.02F);
    // The reference of the spectrum is the lowest.
    const ScfLevels levels = LevelsOfScf();
    EXPECT_NEAR(static_cast<double>(ci.CiStateTable[0].flEnergy),
                (energies.dNextStateCorrection + levels.dEnergy + levels.dCoreEnergy) * 27.211396,
                1e-4);
    EXPECT_EQ(setup.nDoublyOcc, nDoubly);
    EXPECT_EQ(setup.nOccupied, nOccupied);
}

TEST_F(SinglesCi, StatusLineTellsTheStages) {
    RunCase({kAm1, kBentWater, 1, false, false, 2, 2});
    const std::size_t nBefore = client.Texts(kPacketStatusLine).size();
    RunSinglesCi(LevelsOfScf());
    EXPECT_EQ(
        Since(nBefore, client.Texts(kPacketStatusLine)),
        (std::vector<std::string>{"Starting a singly excited CI calculation with 9 configurations.",
                                  "Computing the integrals for CI matrix: done 100%.",
                                  "Computing the CI matrix...", "Diagonalizing the CI matrix..."}));
}

TEST_F(SinglesCi, LogLevelsChooseConfigurationsAndVectors) {
    for (int nLevel = 0; nLevel < 10; ++nLevel) {
        RunCase({kAm1, kBentWater, 1, false, false, 2, 2});
        options.nLogLevel = nLevel;
        const std::size_t nBefore = client.Log().size();
        RunSinglesCi(LevelsOfScf());
        int nDeterminants = 0, nVectors = 0, nSpectra = 0;
        for (const std::string& s : Since(nBefore, client.Log())) {
            if (s.find("Slater Determinants") != std::string::npos) ++nDeterminants;
            if (s.find("CI Eigenvalues") != std::string::npos) ++nVectors;
            if (s.find("UV Spectrum") != std::string::npos) ++nSpectra;
        }
        EXPECT_EQ(nDeterminants, nLevel == 6 || nLevel == 8) << nLevel;
        EXPECT_EQ(nVectors, nLevel == 7 || nLevel == 8) << nLevel;
        EXPECT_EQ(nSpectra, 1);
    }
}

TEST_F(SinglesCi, LargeMatrixByAnEnergyLimitIsSaid) {
    for (const float flKcal : {2000.0F, 250.0F}) {
        RunCase({kAm1, Benzene(), 1, false, false, 1, 1});
        link.fShowWarnings = true;
        options.nCiSelection = 0;
        options.flCiMaxExcitation = flKcal;
        RunSinglesCi(LevelsOfScf());
        const bool fLarge = setup.nCiConfigurations > 200;
        EXPECT_EQ(fLarge, flKcal > 1000.0F);
        EXPECT_EQ(client.Warnings().size(), fLarge ? 1u : 0u);
        EXPECT_EQ(ci.nCiStates, setup.nCiConfigurations);
    }
}

TEST_F(SinglesCi, StateThatIsNotThereEndsTheJob) {
    // A triplet with one of its two open levels in the window.
    RunCase({kAm1, kBentFormaldehyde, 3, false, false, 1, 1});
    EXPECT_THROW(RunSinglesCi(LevelsOfScf()), Unwinding);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(client.Errors()[0].find("The state you have requested"), 0u);
    EXPECT_FALSE(ci.CiStateTable);
    // A next lowest state without an empty level beside the two.
    RunCase({kAm1, kBentFormaldehyde, 1, true, false, 1, 0});
    EXPECT_THROW(RunSinglesCi(LevelsOfScf()), Unwinding);
}

/// Nothing is left over, and a next one succeeds.
TEST_F(SinglesCi, EveryFailedAllocationEndsInTheMessage) {
    RunCase({kZindoS, kBentWater, 1, false, false, 2, 2});
    options.nLogLevel = 8;
    const std::size_t nHeld = memory.nBytesHeld;
    int nFailures = 0;
    for (bool fFailed = true; fFailed; ++nFailures) {
        memory = MemoryState{.nFailAt = nFailures, .nBytesHeld = memory.nBytesHeld};
        fFailed = false;
        try {
            RunSinglesCi(LevelsOfScf());
        } catch (const Unwinding&) {
            fFailed = true;
            EXPECT_EQ(client.Errors().back(),
                      "This application has exhausted all available memory.");
        }
        ci = CiState{};
        EXPECT_EQ(memory.nBytesHeld, nHeld);
    }
    EXPECT_GT(nFailures, 40);
}

TEST_F(SinglesCi, ClientThatLeavesInTheMiddleEndsItAnywhere) {
    RunCase({kZindoS, kBentWater, 1, false, false, 2, 2});
    const int nBefore = client.nFetched;
    RunSinglesCi(LevelsOfScf());
    const int nAfter = client.nFetched;
    ASSERT_GT(nAfter, nBefore + 40);
    link.fInSession = true;
    for (int n = 0; n < nAfter - nBefore; ++n) {
        client.nHangUpAfter = client.nFetched + n;
        EXPECT_THROW(RunSinglesCi(LevelsOfScf()), LinkStop) << n;
        link.fConversation = true;
        link.fLinkDown = false;
    }
    client.nHangUpAfter = -1;
    RunSinglesCi(LevelsOfScf());
    EXPECT_EQ(ci.nCiStates, 9);
}

}  // namespace
}  // namespace qsolve
