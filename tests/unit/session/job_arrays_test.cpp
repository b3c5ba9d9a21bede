#include "session/job_arrays.h"

#include <gtest/gtest.h>

#include <limits>

#include "algebra/state.h"
#include "gradient/state.h"
#include "integrals/state.h"
#include "job/state.h"
#include "properties/state.h"
#include "scf/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

/// Method, DIIS, and how the electrons are treated.
enum Treatment { kRhf, kUhf, kRhfCi };
using Combination = std::tuple<int, int, Treatment>;

class OwnerList : public JobTest, public testing::WithParamInterface<Combination> {
  protected:
    OwnerList() {
        UseMethod(std::get<0>(GetParam()));
        UseWater();
        options.fDiis = std::get<1>(GetParam());
        options.nSpinTreatment = std::get<2>(GetParam()) == kUhf;
        options.nCiKind = std::get<2>(GetParam()) == kRhfCi;
        options.nCiSelection = options.nCiOccupied = options.nCiUnoccupied = 1;
    }
};

/// Water has N = 6 orbitals and three atoms, one of them with p orbitals.
constexpr std::size_t kN = 6;

TEST_P(OwnerList, HoldsEveryArrayInItsSize) {
    ASSERT_EQ(TrySetUp(), 0);
    const bool fUhf = options.nSpinTreatment == 1, fDiis = options.fDiis == 1;
    const bool fNddo = FamilyOf(system.MethodId) == Family::kNddo;
    const std::size_t nBeta = fUhf ? 1 : 0, nSquare = kN * kN, nValues = fUhf ? 2 * kN : kN;

    EXPECT_EQ(setup.vSpHybrid.Size(), 210U);
    EXPECT_EQ(setup.vPdHybrid.Size(), 210U);
    for (const Array<int>* v :
         {&setup.Map.pFirstOrbital, &setup.Map.pLastSpOrbital, &setup.Map.pLastOrbital})
        EXPECT_EQ(v->Size(), 3U);
    const OrbitalResults& orbitals = results.Orbitals;
    EXPECT_EQ(orbitals.nOrbitalValues, static_cast<int>(nValues));
    EXPECT_EQ(orbitals.vOrbitalEnergy.Size(), nValues);
    EXPECT_EQ(orbitals.vOccupancy.Size(), nValues);
    EXPECT_EQ(orbitals.vOrbitalOrder.Size(), nValues);
    EXPECT_EQ(orbitals.vPopulation.Size(), nValues);
    EXPECT_EQ(orbitals.sSymmetryLabel.Size(), nValues);
    EXPECT_EQ(orbitals.vSymmetryIndex.Size(), nValues);

    for (const Array<double>* v :
         {&setup.vZeta1, &setup.vZeta2, &setup.vCoef1, &setup.vCoef2, &setup.vOrbitalEnergy0,
          &scf.vEnergyA, &scf.vLevelA, &scf.vOrbitalScratch, &scf.vDiagOlderA, &scf.vDiagWork})
        EXPECT_EQ(v->Size(), kN);
    for (const Array<int>* v : {&setup.vOrbitalAtom, &setup.vOrbitalType, &setup.vOrbitalShell})
        EXPECT_EQ(v->Size(), kN);
    EXPECT_EQ(algebra.vEigenWork.Size(), 5 * kN);

    for (const Array<double>* m : {&scf.mFockA, &scf.mVectorsA, &scf.mSquareWork, &scf.mCore,
                                   &scf.mDensityA, &scf.mDensityT, &scf.mDensityPrevA})
        EXPECT_EQ(m->Size(), nSquare);
    for (const Array<double>* m : {&scf.mFockB, &scf.mVectorsB, &scf.mDensityPrevB})
        EXPECT_EQ(m->Size(), nBeta * nSquare);
    for (const Array<double>* v : {&scf.vEnergyB, &scf.vLevelB, &scf.vDiagOlderB})
        EXPECT_EQ(v->Size(), nBeta * kN);
    EXPECT_EQ(scf.mDensityB.Size(), fUhf || options.nCiKind != 0 ? nSquare : 0U);
    for (const Array<double>* m : {&scf.mDiisErrorA, &scf.mDiisFockA})
        EXPECT_EQ(m->Size(), fDiis ? 5 * nSquare : 0U);
    for (const Array<double>* m : {&scf.mDiisErrorB, &scf.mDiisFockB})
        EXPECT_EQ(m->Size(), fDiis ? 5 * nBeta * nSquare : 0U);

    EXPECT_EQ(integrals.vCoreDiagonal.Size(), fNddo ? 0U : kN);
    // Two hydrogens among each other, both with the oxygen, both ways round.
    EXPECT_EQ(integrals.pIntegrals.Size(), fNddo ? 2U * 1U + 2U * 2U * 10U : nSquare);
    EXPECT_EQ(integrals.pPairIndex.Size(), fNddo ? 9U : 0U);
    EXPECT_EQ(integrals.vAtomScratch1.Size(), fNddo ? 3U : 0U);
    EXPECT_EQ(integrals.vAtomScratch2.Size(), fNddo ? 3U : 0U);
    EXPECT_EQ(setup.Map.pOrbitalU.Size(), fNddo ? kN : 0U);
    EXPECT_EQ(setup.Map.pGuessDensity.Size(), fNddo ? kN : 0U);
    EXPECT_EQ(scf.pWork.Size() * sizeof(double), (32 * kN + 1 + (fNddo ? 3U : 0U)) * 16);
    EXPECT_EQ(system.pCoords.Size(), 9U);
    EXPECT_EQ(gradient.pGradient.Size(), 9U);
    EXPECT_EQ(properties.vCharge.Size(), 3U);
}

