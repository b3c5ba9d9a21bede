#include <random>

#include "job/state.h"
#include "tests/unit/exchange/intake_fixture.h"

namespace qsolve {
namespace {

class AtomIntake : public IntakeTest {
  protected:
    static int Read(const std::vector<AtomRecord>& atoms) {
        Ready(atoms);
        return FailureOf(ReadAtoms);
    }
    static std::vector<int> States() {
        std::vector<int> states;
        for (const AtomRecord& atom : system.pAtoms) states.push_back(atom.nState);
        return states;
    }
    static void ExpectNoMolecule() {
        EXPECT_EQ(system.nAtoms, 0);
        EXPECT_EQ(system.nSelected, 0);
        EXPECT_EQ(system.nCapping, 0);
        EXPECT_EQ(system.nAtomsActive, 0);
        EXPECT_EQ(system.pAtoms.Size(), 0u);
    }
    void TearDown() override { memory.nFailAt = -1; }
};

using States_ = std::vector<int>;

TEST_F(AtomIntake, TakesOneAtomInOneChunk) {
    EXPECT_EQ(Read(Chain({0})), 0);
    EXPECT_EQ(client.nDemands, 2);
    EXPECT_EQ(system.nAtoms, 1);
    EXPECT_EQ(system.pAtoms.Size(), 1u);
}

TEST_F(AtomIntake, Takes170AtomsInOneChunkAnd171InTwo) {
    for (int n : {170, 171, 340, 341, 1000}) {
        NewScriptedClient();
        EXPECT_EQ(Read(Chain(std::vector<int>(static_cast<std::size_t>(n), 0))), 0);
        EXPECT_EQ(client.nDemands, 1 + (n + 169) / 170);
        EXPECT_EQ(Left(), 0u);
        ASSERT_EQ(system.nAtoms, n);
        ASSERT_EQ(system.pAtoms.Size(), static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(system.pAtoms[static_cast<std::size_t>(i)].flX, 1.5F * static_cast<float>(i));
    }
}

TEST_F(AtomIntake, KeepsEveryWordOfASelectedAtomButTheCharge) {
    std::vector<AtomRecord> atoms = Chain({0, 0});
    atoms[1].nUnused0 = 11;
    atoms[1].nUnused2[0] = 12;
    atoms[1].nUnused2[1] = 13;
    atoms[1].nBonded[5] = 14;
    atoms[1].flY = -2.5F;
    atoms[1].flZ = 999999.0F;
    EXPECT_EQ(Read(atoms), 0);
    atoms[1].flCharge = 0.0F;
    EXPECT_EQ(std::memcmp(&system.pAtoms[1], &atoms[1], sizeof(AtomRecord)), 0);
}

TEST_F(AtomIntake, TakesAllAtomsAndDropsChargesWhereNoneIsSelected) {
    EXPECT_EQ(Read(Chain({1, 7, -1})), 0);
    EXPECT_EQ(States(), States_({0, 0, 0}));
    EXPECT_EQ(system.nSelected, 3);
    EXPECT_EQ(system.nAtomsActive, 3);
    EXPECT_EQ(system.nCapping, 0);
    EXPECT_EQ(system.dClassicalCharge, 0.0);
    for (const AtomRecord& atom : system.pAtoms) EXPECT_EQ(atom.flCharge, 0.0F);
}

TEST_F(AtomIntake, SumsTheChargesThatCameWhereAllAtomsAreSelected) {
    EXPECT_EQ(Read(Chain({0, 0, 0})), 0);
    EXPECT_EQ(system.nSelected, 3);
    EXPECT_EQ(system.nCapping, 0);
    EXPECT_EQ(system.dClassicalCharge, 0.75);
    for (const AtomRecord& atom : system.pAtoms) EXPECT_EQ(atom.flCharge, 0.0F);
}

TEST_F(AtomIntake, CapsTheBondsThatCrossTheBorder) {
    EXPECT_EQ(Read(Chain({1, 5, 0, 0, -9, 1})), 0);
    EXPECT_EQ(States(), States_({1, -1, 0, 0, -1, 1}));
    EXPECT_EQ(system.nSelected, 2);
    EXPECT_EQ(system.nCapping, 2);
    EXPECT_EQ(system.nAtomsActive, 4);
    EXPECT_EQ(system.pAtoms[0].nCappingAtom, 1);
    EXPECT_EQ(system.pAtoms[1].nCappingAtom, 4);
    EXPECT_EQ(system.pAtoms[1].nAtomicNumber, 6 + 105);
    EXPECT_EQ(system.pAtoms[0].nAtomicNumber, 6);
}

TEST_F(AtomIntake, CountsTheChargeOfACappingAtomAndLeavesItInTheRecord) {
    EXPECT_EQ(Read(Chain({0, 1, 1})), 0);
    EXPECT_EQ(system.dClassicalCharge, 0.5);
    EXPECT_EQ(system.pAtoms[0].flCharge, 0.0F);
    EXPECT_EQ(system.pAtoms[1].flCharge, 0.25F);
    EXPECT_EQ(system.pAtoms[2].flCharge, 0.25F);
}

TEST_F(AtomIntake, LeavesAnAtomBondedToTwoSelectedAtomsClassical) {
    EXPECT_EQ(Read(Chain({0, 1, 0})), 0);
    EXPECT_EQ(States(), States_({0, 1, 0}));
    EXPECT_EQ(system.nCapping, 0);
    EXPECT_EQ(system.nAtomsActive, 2);
    EXPECT_EQ(system.pAtoms[1].nAtomicNumber, 6);
}

TEST_F(AtomIntake, CapsWithAnAtomBondedToThreeSelectedAtoms) {
    std::vector<AtomRecord> atoms = Chain({1, 0, 0, 0});
    Bond(atoms, 0, 2);
    Bond(atoms, 0, 3);
    EXPECT_EQ(Read(atoms), 0);
    EXPECT_EQ(States(), States_({-1, 0, 0, 0}));
}

TEST_F(AtomIntake, NeverCapsWithADummy) {
    for (int nDummy : {0, -1, -6, INT_MIN}) {
        std::vector<AtomRecord> atoms = Chain({0, 1});
        atoms[1].nAtomicNumber = nDummy;
        EXPECT_EQ(Read(atoms), 0);
        EXPECT_EQ(States(), States_({0, 1}));
        EXPECT_EQ(system.pAtoms[1].nAtomicNumber, 0);
        EXPECT_EQ(system.nCapping, 0);
    }
}

TEST_F(AtomIntake, CapsTheBondsOfASelectedDummy) {
    std::vector<AtomRecord> atoms = Chain({0, 1});
    atoms[0].nAtomicNumber = -3;
    EXPECT_EQ(Read(atoms), 0);
    EXPECT_EQ(States(), States_({0, -1}));
    EXPECT_EQ(system.nSelected, 1);
}

/// The rule told by signs: a selected atom turns the sign of each neighbour outside, and what ends
/// negative is capping.
std::vector<int> StatesBySigns(const std::vector<AtomRecord>& atoms) {
    std::vector<int> numbers, states;
    for (const AtomRecord& atom : atoms) numbers.push_back(atom.nAtomicNumber);
    for (const AtomRecord& atom : atoms)
        for (int k = 0; atom.nState == 0 && k < atom.nBonds; ++k) {
            const auto j = static_cast<std::size_t>(atom.nBonded[k]);
            if (atoms[j].nState == 1) numbers[j] = -numbers[j];
        }
    for (std::size_t i = 0; i < atoms.size(); ++i)
        states.push_back(numbers[i] < 0 ? -1 : atoms[i].nState);
    return states;
}

TEST_F(AtomIntake, AgreesWithTheRuleOfSignsOnRandomMolecules) {
    std::mt19937 random(7);
    for (int nTrial = 0; nTrial < 50; ++nTrial) {
        std::vector<int> wanted(40);
        for (int& nState : wanted) nState = static_cast<int>(random() % 2);
        wanted[0] = 0;
        std::vector<AtomRecord> atoms = Chain(wanted);
        for (int nBond = 0; nBond < 60; ++nBond) {
            const int i = static_cast<int>(random() % 40), j = static_cast<int>(random() % 40);
            if (i != j && atoms[static_cast<std::size_t>(i)].nBonds < 12 &&
                atoms[static_cast<std::size_t>(j)].nBonds < 12)
                Bond(atoms, i, j);
        }
        for (AtomRecord& atom : atoms) atom.nAtomicNumber = static_cast<int>(random() % 4);
        EXPECT_EQ(Read(atoms), 0);
        EXPECT_EQ(States(), StatesBySigns(atoms));
    }
}

TEST_F(AtomIntake, RefusesACountBelowOne) {
    for (int n : {0, -1, INT_MIN}) {
        Ready(n);
        EXPECT_EQ(FailureOf(ReadAtoms), kMsgAtomCount);
    }
    EXPECT_EQ(Errors()[1], "The number of atoms is not in range (-1).");
    ExpectNoMolecule();
}

TEST_F(AtomIntake, RefusesACountAboveTwoToThe24BeforeTakingMemory) {
    memory.nTaken = 0;
    for (int n : {(1 << 24) + 1, INT_MAX}) {
        Ready(n);
        EXPECT_EQ(FailureOf(ReadAtoms), kMsgOutOfMemorySetUp);
    }
    EXPECT_EQ(memory.nTaken, 0);
    EXPECT_EQ(Errors()[0],
              "The molecule selected for calculation is too large and has consumed all available "
              "memory.");
}

TEST_F(AtomIntake, TakesMemoryForTheAtomsThatCameAndNotForTheAnnouncedCount) {
    const std::size_t nBefore = memory.nBytesHighest = memory.nBytesHeld;
    Ready(1 << 24);
    const std::vector<AtomRecord> atoms = Chain(std::vector<int>(170, 0));
    Ready(atoms.data(), atoms.size() * sizeof(AtomRecord));
    EXPECT_EQ(FailureOf(ReadAtoms), -1);
    EXPECT_LE(memory.nBytesHighest - nBefore, 4 * 170 * sizeof(AtomRecord));
    ExpectNoMolecule();
}

TEST_F(AtomIntake, RefusesAShortChunkByItsName) {
    Ready(2);
    const std::vector<AtomRecord> atoms = Chain({0, 0});
    Ready(atoms.data(), sizeof(AtomRecord) + 95);
    EXPECT_EQ(FailureOf(ReadAtoms), kMsgPacketShort);
    EXPECT_EQ(Errors()[0], "The packet \"atoms\" is too short: it has 191 bytes, and needs 192.");
    ExpectNoMolecule();
}

TEST_F(AtomIntake, RefusesElementsAboveTheLast) {
    for (int nNumber : {106, 111, INT_MAX - 50, INT_MAX}) {
        std::vector<AtomRecord> atoms = Chain({0, 1});
        atoms[1].nAtomicNumber = nNumber;
        EXPECT_EQ(Read(atoms), kMsgElementTooHigh);
        ExpectNoMolecule();
    }
    EXPECT_NE(Errors()[0].find("106"), std::string::npos);
    EXPECT_NE(Errors()[0].find("105"), std::string::npos);
    std::vector<AtomRecord> atoms = Chain({0, 1});
    atoms[1].nAtomicNumber = 105;
    EXPECT_EQ(Read(atoms), 0);
    EXPECT_EQ(system.pAtoms[1].nAtomicNumber, 210);
}

TEST_F(AtomIntake, RefusesCoordinatesAndChargesThatAreNoNumbersOrTooLarge) {
    const float inf = std::numeric_limits<float>::infinity();
    for (float AtomRecord::*field :
         {&AtomRecord::flX, &AtomRecord::flY, &AtomRecord::flZ, &AtomRecord::flCharge})
        for (float fl : {std::numeric_limits<float>::quiet_NaN(), inf, -inf, 1e6F, -1e6F, 1e38F}) {
            std::vector<AtomRecord> atoms = Chain({0, 0, 1});
            atoms[2].*field = fl;
            NewScriptedClient();
            EXPECT_EQ(Read(atoms), kMsgAtomNotANumber) << fl;
            EXPECT_EQ(Errors()[0],
                      "A coordinate or the charge of an atom is not a number (atom 3).");
            ExpectNoMolecule();
        }
}

TEST_F(AtomIntake, LeavesMassesToValidation) {
    std::vector<AtomRecord> atoms = Chain({0});
    atoms[0].flMass = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(Read(atoms), 0);
    EXPECT_TRUE(std::isnan(system.pAtoms[0].flMass));
}

TEST_F(AtomIntake, LeavesFalseBondsOutAndSaysSoOnce) {
    std::vector<AtomRecord> atoms = Chain({0, 0, 0, 1});
    atoms[1].nBonds = 6;
    const int bonded[] = {-1, 0, 4, 1, INT_MIN, 2};
    std::copy(std::begin(bonded), std::end(bonded), atoms[1].nBonded);
    atoms[2].nBonded[1] = INT_MAX;  // the bond to the atom outside
    EXPECT_EQ(Read(atoms), 0);
    ASSERT_EQ(Errors().size(), 1u);
    EXPECT_EQ(Errors()[0], "The bond table names an atom that is not there (atom 2).");
    ASSERT_EQ(system.pAtoms[1].nBonds, 2);
    EXPECT_EQ(system.pAtoms[1].nBonded[0], 0);
    EXPECT_EQ(system.pAtoms[1].nBonded[1], 2);
    ASSERT_EQ(system.pAtoms[2].nBonds, 1);
    EXPECT_EQ(system.nCapping, 0);
}

TEST_F(AtomIntake, TakesACountOfBondsOutOfRangeAsWhatTheTableHolds) {
    for (int n : {13, INT_MAX, -1, INT_MIN}) {
        std::vector<AtomRecord> atoms = Chain({0, 0});
        atoms[0].nBonds = n;
        std::fill_n(atoms[0].nBonded, kMaxBonds, 1);
        NewScriptedClient();
        EXPECT_EQ(Read(atoms), 0);
        EXPECT_EQ(system.pAtoms[0].nBonds, n < 0 ? 0 : 12);
        ASSERT_EQ(Errors().size(), 1u);
        EXPECT_EQ(Errors()[0], "The bond table names an atom that is not there (atom 1).");
    }
}

TEST_F(AtomIntake, SaysNothingOfATableThatIsAsItShouldBe) {
    EXPECT_EQ(Read(Chain({0, 0, 1, 1})), 0);
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(AtomIntake, ForgetsTheOldMoleculeBeforeItAsksForTheNew) {
    EXPECT_EQ(Read(Chain({0, 1, 1})), 0);
    system.nRestraints[2] = 1;
    system.pRestraints[2].Take(1, kRestraints);
    system.nSelectedAtoms.Take(2, kIntake);
    system.nAtomToSelected.Take(3, kIntake);
    system.dReactantXyz.Take(9, kIntake);
    system.dProductXyz.Take(9, kIntake);
    EXPECT_EQ(FailureOf(ReadAtoms), -1);
    ExpectNoMolecule();
    EXPECT_EQ(system.dClassicalCharge, 0.0);
    EXPECT_EQ(system.nRestraints[2], 0);
    EXPECT_FALSE(system.pRestraints[2] || system.nSelectedAtoms || system.nAtomToSelected ||
                 system.dReactantXyz || system.dProductXyz);
    EXPECT_EQ(memory.nBytesHeld, 0u);
}

TEST_F(AtomIntake, SurvivesAFailureOfEachOfItsAllocations) {
    const std::vector<AtomRecord> atoms = Chain(std::vector<int>(700, 0));
    int nFailures = 0;
    for (int n = 0;; ++n) {
        NewScriptedClient();
        memory.nTaken = 0;
        memory.nFailAt = n;
        const int nId = Read(atoms);
        if (nId == 0) break;
        ASSERT_LT(n, 100);
        ++nFailures;
        EXPECT_EQ(nId, kMsgOutOfMemorySetUp);
        ExpectNoMolecule();
        EXPECT_EQ(memory.nBytesHeld, 0u);
    }
    EXPECT_GE(nFailures, 3);
    EXPECT_EQ(system.nAtoms, 700);
}

TEST_F(AtomIntake, LeavesNoMoleculeWhereverTheClientHangsUp) {
    const std::vector<AtomRecord> atoms = Chain(std::vector<int>(400, 0));
    for (int n = 0; n < 4; ++n) {
        NewScriptedClient();
        client.nHangUpAfter = n;
        EXPECT_EQ(Read(atoms), -1);
        ExpectNoMolecule();
        EXPECT_EQ(memory.nBytesHeld, 0u);
    }
}

TEST_F(AtomIntake, RefusesOrTamesEveryHostileWordOfARecord) {
    for (std::size_t nWord = 0; nWord < sizeof(AtomRecord) / 4; ++nWord)
        for (int nValue : HostileWords()) {
            std::vector<AtomRecord> atoms = Chain({1, 0, 1});
            atoms[1] = WithWord(atoms[1], nWord, nValue);
            const int nId = Read(atoms);
            EXPECT_TRUE(nId == 0 || nId == kMsgElementTooHigh || nId == kMsgAtomNotANumber);
            if (nId != 0) continue;
            const AtomRecord& atom = system.pAtoms[1];
            EXPECT_TRUE(atom.nState >= kCapping && atom.nState <= kClassical);
            EXPECT_TRUE(atom.nAtomicNumber >= 0 && atom.nAtomicNumber <= kRows);
            EXPECT_TRUE(atom.nBonds >= 0 && atom.nBonds <= kMaxBonds);
            for (int k = 0; k < atom.nBonds; ++k)
                EXPECT_TRUE(atom.nBonded[k] == 0 || atom.nBonded[k] == 2);
            EXPECT_TRUE(std::isfinite(atom.flX + atom.flY + atom.flZ + atom.flCharge));
        }
}

}  // namespace
}  // namespace qsolve
