#include <gtest/gtest.h>

#include "job/state.h"
#include "scf/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

class Validation : public JobTest {};

TEST_F(Validation, LogsTheHeaderOfARestrictedJobInOrder) {
    UseMethod(kAm1);
    UseWater();
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(
        client.Log(),
        (Lines{"Convergence limit = 0.0100000  Iteration limit = 50", "Accelerate convergence = NO",
               "RHF Calculation:\n", "Singlet state calculation", "Number of electrons = 8",
               "Number of Double Occupied Levels = 4",
               "Charge on the system = 0  Total number of orbitals = 6", "", ""}));
    EXPECT_EQ(client.Texts(kPacketStatusLine),
              (Lines{"Starting an AM1 calculation with 6 orbitals."}));
    EXPECT_EQ(client.Warnings(), Lines());
    EXPECT_EQ(client.Errors(), Lines());
}

TEST_F(Validation, StatusLineStandsBetweenTwoEmptyLogLines) {
    UseMethod(kAm1);
    UseWater();
    ASSERT_EQ(TrySetUp(), 0);
    const std::size_t n = client.Sent.size();
    ASSERT_GE(n, 3U);
    EXPECT_EQ(client.Sent[n - 3].nType, kPacketLogLine);
    EXPECT_EQ(client.Sent[n - 3].Text(), "");
    EXPECT_EQ(client.Sent[n - 2].nType, kPacketStatusLine);
    EXPECT_EQ(client.Sent[n - 1].nType, kPacketLogLine);
    EXPECT_EQ(client.Sent[n - 1].Text(), "");
}

TEST_F(Validation, WhereNobodyListensTheStatusLineStandsAlone) {
    UseMethod(kAm1);
    UseWater();
    further.Scf.nQuiet = kTellStart;
    link.fLogReports = false;
    options.nLogLevel = 10;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Log(), Lines{});
    EXPECT_EQ(client.Sent.size(), 1u);
    EXPECT_EQ(client.Sent.back().nType, kPacketStatusLine);
}

TEST_F(Validation, EveryMethodAnnouncesItself) {
    const std::string sStart[] = {
        "Starting a CNDO calculation with 6 orbitals.",
        "Starting an INDO calculation with 6 orbitals.",
        "Starting a MINDO/3 calculation with 6 orbitals.",
        "Starting an MNDO calculation with 6 orbitals.",
        "Starting an AM1 calculation with 6 orbitals.",
        "Starting a PM3 calculation with 6 orbitals.",
        "Starting a ZINDO/1 calculation with 6 orbitals.",
        "Starting a ZINDO/S calculation with 6 orbitals.",
        "Starting an MNDO/d calculation with 6 orbitals.",
    };
    for (int nMethod = kCndo; nMethod <= kMndoD; ++nMethod) {
        NewScriptedClient();
        UseMethod(nMethod);
        UseWater();
        ASSERT_EQ(TrySetUp(), 0) << "method " << nMethod;
        EXPECT_EQ(client.Texts(kPacketStatusLine), (Lines{sStart[nMethod - 1]}));
    }
}

TEST_F(Validation, ReportsSuperposedAtomsByNumberAndGoesOn) {
    UseMethod(kPm3);
    UseAtoms({{1, 0, 0, 0, kClassical}, {8}, {1, 0.5F, 0, 0}, {1, 0.5005F, 0, 0}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Errors(),
              (Lines{"Atom 3 superposes atom 4, their separate distance is 0.000500 "
                     "angstroms.  Please correct this fault"}));
}

TEST_F(Validation, MeasuresSuperposedAtomsInAngstromWhateverTheMethodWorksIn) {
    UseMethod(kCndo);
    UseAtoms({{1}, {1, 0.0009F, 0, 0}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Errors().size(), 1U);
}

TEST_F(Validation, DummiesAndAtomsAThousandthOfAnAngstromApartDoNotSuperpose) {
    UseMethod(kPm3);
    UseAtoms({{0}, {0}, {1}, {1, 0.00101F, 0, 0}});
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Errors(), Lines());
}

TEST_F(Validation, HydrogenMoleculeWithChargeTwoIsComputed) {
    UseMethod(kMndo);
    UseAtoms({{1}, {1, 0.74F, 0, 0}});
    options.nTotalCharge = 2;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nElectrons, 0);
    EXPECT_EQ(setup.Map.dFractionA, 0.0);
    EXPECT_EQ(setup.Map.dFractionB, 0.0);
    EXPECT_EQ(setup.Map.dSpinBias, 1.0);
}

