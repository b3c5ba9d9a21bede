#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "gradient/state.h"
#include "job/state.h"
#include "report/report.h"
#include "scf/energies.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "setup/state.h"
#include "symmetry/state.h"
#include "tests/unit/report/report_fixture.h"

namespace qsolve {
namespace {

constexpr double kElectronic = -30.5, kCoreEnergy = 10.5;

class EnergyReport : public ReportTest {
  protected:
    /// Hydrogen, calculated by a method, with energies of the isolated atoms.
    static void BuildHydrogen(int nMethod) {
        BareMolecule molecule = WithOrbitals(2);
        molecule.nMethod = nMethod;
        Build(molecule);
        setup.dAtomicEnergy = -450;
        setup.dHeatCorrection = 500;
        setup.fFinalReport = true;
    }

    /// The end of an SCF with these energies, in the unit of the method.
    static void Finish(double dElectronic, double dCoreEnergy) {
        FinishEnergies(dElectronic, dCoreEnergy);
        ReportEnergies();
    }

    /// The log up to the list of levels.
    static Lines EnergyLines() {
        Lines lines = client.Log();
        for (std::size_t i = 0; i < lines.size(); ++i)
            if (lines[i].find("EIGENVALUES") != std::string::npos) lines.resize(i);
        return lines;
    }

    static bool Has(const std::string& sText) {
        for (const std::string& sLine : client.Log())
            if (sLine.find(sText) != std::string::npos) return true;
        return false;
    }