TEST_P(OwnerList, IsRememberedWithTheArrays) {
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(scf.nOrbitals, 6);
    EXPECT_EQ(scf.nSpinTreatment, options.nSpinTreatment);
    EXPECT_EQ(scf.nCiKind, options.nCiKind);
    EXPECT_EQ(scf.fDiis, options.fDiis == 1);
    EXPECT_EQ(session.nPrevOrbitals, 6);
}

INSTANTIATE_TEST_SUITE_P(Water, OwnerList,
                         testing::Combine(testing::Range(1, 10), testing::Values(0, 1),
                                          testing::Values(kRhf, kUhf, kRhfCi)));

class JobArrays : public JobTest {};

TEST_F(JobArrays, MatricesOfVectorsHaveASpareColumnForOddN) {
    UseMethod(kAm1);
    UseAtoms({{9}, {1, 1, 0, 0}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(scf.mFockA.Size(), 30U);
    EXPECT_EQ(scf.mVectorsA.Size(), 30U);
    EXPECT_EQ(scf.mSquareWork.Size(), 30U);
    EXPECT_EQ(scf.mCore.Size(), 25U);
}

TEST_F(JobArrays, ScratchGrowsWithHalfTheOrbitalsFromSixtyFourOn) {
    UseMethod(kAm1);
    std::vector<TestAtom> atoms;
    for (int i = 0; i < 17; ++i) atoms.push_back({i ? 6 : 1, 2.0F * static_cast<float>(i), 0, 0});
    UseAtoms(atoms);
    options.nMultiplicity = 2;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nOrbitals, 65);
    EXPECT_EQ(scf.pWork.Size() * sizeof(double), (33U * 65U + 17U + 1U) * 16U);
}

TEST_F(JobArrays, WithoutOrbitalsThereAreNoMatrices) {
    UseMethod(kExtendedHueckel);
    UseAtoms({{1}});
    options.nTotalCharge = 1;
    options.fDiis = 1;
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nOrbitals, 0);
    EXPECT_EQ(session.nPrevOrbitals, 0);
    EXPECT_FALSE(scf.mCore);
    EXPECT_FALSE(scf.mDiisErrorA);
    EXPECT_FALSE(integrals.pIntegrals);
    EXPECT_EQ(system.pCoords.Size(), 3U);
    EXPECT_FALSE(gradient.pGradient);
}

TEST_F(JobArrays, CoordinatesOfAllAtomsAreInTheWorkingUnit) {
    UseMethod(kCndo);
    UseAtoms({{1, 1, 2, 3}, {8, 4, 5, 6, kClassical}, {1, 7, 8, 9}});
    ASSERT_EQ(TrySetUp(), 0);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(system.pCoords[i], 1.889726 * (i + 1), 1e-5);
    EXPECT_EQ(system.pCoords[8], static_cast<double>(9.0F * 1.889726F)) << "a float's digits";
    EXPECT_EQ(system.pAtoms[2].flZ, 9.0F) << "the records stay as they came";
}

TEST(TwoCentreStore, CountsTheProductsOfEveryOrderedPairOfAtoms) {
    const int nProducts[] = {1, 10, 45};
    for (int h = 0; h <= 3; ++h)
        for (int p = 0; p <= 3; ++p)
            for (int d = 0; d <= 3; ++d) {
                if (h + p + d < 2) continue;
                std::vector<int> atoms;
                for (int i = 0; i < h + p + d; ++i)
                    atoms.push_back(nProducts[i < h ? 0 : i < h + p ? 1 : 2]);
                std::size_t nSum = 0;
                for (std::size_t i = 0; i < atoms.size(); ++i)
                    for (std::size_t j = 0; j < atoms.size(); ++j)
                        if (i != j) nSum += static_cast<std::size_t>(atoms[i] * atoms[j]);
                EXPECT_EQ(TwoCentreSize(h + p + d, p, d), nSum) << h << " " << p << " " << d;
            }
    for (const int d : {0, 1}) EXPECT_EQ(TwoCentreSize(1, 0, d), 100U);
}

TEST(TwoCentreStore, StopsAtTheLargestSize) {
    constexpr int kMost = std::numeric_limits<int>::max();
    EXPECT_EQ(TwoCentreSize(100000, 100000, 0), 9999900000U * 100U) << "beyond 32 bits";
    EXPECT_EQ(TwoCentreSize(kMost, 0, kMost), std::numeric_limits<std::size_t>::max());
}

TEST_F(JobArrays, AStoreBeyondAllMemoryIsAFailedAllocation) {
    memory.nFailAt = -1;
    EXPECT_THROW(integrals.pIntegrals.Take(TwoCentreSize(2147483647, 0, 2147483647), kSetUp),
                 Unwinding);
    EXPECT_EQ(OnlyError(),
              "The molecule selected for calculation is too large and has consumed all available "
              "memory.");
}

}  // namespace
}  // namespace qsolve
