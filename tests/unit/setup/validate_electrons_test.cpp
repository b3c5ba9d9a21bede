#include "setup/validate_electrons.h"

#include <gtest/gtest.h>

#include <limits>

#include "job/state.h"
#include "scf/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

constexpr int kLeast = std::numeric_limits<int>::min(), kMost = std::numeric_limits<int>::max();

const char* const kStates[] = {"Singlet", "Doublet", "Triplet", "Quartet",
                               "Quintet", "Sextet",  "Septet"};
constexpr MessageId kParity[] = {kMsgSingletElectrons, kMsgDoubletElectrons, kMsgTripletElectrons,
                                 kMsgQuartetElectrons, kMsgQuintetElectrons, kMsgSextetElectrons,
                                 kMsgSeptetElectrons};

class Electrons : public JobTest {
  protected:
    /// Sets up water, whose charge leaves nElectrons of its eight.
    static int SetUpWith(int nElectrons, int nMultiplicity, bool fUnrestricted) {
        NewScriptedClient();
        UseMethod(kAm1);
        UseWater();
        options.nTotalCharge = 8 - nElectrons;
        options.nMultiplicity = nMultiplicity;
        options.nSpinTreatment = fUnrestricted;
        return TrySetUp();
    }

    static bool Logged(const std::string& sText) {
        for (const std::string& sLine : client.Log())
            if (sLine == sText) return true;
        return false;
    }
};

TEST_F(Electrons, OfEitherSpinDifferByTheMultiplicityLessOne) {
    for (int m = 1; m <= 6; ++m) {
        for (int n = 0; n <= 12; ++n) {
            const int nId = SetUpWith(n, m, true);
            if (n + 1 < m) {
                EXPECT_EQ(nId, kMsgTooFewElectrons) << n << " electrons, multiplicity " << m;
            } else if ((n - m) % 2 == 0) {
                EXPECT_EQ(nId, kParity[m - 1]) << n << " electrons, multiplicity " << m;
                EXPECT_NE(OnlyError().find("electrons; please change"), std::string::npos);
            } else if ((n + m - 1) / 2 > 6) {
                EXPECT_EQ(nId, kMsgTooManySpinElectrons) << n << ", " << m;
            } else {
                ASSERT_EQ(nId, 0) << n << " electrons, multiplicity " << m;
                EXPECT_EQ(setup.nElectronsA + setup.nElectronsB, n);
                EXPECT_EQ(setup.nElectronsA - setup.nElectronsB, m - 1);
                EXPECT_EQ(setup.Map.nOccA, setup.nElectronsA);
                EXPECT_EQ(setup.Map.nOccB, setup.nElectronsB);
                EXPECT_EQ(setup.Map.nClosedLevels, 0);
                EXPECT_TRUE(Logged(std::string(kStates[m - 1]) + " state calculation"));
            }
        }
    }
}

TEST_F(Electrons, OfARestrictedJobStandAloneOnTheMultiplicityLessOneLevels) {
    for (int m = 1; m <= 6; ++m) {
        for (int n = 0; n <= 12; ++n) {
            const int nId = SetUpWith(n, m, false);
            if (n + 1 < m) {
                EXPECT_EQ(nId, kMsgTooFewElectrons);
            } else if ((n - m) % 2 == 0) {
                EXPECT_EQ(nId, kParity[m - 1]);
            } else if ((n + m - 1) / 2 > 6) {
                EXPECT_EQ(nId, kMsgTooManyLevels);
                EXPECT_EQ(OnlyError(),
                          "The number of occupied levels is greater than the number of orbitals.");
            } else {
                ASSERT_EQ(nId, 0) << n << " electrons, multiplicity " << m;
                EXPECT_EQ(setup.nOccupied - setup.nDoublyOcc, m - 1);
                EXPECT_EQ(setup.nOccupied + setup.nDoublyOcc, n);
                EXPECT_EQ(setup.nElectronsA, 0) << "they are not told apart";
                EXPECT_EQ(setup.nElectronsB, 0);
                EXPECT_EQ(setup.Map.nOccA, setup.nOccupied);
                EXPECT_EQ(setup.Map.nOccB, setup.nOccupied);
                EXPECT_EQ(setup.Map.nClosedLevels, setup.nDoublyOcc);
                EXPECT_EQ(Logged("The half-electron approximation will be used"), m != 1);
            }
        }
    }
}

