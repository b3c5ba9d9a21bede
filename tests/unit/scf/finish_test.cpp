#include "scf/finish.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ci/state.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/state.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/job_script.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

/// Formaldehyde without symmetry: 12 electrons, 10 orbitals.
const std::vector<Place> kPlaces = {
    {8, 0, 0, 0}, {6, 0.05, 0, -1.22}, {1, 0.13, 0.93, -1.81}, {1, -0.2, -0.95, -1.74}};

JobScript Formaldehyde(int nMethod, int nCiKind, int nOccupied, int nUnoccupied) {
    JobScript script = Molecule(nMethod, kPlaces);
    script.Options.nCiKind = nCiKind;
    script.Options.nCiSelection = 1;
    script.Options.nCiOccupied = nOccupied;
    script.Options.nCiUnoccupied = nUnoccupied;
    return script;
}

class CiJob : public FreshState {
  protected:
    CiJob() { NewScriptedClient(); }
    static void Play(const JobScript& script) {
        client.Sent.clear();
        PlaySession(script);
    }
    static bool HasLine(const std::string& sPart) {
        for (const std::string& s : client.Log())
            if (s.find(sPart) != std::string::npos) return true;
        return false;
    }
    /// Packets of data, without the node count of a first session.
    static std::vector<SentPacket> Data() {
        std::vector<SentPacket> data;
        for (const SentPacket& p : client.Sent)
            if (p.nType == kPacketData) data.push_back(p);
        return data;
    }
};

// ---- singles -----------------------------------------------------------------------------------

TEST_F(CiJob, SinglesSendTheirStatesBehindTheOrbitals) {
    Play(Formaldehyde(kZindoS, kSingles, 3, 2));
    ASSERT_TRUE(client.Errors().empty());
    const std::vector<SentPacket> data = Data();
    ASSERT_GE(data.size(), 2u);
    const SentPacket &count = data[data.size() - 2], &records = data.back();
    int nStates = 0;
    ASSERT_EQ(count.Payload.size(), sizeof nStates);
    std::memcpy(&nStates, count.Payload.data(), sizeof nStates);
    EXPECT_EQ(nStates, 13);
    ASSERT_EQ(records.Payload.size(), 13 * sizeof(UvRecord));
    EXPECT_EQ(std::memcmp(records.Payload.data(), ci.CiStateTable.Data(), 13 * sizeof(UvRecord)),
              0);
    EXPECT_TRUE(HasLine("Number of CI Configurations         =      13"));
    EXPECT_TRUE(HasLine("CI Energy                           ="));
    EXPECT_TRUE(HasLine("UV Spectrum"));
}

/// A triplet asked for in the closed shell's window: the ground state lies below it, and is not
/// for the client.
TEST_F(CiJob, StatesBelowTheReferenceAreNotSent) {
    JobScript script = Formaldehyde(kZindoS, kSingles, 3, 2);
    script.Options.nMultiplicity = 3;
    Play(script);
    ASSERT_TRUE(client.Errors().empty());
    int nSent = 0, nBelow = 0;
    for (int k = 1; k < ci.nCiStates; ++k) nBelow += ci.CiStateTable[k].flEnergy < 0.0F ? 1 : 0;
    const std::vector<SentPacket> data = Data();
    std::memcpy(&nSent, data[data.size() - 2].Payload.data(), sizeof nSent);
    EXPECT_EQ(nSent, ci.nCiStates - nBelow);
    UvRecord first;
    std::memcpy(&first, data.back().Payload.data(), sizeof first);
    EXPECT_EQ(first.nState, 0);
    EXPECT_NEAR(first.flSpin, 1.0F, 0.03F);
}

/// The reference is the determinant of the SCF: energy, charges and orbitals stay its own.
TEST_F(CiJob, SinglesOfAClosedShellLeaveTheGroundStateAsItIs) {
    const double dScf = EnergyOf(Molecule(kAm1, kPlaces));
    const double dDipole = properties.dDipoleTable[3][3];
    const double dCi = EnergyOf(Formaldehyde(kAm1, kSingles, 4, 3));
    EXPECT_NEAR(dCi, dScf, 1e-6);
    EXPECT_NEAR(properties.dDipoleTable[3][3], dDipole, 1e-9);
    EXPECT_NEAR(static_cast<double>(ci.CiStateTable[0].flDipole), dDipole, 1e-4);
}

TEST_F(CiJob, EnergyLimitCountsItsConfigurations) {
    JobScript script = Formaldehyde(kAm1, kSingles, 0, 0);
    script.Options.nCiSelection = 0;
    script.Options.flCiMaxExcitation = 15.0F;
    Play(script);
    ASSERT_TRUE(client.Errors().empty());
    EXPECT_GT(setup.nCiConfigurations, 4);
    EXPECT_EQ(ci.nCiStates, setup.nCiConfigurations);
}

// ---- microstates -------------------------------------------------------------------------------

