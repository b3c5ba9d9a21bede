#include "setup/validate_elements.h"

#include <gtest/gtest.h>

#include "job/state.h"
#include "tests/support/told_text.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {
namespace {

class Elements : public JobTest {
  protected:
    /// What CheckElements says of hydrogen with one more atom: the id of the refusal, or 0.
    static int Check(int nMethod, int nElement, int nState = kSelected) {
        NewScriptedClient();
        system.MethodId = nMethod;
        UseAtoms({{1}, {nElement, 1, 0, 0, nState}});
        try {
            CheckElements();
        } catch (const Unwinding& unwinding) {
            return unwinding.nId;
        }
        return 0;
    }
};

TEST_F(Elements, EndAtXenonForCndoIndoAndZindo) {
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS}) {
        for (const int nState : {kSelected, kClassical, kCapping}) {
            EXPECT_EQ(Check(nMethod, 54, nState), 0);
            EXPECT_EQ(Check(nMethod, 55, nState), kMsgElementTooHigh);
        }
    }
    EXPECT_EQ(OnlyError(),
              "Sorry, the element with atomic number 55 is not available in the current method, "
              "which ends at atomic number 54; please switch to another method.");
}

TEST_F(Elements, EndWithTheTablesForTheNddoMethods) {
    for (const int nMethod : {kMindo3, kMndo, kAm1, kPm3, kMndoD}) {
        EXPECT_EQ(Check(nMethod, 105), 0);
        EXPECT_EQ(Check(nMethod, 106), kMsgElementTooHigh);
        EXPECT_EQ(Check(nMethod, 105, kClassical), 0);
        EXPECT_EQ(Check(nMethod, 88, kCapping), 0);
        EXPECT_EQ(Check(nMethod, 89, kCapping), kMsgElementTooHigh) << "no orbitals in the row";
    }
}

TEST_F(Elements, OfTheTransitionAreRefusedByCndoIndoAndMindo3) {
    for (const int nMethod : {kCndo, kIndo, kMindo3}) {
        for (const int nElement : {21, 29, 39, 47})
            for (const int nState : {kSelected, kClassical, kCapping})
                EXPECT_EQ(Check(nMethod, nElement, nState), kMsgTransitionMetal);
        for (const int nElement : {20, 30, 38, 48}) EXPECT_EQ(Check(nMethod, nElement), 0);
    }
    EXPECT_EQ(Check(kCndo, 26), kMsgTransitionMetal);
    EXPECT_EQ(OnlyError(),
              "Sorry, the current method that you have chosen is not available for systems with "
              "transition metals (atom 2), please switch to ZINDO/1 or ZINDO/S.");
}

TEST_F(Elements, OfTheTransitionPassInAllOtherMethods) {
    for (const int nMethod : {kExtendedHueckel, kMndo, kAm1, kPm3, kZindo1, kZindoS, kMndoD})
        EXPECT_EQ(Check(nMethod, 26), 0);
}

TEST_F(Elements, LanthanidesAndActinidesAreReportedAndTheWorkGoesOn) {
    for (const int nMethod : {kMndo, kAm1, kPm3, kMndoD}) {
        for (const int nElement : {58, 71}) {
            EXPECT_EQ(Check(nMethod, nElement), 0);
            EXPECT_EQ(client.Errors(), (Lines{ToldText(kMsgLanthanide, 2)}));
        }
        for (const int nElement : {90, 103}) {
            EXPECT_EQ(Check(nMethod, nElement, kClassical), 0);
            EXPECT_EQ(client.Errors(), (Lines{ToldText(kMsgActinide, 2)}));
        }
        for (const int nElement : {57, 72, 89, 104}) {
            EXPECT_EQ(Check(nMethod, nElement), 0);
            EXPECT_EQ(client.Errors(), Lines());
        }
    }
}

TEST_F(Elements, LanthanidesPassMindo3WithoutAWord) {
    EXPECT_EQ(Check(kMindo3, 60), 0);
    EXPECT_EQ(client.Errors(), Lines());
}

TEST_F(Elements, ClassicalAtomsAreLookedAtFirst) {
    system.MethodId = kCndo;
    UseAtoms({{60}, {55, 1, 0, 0, kClassical}});
    EXPECT_THROW(CheckElements(), Unwinding);
    EXPECT_NE(OnlyError().find("atomic number 55"), std::string::npos);
}

TEST_F(Elements, AMoleculeOfDummiesHasNoRealAtom) {
    UseMethod(kAm1);
    UseAtoms({{0}, {0}});
    EXPECT_EQ(TrySetUp(), kMsgNoRealAtom);
    EXPECT_EQ(OnlyError(), "There is no real atom in the molecule.");
}

TEST_F(Elements, ASelectionOfDummiesHasNoRealAtomThoughTheMoleculeHas) {
    UseMethod(kAm1);
    UseAtoms({{0}, {6, 1, 0, 0, kClassical}});
    EXPECT_EQ(TrySetUp(), kMsgNoRealAtomSelected);
    EXPECT_EQ(OnlyError(), "There is no real atom among the selected atoms.");
}

TEST_F(Elements, ACappingAtomIsNoRealAtom) {
    UseMethod(kAm1);
    UseAtoms({{0}, {6, 1, 0, 0, kCapping}, {6, 3, 0, 0, kClassical}});
    EXPECT_EQ(TrySetUp(), kMsgNoRealAtomSelected);
}

}  // namespace
}  // namespace qsolve