TEST_F(Electrons, OfARestrictedTripletLeaveOneDoublyOccupiedLevelFewer) {
    ASSERT_EQ(SetUpWith(8, 3, false), 0);
    EXPECT_EQ(setup.nDoublyOcc, 3);
    EXPECT_EQ(setup.nOccupied, 5);
    EXPECT_EQ(
        client.Log(),
        (Lines{"Convergence limit = 0.0100000  Iteration limit = 50", "Accelerate convergence = NO",
               "RHF Calculation:\n", "Triplet state calculation",
               "The half-electron approximation will be used", "Number of electrons = 8",
               "Number of Double Occupied Levels = 3", "Number of Single Occupied Levels = 2",
               "Charge on the system = 0  Total number of orbitals = 6", "", ""}));
}

TEST_F(Electrons, OfAnUnrestrictedQuartetAreLoggedBySpin) {
    ASSERT_EQ(SetUpWith(7, 4, true), 0);
    EXPECT_EQ(
        client.Log(),
        (Lines{"Convergence limit = 0.0100000  Iteration limit = 50", "Accelerate convergence = NO",
               "UHF Calculation:\n", "Quartet state calculation", "Number of electrons = 7",
               "in which\nNumber of Alpha Electrons = 5\nNumber of Beta Electrons = 2",
               "Charge on the system = 1  Total number of orbitals = 6", "", ""}));
}

TEST_F(Electrons, OfASeptetAreCalledASextetWhenRestricted) {
    for (const int nSpin : {0, 1}) {
        NewScriptedClient();
        UseMethod(kAm1);
        UseAtoms({{6}, {6, 1.5F, 0, 0}});
        options.nMultiplicity = 7;
        options.nSpinTreatment = nSpin;
        ASSERT_EQ(TrySetUp(), 0);
        EXPECT_TRUE(Logged(nSpin ? "Septet state calculation" : "Sextet state calculation"));
        options.nTotalCharge = 1;
        EXPECT_EQ(TrySetUp(), kMsgSeptetElectrons);
        EXPECT_EQ(OnlyError(),
                  "A septet state must have an even number of electrons; please change the total "
                  "charge or the spin multiplicity.");
        options.nTotalCharge = 0;
    }
}

TEST_F(Electrons, HaveNoMultiplicityAboveSeven) {
    for (const int nSpin : {0, 1}) {
        NewScriptedClient();
        UseMethod(kAm1);
        UseAtoms({{6}, {6, 1.5F, 0, 0}, {1, 3, 0, 0}});
        options.nMultiplicity = 8;
        options.nSpinTreatment = nSpin;
        EXPECT_EQ(TrySetUp(), kMsgMultiplicityTooHigh);
        EXPECT_EQ(OnlyError(),
                  "Sorry, this spin multiplicity is not available; please choose 1 to 7, or 1 for "
                  "the next lowest state.");
    }
}

TEST_F(Electrons, HaveNoMultiplicityBelowOne) {
    for (const int nMultiplicity : {-1, -7, kLeast}) {
        for (const bool fUnrestricted : {false, true}) {
            EXPECT_EQ(SetUpWith(8, nMultiplicity, fUnrestricted), kMsgMultiplicityZero);
            EXPECT_EQ(OnlyError(), "The spin multiplicity may not be less than 1.");
        }
    }
}

TEST_F(Electrons, TooFewForTheMultiplicityAreRefusedBeforeItsParity) {
    EXPECT_EQ(SetUpWith(2, 5, false), kMsgTooFewElectrons);
    EXPECT_EQ(OnlyError(), "There are too few electrons for the spin multiplicity.");
    EXPECT_EQ(SetUpWith(8, kMost, false), kMsgTooFewElectrons);
}

TEST_F(Electrons, FewerThanNoneAreRefused) {
    EXPECT_EQ(SetUpWith(-1, 1, false), kMsgNegativeElectrons);
    EXPECT_EQ(OnlyError(),
              "The number of electrons is less than zero; the total charge is too high.");
    options.nTotalCharge = kMost;
    options.nMultiplicity = 1;
    EXPECT_EQ(TrySetUp(), kMsgNegativeElectrons);
}

