#include <gtest/gtest.h>

#include "job/state.h"
#include "session/job_arrays.h"
#include "session/session.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Retention : public FreshState {
  protected:
    Retention() {
        NewScriptedClient();
        session.fResultsExist = true;
        system.pAtoms.Take(3, kIntake);
        system.nAtoms = 3;
        system.pRestraints[kBend].Take(1, kRestraints);
        gradient.pGradient.Take(9, kIntake);
        parameters.pNddoParams.Take(kRows, kIntake);
        setup.vZeta1.Take(6, kSetUp);
        scf.mDensityT.Take(36, kSetUp);
        scf.mDensityB.Take(36, kSetUp);
        scf.fResultsValid = true;
        vibrations.pHessian.Take(81, kWork);
        results.Modes.Records.Take(9, kWork);
    }
};

TEST_F(Retention, FirstCallOfAProcessFreesNothing) {
    session.fResultsExist = false;
    FreeSessionArrays();
    EXPECT_TRUE(session.fResultsExist);
    EXPECT_TRUE(system.pAtoms);
    EXPECT_TRUE(scf.mDensityT);
}

TEST_F(Retention, AnOrdinaryJobFreesMoleculeAndCalculationButNotTheTables) {
    FreeSessionArrays();
    EXPECT_FALSE(system.pAtoms);
    EXPECT_EQ(system.nAtoms, 0);
    EXPECT_FALSE(system.pRestraints[kBend]);
    EXPECT_FALSE(gradient.pGradient);
    EXPECT_FALSE(setup.vZeta1);
    EXPECT_FALSE(scf.mDensityT);
    EXPECT_FALSE(scf.mDensityB);
    EXPECT_FALSE(scf.fResultsValid);
    EXPECT_TRUE(parameters.pNddoParams);
}

TEST_F(Retention, WhatSetUpTakesIsFreedInOneGo) {
    system.pCoords.Take(9, kSetUp);
    algebra.vEigenWork.Take(30, kSetUp);
    integrals.pIntegrals.Take(36, kSetUp);
    results.Orbitals.vOccupancy.Take(6, kSetUp);
    results.Block.flTotalEnergy = 1.0F;
    const std::size_t nHeld = memory.nBytesHeld;
    FreeCalculation();
    EXPECT_LT(memory.nBytesHeld, nHeld);
    EXPECT_FALSE(system.pCoords || algebra.vEigenWork || integrals.pIntegrals ||
                 results.Orbitals.vOccupancy || gradient.pGradient);
    EXPECT_EQ(results.Block.flTotalEnergy, 0.0F);
    EXPECT_TRUE(system.pAtoms);
    EXPECT_TRUE(vibrations.pHessian);
}

TEST_F(Retention, VibrationsOnTheStoredMatrixKeepAllButTheMolecule) {
    job.nCalcKind = kVibrations;
    options.fComputeForceMatrix = 0;
    FreeSessionArrays();
    EXPECT_FALSE(system.pAtoms);
    EXPECT_FALSE(scf.fResultsValid);  // of no molecule
    EXPECT_TRUE(scf.mDensityT);
    EXPECT_TRUE(vibrations.pHessian);
}

TEST_F(Retention, ForceMatrixOfVibrationsIsFreedForAnotherKindOnly) {
    session.nPrevCalcKind = job.nCalcKind = kVibrations;
    options.fComputeForceMatrix = 1;
    FreeSessionArrays();
    EXPECT_TRUE(vibrations.pHessian);
    job.nCalcKind = kSinglePoint;
    FreeSessionArrays();
    EXPECT_FALSE(vibrations.pHessian);
}

TEST_F(Retention, SearchAfterSearchKeepsTheMatrixUnlessItIsToBeComputed) {
    for (const int nKind : {kTransitionState, kSynchronousTransit}) {
        vibrations.pHessian.Take(81, kWork);
        results.Modes.Records.Take(1, kWork);
        session.nPrevCalcKind = nKind;
        job.nCalcKind = kTransitionState;
        options.fComputeHessian = 0;
        FreeSessionArrays();
        EXPECT_TRUE(vibrations.pHessian) << nKind;
        EXPECT_FALSE(results.Modes.Records) << nKind;
        options.fComputeHessian = 1;
        FreeSessionArrays();
        EXPECT_FALSE(vibrations.pHessian) << nKind;
    }
}

TEST_F(Retention, SearchesLeaveNoMatrixToOtherKinds) {
    session.nPrevCalcKind = kTransitionState;
    job.nCalcKind = kVibrations;
    options.fComputeForceMatrix = 1;
    FreeSessionArrays();
    EXPECT_FALSE(vibrations.pHessian);
}

TEST_F(Retention, OtherKindsLeaveAnOlderMatrixAlone) {
    session.nPrevCalcKind = kSinglePoint;
    FreeSessionArrays();
    EXPECT_TRUE(vibrations.pHessian);
}

TEST_F(Retention, ClearingFreesEveryArrayOfACalculation) {
    ClearSessionPointers();
    EXPECT_FALSE(system.pAtoms);
    EXPECT_FALSE(scf.mDensityT);
    EXPECT_FALSE(vibrations.pHessian);
    EXPECT_TRUE(parameters.pNddoParams);
}

}  // namespace
}  // namespace qsolve
