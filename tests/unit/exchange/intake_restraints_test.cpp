#include "job/state.h"
#include "tests/unit/exchange/intake_fixture.h"

namespace qsolve {
namespace {

class RestraintIntake : public IntakeTest {
  protected:
    RestraintIntake() { Take(Chain({0, 0, 0, 0, 1})); }
    ~RestraintIntake() override { memory.nFailAt = -1; }

    static int ReadCounts(const std::array<int, 4>& counts) {
        Ready(counts);
        return FailureOf(ReadRestraints);
    }
    /// One record, as the only one of the list that its kind belongs to.
    static int ReadOne(const RestraintRecord& record, int nList) {
        std::array<int, 4> counts = {};
        counts[static_cast<std::size_t>(nList)] = 1;
        Ready(counts);
        Ready(record);
        return FailureOf(ReadRestraints);
    }
    static void ExpectConsistent() {
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(static_cast<std::size_t>(system.nRestraints[k]),
                      system.pRestraints[k].Size());
    }
};

/// A record of a kind that is as it should be.
RestraintRecord Good(int nKind) {
    RestraintRecord record;
    record.nKind = nKind;
    for (int i = 0; i < 4; ++i) record.nAtom[i] = 4 - i;
    record.flForceConstant = 7.0F;
    record.flTarget = 1.5F;
    record.flTargetY = 2.5F;
    record.flTargetZ = 3.5F;
    return record;
}

TEST_F(RestraintIntake, TakesFourCountsAndAsksForNoEmptyList) {
    EXPECT_EQ(ReadCounts({0, 0, 0, 0}), 0);
    for (const auto& pList : system.pRestraints) EXPECT_EQ(pList.Data(), nullptr);
    EXPECT_EQ(Left(), 0u);
}

TEST_F(RestraintIntake, TakesTheListsInOrder) {
    Ready(std::array<int, 4>{1, 0, 2, 1});
    Ready(Good(kTether));
    Ready(std::array<RestraintRecord, 2>{Good(kBend), Good(kTorsion)});
    Ready(Good(kTorsion));
    EXPECT_EQ(FailureOf(ReadRestraints), 0);
    ExpectConsistent();
    EXPECT_EQ(system.nRestraints[0], 1);
    EXPECT_EQ(system.nRestraints[1], 0);
    EXPECT_EQ(system.nRestraints[2], 2);
    EXPECT_EQ(system.nRestraints[3], 1);
    EXPECT_EQ(system.pRestraints[0][0].nKind, kTether);
    EXPECT_EQ(system.pRestraints[2][1].nKind, kTorsion);
    EXPECT_EQ(system.pRestraints[0][0].flTargetZ, 3.5F);
}

TEST_F(RestraintIntake, PullsALongListInPiecesOf16384BytesThroughTheRecords) {
    std::vector<RestraintRecord> records(456, Good(kStretch));
    for (std::size_t i = 0; i < records.size(); ++i)
        records[i].flTarget = static_cast<float>(i) + 0.5F;
    const auto* pBytes = reinterpret_cast<const unsigned char*>(records.data());
    Ready(std::array<int, 4>{0, 456, 0, 0});
    Ready(pBytes, 16384);
    Ready(pBytes + 16384, 456 * 36 - 16384);
    EXPECT_EQ(FailureOf(ReadRestraints), 0);
    EXPECT_EQ(Left(), 0u);
    ASSERT_EQ(system.pRestraints[1].Size(), 456u);
    EXPECT_EQ(std::memcmp(system.pRestraints[1].Data(), pBytes, 456 * 36), 0);
}

TEST_F(RestraintIntake, RefusesCountsBelowZeroAndListsThatAreTooLong) {
    const int nMost = (1 << 30) / 18;  // 2^31 / 36
    for (std::array<int, 4> counts : {std::array<int, 4>{-1, 0, 0, 0},
                                      {0, 0, 0, INT_MIN},
                                      {INT_MAX, 0, 0, 0},
                                      {nMost, 1, 0, 0},
                                      {INT_MAX, INT_MAX, INT_MAX, INT_MAX},
                                      {2, -1, 0, 0}})
        EXPECT_EQ(ReadCounts(counts), kMsgOutOfMemoryRestraints);
    EXPECT_EQ(Errors()[0], "Unable to allocate memory for restraints.");
    ExpectConsistent();
}

TEST_F(RestraintIntake, TakesMemoryForTheRecordsThatCameAndNotForTheAnnouncedCount) {
    const std::size_t nBefore = memory.nBytesHighest = memory.nBytesHeld;
    EXPECT_EQ(ReadCounts({1 << 25, 0, 0, 0}), -1);
    EXPECT_LE(memory.nBytesHighest - nBefore, 2u * 16384u);
    ExpectConsistent();
}

TEST_F(RestraintIntake, RefusesAShortPieceByItsName) {
    Ready(std::array<int, 4>{1, 0, 0, 0});
    const RestraintRecord record = Good(kTether);
    Ready(&record, 35);
    EXPECT_EQ(FailureOf(ReadRestraints), kMsgPacketShort);
    EXPECT_EQ(Errors()[0],
              "The packet \"restraints\" is too short: it has 35 bytes, and needs 36.");
    ExpectConsistent();
}

TEST_F(RestraintIntake, ChecksTheAtomsThatTheKindUsesAndNoOthers) {
    for (int nKind = kTether; nKind <= kTorsion; ++nKind)
        for (int i = 0; i < 4; ++i)
            for (int nIndex : {-1, 5, INT_MIN, INT_MAX}) {
                RestraintRecord record = Good(nKind);
                record.nAtom[i] = nIndex;
                const int nExpected = i <= nKind ? kMsgRestraintAtom : 0;
                EXPECT_EQ(ReadOne(record, nKind), nExpected) << nKind << " " << i << " " << nIndex;
                ExpectConsistent();
            }
}

TEST_F(RestraintIntake, NamesTheRestraintAndTheAtomCountedFromOne) {
    Ready(std::array<int, 4>{1, 2, 0, 0});
    Ready(Good(kTether));
    std::array<RestraintRecord, 2> records = {Good(kStretch), Good(kStretch)};
    records[1].nAtom[1] = 5;
    Ready(records);
    EXPECT_EQ(FailureOf(ReadRestraints), kMsgRestraintAtom);
    EXPECT_EQ(Errors()[0], "The restraint 3 names an atom that is not there (6).");
    EXPECT_EQ(system.nRestraints[0], 1);
    EXPECT_EQ(system.nRestraints[1], 0);
    ExpectConsistent();
}

TEST_F(RestraintIntake, RefusesAnAtomThatIsThereTwiceAsFarAsTheKindUsesIt) {
    for (int nKind = kTether; nKind <= kTorsion; ++nKind)
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < i; ++j) {
                RestraintRecord record = Good(nKind);
                record.nAtom[i] = record.nAtom[j];
                EXPECT_EQ(ReadOne(record, nKind), i <= nKind ? kMsgSamePosition : 0);
            }
    EXPECT_EQ(Errors()[0], "Two or more atoms are in the same position.");
}

TEST_F(RestraintIntake, RefusesNumbersThatAreNoneAsFarAsTheKindUsesThem) {
    const float inf = std::numeric_limits<float>::infinity();
    for (int nKind = kTether; nKind <= kTorsion; ++nKind)
        for (float fl : {std::numeric_limits<float>::quiet_NaN(), inf, -inf}) {
            RestraintRecord record = Good(nKind);
            record.flForceConstant = fl;
            EXPECT_EQ(ReadOne(record, nKind), kMsgSettingNotANumber);
            record = Good(nKind);
            record.flTarget = fl;
            EXPECT_EQ(ReadOne(record, nKind), kMsgSettingNotANumber);
            for (float RestraintRecord::*field :
                 {&RestraintRecord::flTargetY, &RestraintRecord::flTargetZ}) {
                record = Good(nKind);
                record.*field = fl;
                EXPECT_EQ(ReadOne(record, nKind), nKind == kTether ? kMsgSettingNotANumber : 0);
            }
        }
    EXPECT_EQ(Errors()[0], "The setting restraint force constant is not a number.");
    EXPECT_EQ(Errors()[1], "The setting restraint target is not a number.");
}

TEST_F(RestraintIntake, GoesByTheKindOfARecordAndNotByItsList) {
    RestraintRecord record = Good(kTorsion);
    record.nAtom[3] = 5;
    EXPECT_EQ(ReadOne(record, kTether), kMsgRestraintAtom);
    record.nKind = kBend;
    EXPECT_EQ(ReadOne(record, kTorsion), 0);
}

TEST_F(RestraintIntake, KeepsARecordOfNoKindUnread) {
    for (int nKind : {-1, 4, INT_MIN, INT_MAX}) {
        RestraintRecord record;
        std::memset(static_cast<void*>(&record), 0xFF, sizeof record);
        record.nKind = nKind;
        EXPECT_EQ(ReadOne(record, kBend), 0) << nKind;
        EXPECT_EQ(system.nRestraints[kBend], 1);
    }
}

TEST_F(RestraintIntake, ReplacesTheListsOfBefore) {
    EXPECT_EQ(ReadOne(Good(kTether), kTether), 0);
    EXPECT_EQ(ReadOne(Good(kBend), kBend), 0);
    EXPECT_EQ(system.nRestraints[kTether], 0);
    EXPECT_EQ(system.nRestraints[kBend], 1);
    ExpectConsistent();
    EXPECT_EQ(ReadCounts({-1, 0, 0, 0}), kMsgOutOfMemoryRestraints);
    EXPECT_EQ(system.nRestraints[kBend], 0);
    ExpectConsistent();
}

TEST_F(RestraintIntake, SurvivesAFailureOfEachOfItsAllocations) {
    const std::vector<RestraintRecord> records(1000, Good(kStretch));
    const auto* pBytes = reinterpret_cast<const unsigned char*>(records.data());
    int nFailures = 0;
    for (int n = 0;; ++n) {
        NewScriptedClient();
        Ready(std::array<int, 4>{1, 1000, 0, 0});
        Ready(Good(kTether));
        for (std::size_t nByte = 0; nByte < 36000; nByte += 16384)
            Ready(pBytes + nByte, std::min<std::size_t>(16384, 36000 - nByte));
        memory.nTaken = 0;
        memory.nFailAt = n;
        const int nId = FailureOf(ReadRestraints);
        if (nId == 0) break;
        ASSERT_LT(n, 100);
        ++nFailures;
        EXPECT_EQ(nId, kMsgOutOfMemoryRestraints);
        ExpectConsistent();
    }
    EXPECT_GE(nFailures, 3);
    EXPECT_EQ(system.nRestraints[1], 1000);
}

TEST_F(RestraintIntake, RefusesOrTakesEveryHostileWord) {
    for (int nKind = kTether; nKind <= kTorsion; ++nKind)
        for (std::size_t nWord = 0; nWord < sizeof(RestraintRecord) / 4; ++nWord)
            for (int nValue : HostileWords()) {
                const int nId = ReadOne(WithWord(Good(nKind), nWord, nValue), nKind);
                EXPECT_TRUE(nId == 0 || nId == kMsgRestraintAtom || nId == kMsgSamePosition ||
                            nId == kMsgSettingNotANumber);
                ExpectConsistent();
            }
}

}  // namespace
}  // namespace qsolve