TEST_F(Electrons, MoreThanTheOrbitalsHoldAreRefused) {
    EXPECT_EQ(SetUpWith(12, 1, false), 0);
    EXPECT_EQ(SetUpWith(13, 2, false), kMsgTooManyElectrons);
    EXPECT_EQ(OnlyError(), "There are too many electrons for the number of orbitals.");
    options.nTotalCharge = kLeast;
    options.nMultiplicity = 1;
    EXPECT_EQ(TrySetUp(), kMsgTooManyElectrons);
}

TEST_F(Electrons, OfOneSpinMayNotOutnumberTheOrbitals) {
    UseMethod(kAm1);
    UseAtoms({{2}});
    options.nSpinTreatment = 1;
    options.nMultiplicity = 3;
    EXPECT_EQ(TrySetUp(), kMsgTooManySpinElectrons);
    EXPECT_EQ(OnlyError(),
              "The number of Alpha electrons (2) is greater than the number of orbitals (1).");
}

TEST_F(Electrons, CountCappingAtomsWithSevenAndClassicalOnesNotAtAll) {
    UseMethod(kAm1);
    UseAtoms({{6},
              {1, 1, 0, 0},
              {1, 0, 1, 0},
              {1, 0, 0, 1},
              {6, -1.5F, 0, 0, kCapping},
              {8, 9, 9, 9, kClassical}});
    ASSERT_EQ(TrySetUp(), 0);
    EXPECT_EQ(setup.nElectrons, 4 + 3 + 7);
    EXPECT_EQ(setup.nOrbitals, 4 + 3 + 4);
}

TEST_F(Electrons, NextLowestStateNeedsRestrictedSinglets) {
    options.fNextLowestState = 1;
    EXPECT_EQ(SetUpWith(8, 1, true), kMsgNextLowestUhf);
    EXPECT_EQ(OnlyError(),
              "Sorry, the next lowest state can not be used with UHF in the current Molarium.");
    EXPECT_EQ(SetUpWith(8, 3, false), kMsgMultiplicityTooHigh);
    EXPECT_EQ(SetUpWith(7, 1, false), kMsgSingletElectrons);
    EXPECT_EQ(OnlyError(),
              "A singlet state must have an even number of electrons; please change the total "
              "charge or the spin multiplicity.");
    EXPECT_EQ(SetUpWith(8, -1, false), kMsgMultiplicityZero);
}

TEST_F(Electrons, NextLowestStateNeedsTwoOfThem) {
    options.fNextLowestState = 1;
    EXPECT_EQ(SetUpWith(0, 1, false), kMsgNegativeDoubleLevels);
    EXPECT_EQ(OnlyError(), "The number of double occupied levels is less than zero.");
    EXPECT_EQ(SetUpWith(2, 1, false), 0);
}

TEST_F(Electrons, NextLowestStateHasTwoOpenLevels) {
    options.fNextLowestState = 1;
    ASSERT_EQ(SetUpWith(8, 1, false), 0);
    EXPECT_EQ(setup.nDoublyOcc, 3);
    EXPECT_EQ(setup.nOccupied, 5);
    EXPECT_TRUE(Logged("The next lowest singlet state calculation"));
    EXPECT_TRUE(Logged("The half-electron approximation will be used"));
    EXPECT_FALSE(Logged("Singlet state calculation"));
}

TEST_F(Electrons, ConfigurationInteractionNeedsRestrictedLevels) {
    options.nCiKind = 1;
    EXPECT_EQ(SetUpWith(8, 1, true), kMsgCiUhf);
    EXPECT_EQ(OnlyError(),
              "Sorry, configuration interaction can not be used with UHF in the current "
              "Molarium.");
    options.nCiSelection = options.nCiOccupied = options.nCiUnoccupied = 1;
    ASSERT_EQ(SetUpWith(8, 3, false), 0);
    EXPECT_TRUE(setup.fCiActive);
    EXPECT_TRUE(Logged("Configuration interaction will be used"));
    EXPECT_FALSE(Logged("The half-electron approximation will be used"));
}

