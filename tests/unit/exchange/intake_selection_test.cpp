#include "job/state.h"
#include "tests/unit/exchange/intake_fixture.h"

namespace qsolve {
namespace {

using List = std::vector<int>;

class SelectionIntake : public IntakeTest {
  protected:
    /// A chain of five with atoms 2 and 3 selected, so that 1 and 4 are capping atoms.
    SelectionIntake() { Take(Chain({1, 0, 0, 1, 1})); }
    ~SelectionIntake() override { memory.nFailAt = -1; }

    static int Read(const SelectionBlock& block, const List& list) {
        Ready(block, list);
        return FailureOf(ReadSelection);
    }
    static int Read(const List& list) { return Read({.MethodId = kAm1}, list); }

    static List Values(const Array<int>& values) { return List(values.begin(), values.end()); }

    /// Nothing of a selection is there, and the counts are those of the atoms.
    static void ExpectNoSelection() {
        EXPECT_FALSE(system.nSelectedAtoms || system.nAtomToSelected || system.dReactantXyz ||
                     system.dProductXyz);
        EXPECT_EQ(system.nSelected, 2);
        EXPECT_EQ(system.nCapping, 2);
    }
    static std::vector<float> Geometry(float flShift) {
        std::vector<float> xyz(15);
        for (std::size_t i = 0; i < xyz.size(); ++i) xyz[i] = flShift + static_cast<float>(i);
        return xyz;
    }
    static void ReadyGeometry(const std::vector<float>& xyz) {
        Ready(xyz.data(), xyz.size() * sizeof(float));
    }
};

TEST_F(SelectionIntake, AppendsTheCappingAtomsToTheListAsItCame) {
    EXPECT_EQ(Read({3, 2}), 0);
    EXPECT_EQ(Values(system.nSelectedAtoms), List({3, 2, 1, 4}));
    EXPECT_EQ(Values(system.nAtomToSelected), List({3, 2, 1, 4, -1}));
    EXPECT_EQ(system.nSelected, 4);
    EXPECT_EQ(system.nCapping, 2);
    EXPECT_EQ(system.MethodId, kAm1);
    EXPECT_EQ(client.nDemands, 3);
}

TEST_F(SelectionIntake, TakesAMoleculeWithoutSelectionWhole) {
    Take(Chain({1, 1, 1}));
    EXPECT_EQ(Read({2, 3, 1}), 0);
    EXPECT_EQ(Values(system.nSelectedAtoms), List({2, 3, 1}));
    EXPECT_EQ(Values(system.nAtomToSelected), List({3, 1, 2}));
    EXPECT_EQ(system.nSelected, 3);
}

TEST_F(SelectionIntake, AdjustsTheWordsOfTheBlockByTheCappingAtoms) {
    const SelectionBlock block = {.nFirstAtom = 1,
                                  .nLastAtom = 2,
                                  .nFirstOrbital = 1,
                                  .nOrbitalsOnNode = 8,
                                  .nOrbitalEstimate = 9,
                                  .nAtomEstimate = 2,
                                  .nUnused24 = {71, 72},
                                  .MethodId = kAm1};
    EXPECT_EQ(Read(block, {2, 3}), 0);
    EXPECT_EQ(system.Layout.nFirstAtom, 1);
    EXPECT_EQ(system.Layout.nLastAtom, 4);
    EXPECT_EQ(system.Layout.nFirstOrbital, 1);
    EXPECT_EQ(system.Layout.nOrbitalsOnNode, 16);
    EXPECT_EQ(system.Layout.nOrbitalEstimate, 17);
    EXPECT_EQ(system.Layout.nAtomEstimate, 4);
    EXPECT_EQ(system.Layout.nUnused24[0], 71);
    EXPECT_EQ(system.Layout.nUnused24[1], 72);
}

TEST_F(SelectionIntake, HoldsTheWordsOfTheBlockWithinTheirRange) {
    const SelectionBlock block = {.nLastAtom = INT_MAX,
                                  .nOrbitalsOnNode = INT_MAX - 3,
                                  .nOrbitalEstimate = INT_MAX,
                                  .nAtomEstimate = INT_MIN,
                                  .MethodId = kAm1};
    EXPECT_EQ(Read(block, {2, 3}), 0);
    EXPECT_EQ(system.Layout.nLastAtom, INT_MAX);
    EXPECT_EQ(system.Layout.nOrbitalsOnNode, INT_MAX);
    EXPECT_EQ(system.Layout.nOrbitalEstimate, INT_MAX);
    EXPECT_EQ(system.Layout.nAtomEstimate, INT_MIN + 2);
}

TEST_F(SelectionIntake, TakesExtendedHueckelWhereItsTablesAreSaidToBe) {
    parameters.nParameterMethod = kExtendedHueckel;
    EXPECT_EQ(Read({.MethodId = kExtendedHueckel}, {2, 3}), 0);
    EXPECT_EQ(system.MethodId, kExtendedHueckel);
}

TEST_F(SelectionIntake, RefusesEveryMethodWhoseTablesAreNotThere) {
    const std::vector<int> outside = {-1, 10, INT_MIN, INT_MAX};
    for (int nLoaded = 0; nLoaded <= 9; ++nLoaded) {
        parameters.nParameterMethod = nLoaded;
        for (int nAsked = 0; nAsked <= 9; ++nAsked) {
            Take(Chain({1, 0, 0, 1, 1}));
            const bool fServes =
                nAsked == nLoaded || (nAsked + nLoaded == 3 && nAsked * nLoaded == 2);
            EXPECT_EQ(Read({.MethodId = nAsked}, {2, 3}), fServes ? 0 : kMsgMethodNotLoaded)
                << nLoaded << " " << nAsked;
        }
        Take(Chain({1, 0, 0, 1, 1}));
        for (int nAsked : outside)
            EXPECT_EQ(Read({.MethodId = nAsked}, {2, 3}), kMsgMethodNotLoaded);
        ExpectNoSelection();
    }
    EXPECT_EQ(
        Errors()[0],
        "The parameters of method 0 are loaded, but the job asks for method 1; please start a "
        "new backend.");
}

TEST_F(SelectionIntake, RefusesAnyMethodBeforeTablesAreLoaded) {
    parameters.fLoaded = false;
    EXPECT_EQ(Read({2, 3}), kMsgMethodNotLoaded);
    ExpectNoSelection();
}

TEST_F(SelectionIntake, RefusesEntriesThatAreNotThereOrTwiceOrNotSelected) {
    for (const List& list : {List{2, 0},
                             {2, -1},
                             {2, 6},
                             {2, INT_MIN},
                             {2, INT_MAX},
                             {2, 2},
                             {2, 1},
                             {2, 4},
                             {2, 5}}) {
        NewScriptedClient();
        EXPECT_EQ(Read(list), kMsgSelectionEntry) << list[1];
        EXPECT_EQ(Errors()[0],
                  "The entry 2 of the selection names an atom that is not there, is there twice or "
                  "is not selected (" +
                      std::to_string(list[1]) + ").");
        ExpectNoSelection();
    }
}

TEST_F(SelectionIntake, RefusesAShortListByItsName) {
    EXPECT_EQ(Read({2}), kMsgPacketShort);
    EXPECT_EQ(Errors()[0], "The packet \"selection\" is too short: it has 40 bytes, and needs 44.");
    ExpectNoSelection();
}

TEST_F(SelectionIntake, TakesReactantAndProductOfATransitInThisOrder) {
    job.nCalcKind = kSynchronousTransit;
    Ready({.MethodId = kAm1}, {2, 3});
    ReadyGeometry(Geometry(0.1F));
    ReadyGeometry(Geometry(100.1F));
    EXPECT_EQ(FailureOf(ReadSelection), 0);
    ASSERT_EQ(system.dReactantXyz.Size(), 15u);
    ASSERT_EQ(system.dProductXyz.Size(), 15u);
    for (std::size_t i = 0; i < 15; ++i) {
        EXPECT_EQ(system.dReactantXyz[i], static_cast<double>(0.1F + static_cast<float>(i)));
        EXPECT_EQ(system.dProductXyz[i], static_cast<double>(100.1F + static_cast<float>(i)));
    }
}

TEST_F(SelectionIntake, ForgetsTheOldSelectionBeforeItAsksForTheNew) {
    system.nSelectedAtoms.Take(4, kIntake);
    system.nAtomToSelected.Take(5, kIntake);
    system.dReactantXyz.Take(15, kIntake);
    system.dProductXyz.Take(15, kIntake);
    EXPECT_EQ(FailureOf(ReadSelection), -1);
    ExpectNoSelection();
}

TEST_F(SelectionIntake, FreesTheGeometriesAtTheNextSelection) {
    system.dReactantXyz.Take(15, kIntake);
    system.dProductXyz.Take(15, kIntake);
    EXPECT_EQ(Read({2, 3}), 0);
    EXPECT_FALSE(system.dReactantXyz || system.dProductXyz);
    EXPECT_EQ(Left(), 0u);
}

TEST_F(SelectionIntake, RefusesGeometriesThatAreNoNumbersOrTooLarge) {
    job.nCalcKind = kSynchronousTransit;
    for (std::size_t nEnd : {0u, 1u})
        for (float fl : {std::numeric_limits<float>::quiet_NaN(), -1e6F, 1e38F,
                         std::numeric_limits<float>::infinity()}) {
            NewScriptedClient();
            std::vector<float> ends[2] = {Geometry(0.0F), Geometry(0.0F)};
            ends[nEnd][11] = fl;
            Ready({.MethodId = kAm1}, {2, 3});
            ReadyGeometry(ends[0]);
            ReadyGeometry(ends[1]);
            EXPECT_EQ(FailureOf(ReadSelection), kMsgAtomNotANumber);
            EXPECT_EQ(Errors()[0],
                      "A coordinate or the charge of an atom is not a number (atom 4).");
            ExpectNoSelection();
        }
}

TEST_F(SelectionIntake, RefusesAShortGeometryByItsName) {
    job.nCalcKind = kSynchronousTransit;
    Ready({.MethodId = kAm1}, {2, 3});
    ReadyGeometry(Geometry(0.0F));
    ReadyGeometry({1.0F});
    EXPECT_EQ(FailureOf(ReadSelection), kMsgPacketShort);
    EXPECT_EQ(Errors()[0], "The packet \"product\" is too short: it has 4 bytes, and needs 60.");
    ExpectNoSelection();
}

TEST_F(SelectionIntake, SurvivesAFailureOfEachOfItsAllocations) {
    job.nCalcKind = kSynchronousTransit;
    const std::size_t nHeld = memory.nBytesHeld;
    int nFailures = 0;
    for (int n = 0;; ++n) {
        NewScriptedClient();
        Ready({.MethodId = kAm1}, {2, 3});
        ReadyGeometry(Geometry(0.0F));
        ReadyGeometry(Geometry(1.0F));
        memory.nTaken = 0;
        memory.nFailAt = n;
        const int nId = FailureOf(ReadSelection);
        if (nId == 0) break;
        ASSERT_LT(n, 100);
        ++nFailures;
        EXPECT_EQ(nId, kMsgOutOfMemorySetUp);
        ExpectNoSelection();
        EXPECT_EQ(memory.nBytesHeld, nHeld);
    }
    EXPECT_EQ(nFailures, 7);
    EXPECT_EQ(system.nSelected, 4);
}

TEST_F(SelectionIntake, LeavesNoSelectionWhereverTheClientHangsUp) {
    job.nCalcKind = kSynchronousTransit;
    for (int n = 0; n < 3; ++n) {
        NewScriptedClient();
        Ready({.MethodId = kAm1}, {2, 3});
        ReadyGeometry(Geometry(0.0F));
        ReadyGeometry(Geometry(1.0F));
        client.nHangUpAfter = n;
        EXPECT_EQ(FailureOf(ReadSelection), -1);
        ExpectNoSelection();
    }
}

TEST_F(SelectionIntake, RefusesOrTakesEveryHostileWord) {
    for (std::size_t nWord = 0; nWord < sizeof(SelectionBlock) / 4 + 2; ++nWord)
        for (int nValue : HostileWords()) {
            Take(Chain({1, 0, 0, 1, 1}));
            std::array<int, sizeof(SelectionBlock) / 4 + 2> words = {1, 2, 1,    8, 8, 2,
                                                                     0, 0, kAm1, 2, 3};
            words[nWord] = nValue;
            Ready(words);
            const int nId = FailureOf(ReadSelection);
            EXPECT_TRUE(nId == 0 || nId == kMsgMethodNotLoaded || nId == kMsgSelectionEntry);
            if (nId == 0) {
                EXPECT_EQ(Values(system.nAtomToSelected), List({3, 1, 2, 4, -1}));
            }
        }
}

}  // namespace
}  // namespace qsolve