TEST_F(Validation, RefusesVibrationsOfOneAtomAfterTheElectronsWereCounted) {
    UseMethod(kMndo);
    UseAtoms({{2}});
    job.nCalcKind = kVibrations;
    EXPECT_EQ(TrySetUp(), kMsgVibrationsOneAtom);
    EXPECT_EQ(OnlyError(),
              "Sorry, vibrational analysis is not available for a system with only one atom.");
    options.nTotalCharge = 3;
    EXPECT_EQ(TrySetUp(), kMsgNegativeElectrons);
}

TEST_F(Validation, ExtendedHueckelRunsNoTestOfAMethodAndEndsForWantOfOrbitals) {
    UseMethod(kExtendedHueckel);
    UseAtoms({{92}});
    EXPECT_EQ(TrySetUp(), kMsgTooManyElectrons);
    EXPECT_EQ(client.Errors().size(), 1U);
    UseAtoms({{92}});
    options.nTotalCharge = 6;
    EXPECT_EQ(TrySetUp(), 0) << "without electrons there is nothing to refuse";
    EXPECT_EQ(client.Texts(kPacketStatusLine), Lines());
}

TEST_F(Validation, WarningsComeInEveryJobAnew) {
    UseMethod(kAm1);
    UseWater();
    parameters.pNddoParams[7].dAlpha = -1;
    for (int i = 0; i < 2; ++i) {
        NewScriptedClient();
        EXPECT_EQ(TrySetUp(), 0);
        UseWater();
        EXPECT_EQ(client.Warnings().size(), 1U);
    }
}

TEST_F(Validation, ClearsWhatTheLastCalculationLeft) {
    UseMethod(kAm1);
    UseWater();
    results.Block.flTotalEnergy = 1;
    results.Orbitals.sPointGroup[0] = 'C';
    scf.nScfRuns = 3;
    scf.fResultsValid = true;
    scf.dChargeOrigin[1] = 2;
    symmetry.fPointGroupKnown = true;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(results.Block.flTotalEnergy, 0.0F);
    EXPECT_EQ(results.Orbitals.sPointGroup[0], ' ');
    EXPECT_EQ(scf.nScfRuns, -1);
    EXPECT_FALSE(scf.fResultsValid);
    EXPECT_EQ(scf.dChargeOrigin[1], 0.0);
    EXPECT_FALSE(symmetry.fPointGroupKnown);
}

TEST_F(Validation, SinglePointsAndVibrationsReportInFull) {
    for (int nKind = 0; nKind <= 8; ++nKind) {
        UseMethod(kAm1);
        UseWater();
        job.nCalcKind = nKind;
        ASSERT_EQ(TrySetUp(), 0);
        EXPECT_EQ(setup.fFinalReport, nKind == kSinglePoint || nKind == kVibrations);
    }
}

TEST_F(Validation, PumpsOnceBeforeItCountsTheElectrons) {
    UseMethod(kAm1);
    UseWater();
    options.nTotalCharge = 100;
    int nLogLines = -1;
    client.DuringPump = [&] { nLogLines = static_cast<int>(client.Log().size()); };
    EXPECT_EQ(TrySetUp(), kMsgNegativeElectrons);
    EXPECT_EQ(nLogLines, 2);
}

TEST_F(Validation, ALostClientEndsItWithoutAText) {
    UseMethod(kAm1);
    UseWater();
    client.nHangUpAfter = 1;
    link.fInSession = true;
    EXPECT_THROW(SetUpCalculation(), LinkStop);
    EXPECT_EQ(client.Errors(), Lines());
}

TEST_F(Validation, ASilentLogGetsNoLinesButTheGap) {
    UseMethod(kAm1);
    UseWater();
    link.fLogReports = false;
    EXPECT_EQ(TrySetUp(), 0);
    EXPECT_EQ(client.Log(), (Lines{"", ""}));
}

}  // namespace
}  // namespace qsolve