TEST_F(Electrons, ConfigurationInteractionHasNoGradient) {
    const std::string sEnd = " not available in the current version of Molarium.";
    const std::string sCi = " with configuration interaction";
    options.nCiKind = options.nCiSelection = options.nCiOccupied = 1;
    job.nCalcKind = kOptimisation;
    EXPECT_EQ(SetUpWith(8, 1, false), kMsgOptimizeCi);
    EXPECT_EQ(OnlyError(), "Sorry, geometry optimization" + sCi + " is" + sEnd);
    for (const int nKind : {kMolecularDynamics, kLangevinDynamics, kMonteCarlo}) {
        job.nCalcKind = nKind;
        EXPECT_EQ(SetUpWith(8, 1, false), kMsgDynamicsCi);
        EXPECT_EQ(OnlyError(), "Sorry, molecular dynamics, Langevin dynamics and Monte Carlo" +
                                   sCi + " are" + sEnd);
    }
    job.nCalcKind = kVibrations;
    EXPECT_EQ(SetUpWith(8, 1, false), kMsgVibrationsCi);
    EXPECT_EQ(OnlyError(), "Sorry, vibrational analysis" + sCi + " is" + sEnd);
    for (const int nKind : {kSinglePoint, kTransitionState, kSynchronousTransit}) {
        job.nCalcKind = nKind;
        EXPECT_EQ(SetUpWith(8, 1, false), 0);
    }
}

TEST_F(Electrons, OnOpenLevelsMakeAnOptimisedGeometryDoubtful) {
    job.nCalcKind = kOptimisation;
    EXPECT_EQ(SetUpWith(8, 3, false), 0);
    EXPECT_EQ(client.Warnings(),
              Lines{"The optimized geometry may not correspond to the geometry with the minimum "
                    "energy because of the half electron approximation."});
    further.Scf = {.fGuarded = 1, .fStateGradient = 1};  // the gradient of the energy is asked for
    EXPECT_EQ(SetUpWith(8, 3, false), 0);
    EXPECT_EQ(client.Warnings(), Lines());
    further.Scf.fGuarded = 0;
    EXPECT_EQ(SetUpWith(8, 3, false), 0);
    EXPECT_EQ(client.Warnings().size(), 1u);
    EXPECT_EQ(SetUpWith(8, 1, false), 0);
    EXPECT_EQ(client.Warnings(), Lines());
    EXPECT_EQ(SetUpWith(8, 3, true), 0);
    EXPECT_EQ(client.Warnings(), Lines());
}

TEST_F(Electrons, ImpossibleCountsOfLevelsAreRefusedEvenIfNoMultiplicityLeadsThere) {
    setup.nOrbitals = 6;
    setup.nElectrons = 2;
    EXPECT_THROW(FillUnrestrictedLevels(5), Unwinding);
    EXPECT_EQ(OnlyError(), "The number of Beta electrons is less than zero.");
    NewScriptedClient();
    EXPECT_THROW(FillRestrictedLevels(1), Unwinding);
    EXPECT_EQ(OnlyError(),
              "The number of open levels doesn't match the number of electrons: one is even and "
              "the other is odd.");
    NewScriptedClient();
    EXPECT_THROW(FillRestrictedLevels(4), Unwinding);
    EXPECT_EQ(OnlyError(), "The number of double occupied levels is less than zero.");
}

TEST_F(Electrons, SharesOfTheFirstDensityFollowTheCounts) {
    const auto shares = [](int nA, int nB) {
        setup.Map.nOccA = nA;
        setup.Map.nOccB = nB;
        SetGuessFractions();
        return setup.Map.dFractionA;
    };
    EXPECT_EQ(shares(0, 0), 0.0);
    EXPECT_EQ(setup.Map.dFractionB, 0.0);
    EXPECT_DOUBLE_EQ(shares(3, 1), 0.75);
    EXPECT_DOUBLE_EQ(setup.Map.dFractionB, 0.25);
    EXPECT_EQ(shares(4, 0), 1.0);
    EXPECT_EQ(setup.Map.dFractionB, 0.5) << "no share of beta becomes a half";
    EXPECT_EQ(setup.Map.dSpinBias, 1.0);
    EXPECT_EQ(shares(2, 2), 0.5);
    EXPECT_EQ(setup.Map.dSpinBias, 1.0) << "restricted";
    options.nSpinTreatment = 1;
    shares(2, 2);
    EXPECT_EQ(setup.Map.dSpinBias, 1.1);
    shares(3, 2);
    EXPECT_EQ(setup.Map.dSpinBias, 1.0);
    shares(0, 0);
    EXPECT_EQ(setup.Map.dSpinBias, 1.0);
}

}  // namespace
}  // namespace qsolve
