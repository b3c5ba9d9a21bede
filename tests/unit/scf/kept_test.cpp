#include "scf/kept.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "job/state.h"
#include "link/memory.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// A session that has left the density of water, by AM1 or unrestricted by CNDO, and one that may
/// follow it.
class KeptDensity : public FreshState, public testing::WithParamInterface<int> {
  protected:
    KeptDensity() {
        Start(kLeaveDensity);
        double d = 0.0;
        for (Array<double>* m : {&scf.mDensityT, &scf.mDensityA, &scf.mDensityB})
            for (double& element : *m) element = d += 0.01;
        left = Densities();
        KeepDensity(true);
        Start(kFollowDensity);
    }
    ~KeptDensity() override {
        further.Scf.nKeepDensity = kDropDensity;
        ForgetUnwantedDensity();
        memory.nFailAt = -1;
    }

    static void Start(DensityUse nWish) {
        JobScript script =
            Molecule(GetParam(), {{8, 0, 0, 0.1}, {1, 0.9, 0.2, 0}, {1, -0.3, 0.9, 0}});
        script.Options.nSpinTreatment = GetParam() == kCndo;
        SetUpJob(script);
        further.Scf.nKeepDensity = nWish;
    }
    static std::vector<double> Densities() {
        std::vector<double> all;
        for (const Array<double>* m : {&scf.mDensityT, &scf.mDensityA, &scf.mDensityB})
            all.insert(all.end(), m->begin(), m->end());
        return all;
    }
    /// Whether it is taken with an atom moved, Angstrom; the atom is put back.
    static bool IsTakenMoved(int nAtom, double x, double y, double z) {
        const double dUnit = UsesAtomicUnits(system.MethodId) ? 1.889726 : 1.0;
        const std::vector<double> places(system.pCoords.begin(), system.pCoords.end());
        double* p = system.pCoords.Data() + 3 * nAtom;
        p[0] += x * dUnit;
        p[1] += y * dUnit;
        p[2] += z * dUnit;
        const bool fTaken = TakeKeptDensity();
        std::copy(places.begin(), places.end(), system.pCoords.begin());
        return fTaken;
    }

    std::vector<double> left;
};

TEST_P(KeptDensity, IsTakenToTheLastBit) {
    ASSERT_NE(Densities(), left);
    EXPECT_TRUE(TakeKeptDensity());
    EXPECT_EQ(Densities(), left);
    EXPECT_TRUE(TakeKeptDensity()) << "once more";
}

TEST_P(KeptDensity, IsTakenWithinHalfAnAngstromOfEachAtom) {
    for (int nAtom = 0; nAtom < 3; ++nAtom) {
        for (const double dSign : {1.0, -1.0}) {
            const double dIn = 0.499 * dSign, dOut = 0.501 * dSign;
            EXPECT_TRUE(IsTakenMoved(nAtom, dIn, 0, 0));
            EXPECT_TRUE(IsTakenMoved(nAtom, 0, dIn, 0));
            EXPECT_TRUE(IsTakenMoved(nAtom, 0, 0, dIn));
            EXPECT_FALSE(IsTakenMoved(nAtom, dOut, 0, 0));
            EXPECT_FALSE(IsTakenMoved(nAtom, 0, dOut, 0));
            EXPECT_FALSE(IsTakenMoved(nAtom, 0, 0, dOut));
            // In a diagonal, 0.288 * sqrt(3) is 0.4988, and 0.289 * sqrt(3) is 0.5006.
            EXPECT_TRUE(IsTakenMoved(nAtom, 0.288, 0.288 * dSign, -0.288));
            EXPECT_FALSE(IsTakenMoved(nAtom, -0.289, 0.289, 0.289 * dSign));
        }
        EXPECT_FALSE(IsTakenMoved(nAtom, std::nan(""), 0, 0));
    }
}

TEST_P(KeptDensity, IsOfOneCalculationAlone) {
    for (int* p : {&options.nTotalCharge, &options.nMultiplicity, &options.nSpinTreatment,
                   &options.nCiKind, &options.fNextLowestState, &setup.nOrbitals, &setup.nElectrons,
                   &setup.nOccupied, &setup.nDoublyOcc, &system.pAtoms[2].nAtomicNumber}) {
        ++*p;
        EXPECT_FALSE(TakeKeptDensity());
        --*p;
        EXPECT_TRUE(TakeKeptDensity());
    }
    --system.nSelected;
    EXPECT_FALSE(TakeKeptDensity());
}

TEST_P(KeptDensity, OfAnotherMethodWithTheSameUnitIsNotTaken) {
    system.MethodId = GetParam() == kAm1 ? kPm3 : kIndo;
    EXPECT_FALSE(TakeKeptDensity());
}

TEST_P(KeptDensity, IsTakenByThoseWhoAskAlone) {
    for (const DensityUse nWish : {kDropDensity, kLeaveDensity}) {
        further.Scf.nKeepDensity = nWish;
        EXPECT_FALSE(TakeKeptDensity());
    }
    further.Scf.nKeepDensity = kFollowDensity;
    ForgetUnwantedDensity();
    EXPECT_TRUE(TakeKeptDensity()) << "it may still be followed";
    further.Scf.nKeepDensity = kDropDensity;
    KeepDensity(false);
    further.Scf.nKeepDensity = kFollowDensity;
    EXPECT_TRUE(TakeKeptDensity()) << "who does not ask changes nothing";
    further.Scf.nKeepDensity = kLeaveDensity;
    ForgetUnwantedDensity();
    further.Scf.nKeepDensity = kFollowDensity;
    EXPECT_FALSE(TakeKeptDensity());
}

TEST_P(KeptDensity, IsForgottenWhereTheScfHasNotConverged) {
    KeepDensity(false);
    EXPECT_FALSE(TakeKeptDensity());
}

TEST_P(KeptDensity, IsForgottenWithoutMemoryForTheNext) {
    further.Scf.nKeepDensity = kLeaveDensity;
    ForgetUnwantedDensity();
    further.Scf.nKeepDensity = kFollowDensity;
    const int nArrays = GetParam() == kCndo ? 4 : 3;  // densities, of beta too, and atoms
    for (int nFail = 0; nFail < nArrays; ++nFail) {
        memory = MemoryState{.nFailAt = nFail, .nBytesHeld = memory.nBytesHeld};
        KeepDensity(true);
        EXPECT_FALSE(TakeKeptDensity()) << nFail;
    }
    memory = MemoryState{.nBytesHeld = memory.nBytesHeld};
    KeepDensity(true);
    EXPECT_TRUE(TakeKeptDensity());
}

INSTANTIATE_TEST_SUITE_P(Methods, KeptDensity, testing::Values(kAm1, kCndo));

}  // namespace
}  // namespace qsolve