/// Lower than the SCF, since its determinant is one of the configurations; no states for the
/// client.
TEST_F(CiJob, MicrostatesLowerTheEnergyAndFillNaturalOrbitals) {
    const double dScf = EnergyOf(Molecule(kAm1, kPlaces));
    NewScriptedClient();
    ResetAllState();
    NewScriptedClient();
    Play(Formaldehyde(kAm1, kMicrostates, 2, 2));
    ASSERT_TRUE(client.Errors().empty());
    EXPECT_LT(scf.dTotalEnergy, dScf - 1.0);
    EXPECT_EQ(ci.nCiStates, 0);
    double dElectrons = 0.0, dCharge = 0.0;
    for (int k = 0; k < setup.nOrbitals; ++k) {
        dElectrons += static_cast<double>(results.Orbitals.vOccupancy[k]);
        dCharge += static_cast<double>(results.Orbitals.vPopulation[k]);
    }
    EXPECT_NEAR(dElectrons, 12.0, 1e-5);
    EXPECT_NEAR(dCharge, 12.0, 1e-5);
    EXPECT_LT(results.Orbitals.vOccupancy[5], 1.99F);
    EXPECT_GT(results.Orbitals.vOccupancy[6], 0.01F);
    EXPECT_TRUE(HasLine("Microstate CI Results"));
    EXPECT_TRUE(HasLine("Number of CI Configurations         =      36"));
}

/// Level 1 writes the orbitals with what stands in place of their energies.
TEST_F(CiJob, LogShowsNaturalOrbitalsWithTheirOccupations) {
    JobScript script = Formaldehyde(kAm1, kMicrostates, 2, 2);
    script.Options.nLogLevel = 1;
    Play(script);
    EXPECT_TRUE(HasLine("Natural Orbitals of the Microstate CI"));
    EXPECT_TRUE(HasLine("    2.0000"));
}

TEST_F(CiJob, NaturalOrbitalsCanBePlottedInALaterSession) {
    Play(Formaldehyde(kAm1, kMicrostates, 2, 2));
    JobScript plot = Formaldehyde(kAm1, kNoCi, 0, 0);
    plot.Options.fCalculate = 0;
    plot.Options.fPlot = 1;
    plot.Options.nGridCols = plot.Options.nGridRows = plot.Options.nPlotPlanes = 2;
    for (float& fl : plot.Options.flPlotGrid) fl = 0.7F;
    for (const int nKind : {kPlotOrbital, kPlotOrbitalSquare, kPlotDensity, kPlotSpinDensity}) {
        plot.Options.nPlotKind = nKind;
        Play(plot);
        EXPECT_TRUE(client.Errors().empty()) << nKind;
        EXPECT_EQ(Data().size(), 2u) << nKind;
    }
}

// ---- next lowest states ------------------------------------------------------------------------

TEST_F(CiJob, NextLowestStateIsReportedBesideTheLowest) {
    for (const int nCiKind : {kSingles, kMicrostates}) {
        ResetAllState();
        NewScriptedClient();
        JobScript script = Formaldehyde(kAm1, nCiKind, 2, 2);
        script.Options.fNextLowestState = 1;
        Play(script);
        ASSERT_TRUE(client.Errors().empty());
        EXPECT_TRUE(HasLine("Next Lowest-State Total Energy"));
        EXPECT_TRUE(HasLine("Excitation Energy                   ="));
        EXPECT_GT(scf.dStateCorrection, scf.dNextStateCorrection + 20.0);
        EXPECT_EQ(setup.nOccupied, setup.nDoublyOcc + 2);
        EXPECT_FLOAT_EQ(results.Block.flTotalEnergy, static_cast<float>(scf.dTotalEnergy));
    }
}

// ---- failure -----------------------------------------------------------------------------------

TEST_F(CiJob, StateThatIsNotThereEndsTheJobAndSparesTheNext) {
    JobScript script = Formaldehyde(kAm1, kSingles, 1, 1);
    script.Options.nMultiplicity = 3;
    Play(script);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(client.Errors()[0].find("The state you have requested cannot be obtained"), 0u);
    EXPECT_FALSE(scf.fResultsValid);
    EXPECT_EQ(ci.nCiStates, 0);
    Play(Formaldehyde(kAm1, kSingles, 2, 2));
    EXPECT_TRUE(client.Errors().empty());
    EXPECT_EQ(ci.nCiStates, 9);
}

/// Without memory of the interaction of the session before.
TEST_F(CiJob, LaterJobWithoutAnInteractionHasNoStates) {
    Play(Formaldehyde(kAm1, kSingles, 2, 2));
    Play(Formaldehyde(kAm1, kNoCi, 0, 0));
    EXPECT_EQ(ci.nCiStates, 0);
    EXPECT_FALSE(ci.CiStateTable);
    EXPECT_EQ(scf.dStateCorrection, 0.0);
}

/// Every SCF of a job runs its own interaction, from the density that the state before has left.
TEST_F(CiJob, SecondScfOfAJobGivesTheSameState) {
    for (const int nCiKind : {kSingles, kMicrostates}) {
        EnergyOf(Formaldehyde(kAm1, nCiKind, 2, 2));
        const double dTotal = scf.dTotalEnergy;
        RunScf();
        EXPECT_NEAR(scf.dTotalEnergy, dTotal, 1e-4);
    }
}

}  // namespace
}  // namespace qsolve
