#include "scf/energies.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "gradient/state.h"
#include "job/kinds.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "setup/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

constexpr double kElectronic = -30.5, kCoreEnergy = 10.5;

class Energies : public FreshState {
  protected:
    /// Hydrogen, calculated by a method, with energies of the isolated atoms.
    static void BuildHydrogen(int nMethod) {
        BareMolecule molecule = WithOrbitals(2);
        molecule.nMethod = nMethod;
        Build(molecule);
        setup.dAtomicEnergy = -450;
        setup.dHeatCorrection = 500;
    }

    static void TakeGradient(std::initializer_list<double> values) {
        gradient.pGradient.Take(values.size(), kIntake);
        std::copy(values.begin(), values.end(), gradient.pGradient.begin());
        gradient.fComputed = true;
    }
};

TEST_F(Energies, TurnsHartreeIntoKcal) {
    BuildHydrogen(kCndo);
    FinishEnergies(-1.5, 0.5);
    EXPECT_DOUBLE_EQ(scf.dElectronic, -1.5 * 627.5220032);
    EXPECT_DOUBLE_EQ(scf.dCoreRepulsion, 0.5 * 627.5220032);
    EXPECT_DOUBLE_EQ(scf.dTotalEnergy, -627.5220032);
    EXPECT_DOUBLE_EQ(scf.dBinding, -627.5220032 + 450);
    EXPECT_DOUBLE_EQ(scf.dHeatOfFormation, -627.5220032 + 500);
}

TEST_F(Energies, FillsTheResultBlock) {
    BuildHydrogen(kPm3);
    FinishEnergies(kElectronic, kCoreEnergy);
    const ResultBlock& block = results.Block;
    EXPECT_FLOAT_EQ(block.flTotalEnergy, -461.22F);
    EXPECT_FLOAT_EQ(block.flAtomicEnergy, -450);
    EXPECT_FLOAT_EQ(block.flElectronicEnergy, -703.3605F);
    EXPECT_FLOAT_EQ(block.flCoreEnergy, 242.1405F);
    EXPECT_FLOAT_EQ(block.flHeatOfFormation, 38.78F);
    EXPECT_FLOAT_EQ(block.flBindingEnergy, -11.22F);
    EXPECT_EQ(block.flRmsGradient, 0);
}

TEST_F(Energies, TurnsTheRootMeanSquareIntoAngstromButNotTheGradient) {
    BuildHydrogen(kZindo1);
    TakeGradient({3, 0, 0, 0, 0, 4});
    FinishEnergies(-1.5, 0.5);
    EXPECT_DOUBLE_EQ(gradient.pGradient[5], 4 * 627.5220032);
    EXPECT_NEAR(gradient.dRmsGradient,
                627.5220032 * 5 * std::sqrt(3.5710642983842207) / std::sqrt(6.0), 1e-9);
}

TEST_F(Energies, LeavesCappingAtomsOutOfTheSumAndInTheMean) {
    Build({.Atoms = {{1, 1}, {105 + 6, 4}}});
    TakeGradient({0, 5, 0, 100, 100, 100});
    FinishGradient(23.061);
    EXPECT_DOUBLE_EQ(gradient.dRmsGradient, 23.061 * 5 / std::sqrt(6.0));
    for (int i = 3; i < 6; ++i) EXPECT_EQ(gradient.pGradient[i], 0);
}

TEST_F(Energies, TurnsOrbitalEnergiesIntoElectronVolts) {
    BuildHydrogen(kIndo);
    results.Orbitals.vOrbitalEnergy[0] = -0.5F;
    FinishEnergies(-1.5, 0.5);
    EXPECT_FLOAT_EQ(results.Orbitals.vOrbitalEnergy[0], -13.6056975F);
    BuildHydrogen(kMndoD);
    results.Orbitals.vOrbitalEnergy[0] = -13.5F;
    FinishEnergies(-1.5, 0.5);
    EXPECT_FLOAT_EQ(results.Orbitals.vOrbitalEnergy[0], -13.5F);
}

TEST_F(Energies, InventNoGradientAndLeaveAnOldOneAsItIs) {
    BuildHydrogen(kPm3);
    TakeGradient({1, 2, 3, 4, 5, 6});
    gradient.fComputed = false;
    gradient.dRmsGradient = gradient.dGradientSquared = 9;
    FinishGradient(2.0);
    EXPECT_EQ(gradient.dRmsGradient, 0);
    EXPECT_EQ(gradient.dGradientSquared, 0);
    EXPECT_EQ(gradient.pGradient[5], 6);
}

TEST_F(Energies, OfAJobWithAKineticPartLeaveTheTotalToIt) {
    for (int nKind = 0; nKind < kKinds; ++nKind) {
        BuildHydrogen(kPm3);
        job.nCalcKind = nKind;
        results.Block.flTotalEnergy = 7;
        FinishEnergies(kElectronic, kCoreEnergy);
        const bool fOwn = nKind == kMolecularDynamics || nKind == kLangevinDynamics;
        EXPECT_FLOAT_EQ(results.Block.flTotalEnergy, fOwn ? 7.0F : -461.22F) << nKind;
        EXPECT_DOUBLE_EQ(scf.dTotalEnergy, -461.22);
    }
}

TEST_F(Energies, HaveTheRestraintsInTotalAndBindingButNotInTheHeat) {
    BuildHydrogen(kPm3);
    FinishEnergies(kElectronic, kCoreEnergy);
    const double dTotal = scf.dTotalEnergy, dBinding = scf.dBinding, dHeat = scf.dHeatOfFormation;
    for (int i = 0; i < 4; ++i) gradient.dRestraintEnergy[i] = 1.5 * (i + 1);
    FinishEnergies(kElectronic, kCoreEnergy);
    EXPECT_DOUBLE_EQ(scf.dTotalEnergy, dTotal + 15.0);
    EXPECT_DOUBLE_EQ(scf.dBinding, dBinding + 15.0);
    EXPECT_DOUBLE_EQ(scf.dHeatOfFormation, dHeat);
}

}  // namespace
}  // namespace qsolve