    static void TakeGradient(std::initializer_list<double> values) {
        gradient.pGradient.Take(values.size(), kIntake);
        std::copy(values.begin(), values.end(), gradient.pGradient.begin());
        gradient.fComputed = true;
    }
};

TEST_F(EnergyReport, HasEveryLineInItsOrder) {
    BuildHydrogen(kPm3);
    Finish(kElectronic, kCoreEnergy);
    const Lines expected{
        "\nENERGIES AND GRADIENT",
        "Total Energy                        =    -461.2200000 (kcal/mol)",
        "Total Energy                        =      -0.7349862 (a.u.)",
        "Binding Energy                      =     -11.2200000 (kcal/mol)",
        "Isolated Atomic Energy              =    -450.0000000 (kcal/mol)",
        "Electronic Energy                   =    -703.3605000 (kcal/mol)",
        "Core-Core Interaction               =     242.1405000 (kcal/mol)",
        "Heat of Formation                   =      38.7800000 (kcal/mol)",
    };
    EXPECT_EQ(EnergyLines(), expected);
    EXPECT_EQ(Status(), Lines{"E=-11.2200 Grad=0.000 Symmetry=  ?"});
}

TEST_F(EnergyReport, HasNoStatusLineWhereTheStartAloneIsTold) {
    BuildHydrogen(kPm3);
    further.Scf.nQuiet = kTellStart;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_EQ(EnergyLines().size(), 8u);
    EXPECT_EQ(Status(), Lines{});
}

TEST_F(EnergyReport, GoesOnWithLevelsPopulationsAndAtoms) {
    BuildHydrogen(kPm3);
    symmetry.fPointGroupKnown = true;
    std::memcpy(results.Orbitals.sPointGroup, "DxhX", 4);
    Finish(kElectronic, kCoreEnergy);
    const Lines log = client.Log();
    ASSERT_EQ(log.size(), 8u + 7u + 4u);
    const Lines tail(log.begin() + 8, log.begin() + 15);
    const Lines expected{
        "\nMOLECULAR POINT GROUP\n DxhX",       "\nEIGENVALUES OF THE MOLECULAR ORBITALS(eV)\n",
        "Eigenvalue:    0.000000     0.000000", "\nATOMIC ORBITAL ELECTRON POPULATIONS\n",
        "AO:            1   S  H     2   S  H", "               0.000000     0.000000",
        "\nNET CHARGES AND COORDINATES"};
    EXPECT_EQ(tail, expected);
    EXPECT_EQ(Status(), Lines{"E=-11.2200 Grad=0.000 Symmetry=DxhX"});
}

TEST_F(EnergyReport, RestraintsEnterTheTotalAndHaveTheirLines) {
    BuildHydrogen(kPm3);
    job.fRestraints = 1;
    for (int i = 0; i < 4; ++i) gradient.dRestraintEnergy[i] = 1.5 * (i + 1);
    Finish(kElectronic, kCoreEnergy);
    const Lines log = EnergyLines();
    ASSERT_EQ(log.size(), 12u);
    const Lines expected{
        "Core-Core Interaction               =     242.1405000 (kcal/mol)",
        "Tether Restraint Energy             =       1.5000000 (kcal/mol)",
        "Stretch Restraint Energy            =       3.0000000 (kcal/mol)",
        "Bend Restraint Energy               =       4.5000000 (kcal/mol)",
        "Torsion Restraint Energy            =       6.0000000 (kcal/mol)",
        "Heat of Formation                   =      38.7800000 (kcal/mol)",
    };
    EXPECT_EQ(Lines(log.begin() + 6, log.end()), expected);
    EXPECT_DOUBLE_EQ(scf.dTotalEnergy, -461.22 + 15.0);
    EXPECT_NEAR(scf.dBinding, -11.22 + 15.0, 1e-9);
    EXPECT_FLOAT_EQ(results.Block.flTetherEnergy, 1.5F);
    EXPECT_FLOAT_EQ(results.Block.flStretchEnergy, 3.0F);
    EXPECT_FLOAT_EQ(results.Block.flBendEnergy, 4.5F);
    EXPECT_FLOAT_EQ(results.Block.flTorsionEnergy, 6.0F);
}

TEST_F(EnergyReport, InventsNoGradient) {
    BuildHydrogen(kPm3);
    TakeGradient({1, 2, 3, 4, 5, 6});
    gradient.fComputed = false;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_FALSE(Has("Gradient  "));
    EXPECT_EQ(gradient.dRmsGradient, 0);
    EXPECT_EQ(results.Block.flRmsGradient, 0);
    EXPECT_EQ(gradient.pGradient[5], 6);
}

TEST_F(EnergyReport, ScalesTheGradientAndItsRootMeanSquare) {
    BuildHydrogen(kPm3);
    TakeGradient({3, 0, 0, 0, 0, 4});
    Finish(kElectronic, kCoreEnergy);
    EXPECT_DOUBLE_EQ(gradient.pGradient[0], 3 * 23.061);
    EXPECT_DOUBLE_EQ(gradient.dRmsGradient, 23.061 * 5 / std::sqrt(6.0));
    EXPECT_EQ(EnergyLines().back(),
              Print("Gradient                            = %15.7f (kcal/mol/Ang)",
                    23.061 * 5 / std::sqrt(6.0)));
    EXPECT_EQ(Status(),
              Lines{Print("E=-11.2200 Grad=%.3f Symmetry=  ?", 23.061 * 5 / std::sqrt(6.0))});
}

TEST_F(EnergyReport, SpeaksOfPotentialEnergyInDynamics) {
    for (const int nKind : {kMolecularDynamics, kLangevinDynamics, kMonteCarlo}) {
        BuildHydrogen(kPm3);
        client.Sent.clear();
        job.nCalcKind = nKind;
        results.Block.flTotalEnergy = 7;
        Finish(kElectronic, kCoreEnergy);
        EXPECT_TRUE(Has("Potential Energy                    =    -461.2200000 (kcal/mol)"));
        EXPECT_TRUE(Has("Potential Energy                    =      -0.7349862 (a.u.)"));
        EXPECT_FALSE(Has("Total Energy"));
        EXPECT_TRUE(Status().empty());
        const bool fOwnTotal = nKind != kMonteCarlo;
        EXPECT_FLOAT_EQ(results.Block.flTotalEnergy, fOwnTotal ? 7.0F : -461.22F);
    }
}

TEST_F(EnergyReport, ShortReportIsOneStatusLine) {
    BuildHydrogen(kPm3);
    setup.fFinalReport = false;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_TRUE(client.Log().empty());
    EXPECT_EQ(Status().size(), 1u);
}

TEST_F(EnergyReport, SilentLogLeavesTheStatusLine) {
    BuildHydrogen(kPm3);
    link.fLogReports = false;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_TRUE(client.Log().empty());
    EXPECT_EQ(Status().size(), 1u);
    job.nCalcKind = kOptimisation;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_EQ(Status().size(), 1u);
}

TEST_F(EnergyReport, AddsTheHalfElectronCorrectionOfOpenLevels) {
    BuildHydrogen(kPm3);
    setup.nOccupied = 2;
    setup.nDoublyOcc = 1;
    scf.dStateCorrection = -2;
    scf.dNextStateCorrection = 8;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_TRUE(Has("HE Energy Correction                =     -46.1220000 (kcal/mol)"));
    EXPECT_DOUBLE_EQ(scf.dTotalEnergy, (kElectronic + kCoreEnergy - 2) * 23.061);
    EXPECT_DOUBLE_EQ(scf.dElectronic, (kElectronic - 2) * 23.061);
    EXPECT_EQ(scf.dNextStateCorrection, 8);
}

TEST_F(EnergyReport, NamesTheCiEnergyByItsLevels) {
    BuildHydrogen(kPm3);
    scf.nCiKind = 1;
    setup.nCiConfigurations = 42;
    scf.dStateCorrection = -2;
    TakeGradient({0, 0, 0, 0, 0, 0});
    Finish(kElectronic, kCoreEnergy);
    const Lines lines = EnergyLines();
    ASSERT_EQ(lines.size(), 11u);
    EXPECT_EQ(lines[7], "CI Energy                           =     -46.1220000 (kcal/mol)");
    EXPECT_EQ(lines[8], "Number of CI Configurations         =      42");
    EXPECT_EQ(lines[10].substr(0, 8), "Gradient");

    setup.nOccupied = 2;
    scf.dStateCorrection = -2;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_TRUE(Has("CI Energy (Open Levels)             =     -46.1220000 (kcal/mol)"));
}

TEST_F(EnergyReport, ShowsANextLowestStateBesideTheLowest) {
    BuildHydrogen(kPm3);
    scf.nCiKind = 1;
    options.fNextLowestState = 1;
    setup.nCiConfigurations = 3;
    scf.dStateCorrection = 1;
    scf.dNextStateCorrection = -1;
    Finish(kElectronic, kCoreEnergy);
    const Lines expected{
        "\nNext Lowest-State Total Energy      =    -438.1590000 (kcal/mol)",
        "Lowest-State Total Energy           =    -484.2810000 (kcal/mol)",
        "Excitation Energy                   =      46.1220000 (kcal/mol)",
        "Number of CI Configurations         =       3",
        "Isolated Atomic Energy              =    -450.0000000 (kcal/mol)",
        "Electronic Energy                   =    -680.2995000 (kcal/mol)",
        "Core-Core Interaction               =     242.1405000 (kcal/mol)",
        "Heat of Formation                   =      61.8410000 (kcal/mol)",
    };
    EXPECT_EQ(EnergyLines(), expected);
    EXPECT_EQ(Status(), Lines{"E=46.1220 Grad=0.000 Symmetry=  ?"});
    EXPECT_FLOAT_EQ(results.Block.flTotalEnergy, -438.159F);

    client.Sent.clear();
    setup.fFinalReport = false;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(EnergyReport, NextLowestStateOfAHalfElectronJobHasTheUsualLines) {
    BuildHydrogen(kPm3);
    options.fNextLowestState = 1;
    Finish(kElectronic, kCoreEnergy);
    EXPECT_TRUE(Has("ENERGIES AND GRADIENT"));
    EXPECT_EQ(Status().size(), 1u);
}

}  // namespace
}  // namespace qsolve
