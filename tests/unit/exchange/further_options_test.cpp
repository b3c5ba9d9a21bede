#include "job/state.h"
#include "tests/unit/exchange/intake_fixture.h"

namespace qsolve {
namespace {

using Bytes = std::vector<unsigned char>;

class FurtherOptionsIntake : public IntakeTest {
  protected:
    FurtherOptionsIntake() {
        options.nExtensions = static_cast<int>(kSectionsMark | kFurtherOptionsBit);
    }
    ~FurtherOptionsIntake() override { memory.nFailAt = -1; }

    template <class T>
    static void Append(Bytes& bytes, const T& value) {
        const auto* p = reinterpret_cast<const unsigned char*>(&value);
        bytes.insert(bytes.end(), p, p + sizeof value);
    }
    static Bytes Section(int nKind, int nBytes, const std::vector<double>& values) {
        Bytes bytes;
        Append(bytes, nKind);
        Append(bytes, nBytes);
        for (const double d : values) Append(bytes, d);
        return bytes;
    }
    static Bytes Places(const std::vector<double>& values) {
        return Section(kGivenCoordinates, static_cast<int>(8 * values.size()), values);
    }
    static Bytes Both(Bytes a, const Bytes& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    }

    /// Plays the intake of the bytes, with a head of so many; all of them for -1.
    static int Read(const Bytes& bytes, int nVersion = 2, int nAnnounced = -1) {
        NewScriptedClient();
        Ready(SectionsHead{nVersion, nAnnounced < 0 ? static_cast<int>(bytes.size()) : nAnnounced});
        for (std::size_t i = 0; i < bytes.size(); i += kMaxPayload)
            Ready(&bytes[i], std::min(bytes.size() - i, std::size_t{kMaxPayload}));
        return FailureOf(ReadFurtherOptions);
    }
    static std::vector<double> Given() { return {further.pXyz.begin(), further.pXyz.end()}; }
};

TEST_F(FurtherOptionsIntake, IsNotAskedForWithoutItsBit) {
    for (const unsigned nWord : {0U, 0x3158524FU, kFurtherOptionsBit, kSectionsMark,
                                 kSectionsMark | 0x7FFFFFU, 0xFFFFFFFFU}) {
        options.nExtensions = static_cast<int>(nWord);
        further.pXyz.Take(3, kIntake);
        EXPECT_EQ(FailureOf(ReadFurtherOptions), 0);
        EXPECT_EQ(client.nDemands, 0);
        EXPECT_EQ(further.pXyz.Size(), 0u) << "an earlier session's";
    }
}

TEST_F(FurtherOptionsIntake, TakesPlacesToTheLastDigit) {
    const std::vector<double> xyz = {1.0 / 3, -2.0 / 3, 999999.5, 0, 1e-300, -1e-9};
    EXPECT_EQ(Read(Places(xyz)), 0);
    EXPECT_EQ(Given(), xyz);
    EXPECT_EQ(client.nDemands, 2);
}

TEST_F(FurtherOptionsIntake, OfNothingIsAHeadAlone) {
    EXPECT_EQ(Read({}), 0);
    EXPECT_EQ(client.nDemands, 1);
    EXPECT_EQ(further.pXyz.Size(), 0u);
}

TEST_F(FurtherOptionsIntake, PassesOverWhatItDoesNotKnow) {
    const std::vector<double> xyz = {1, 2, 3};
    const Bytes odd = Section(4711, 13, {7, 8}), empty = Section(-1, 0, {});
    EXPECT_EQ(Read(Both(Both(odd, empty), Both(Places(xyz), odd))), 0);
    EXPECT_EQ(Given(), xyz);
}

TEST_F(FurtherOptionsIntake, TakesTheLaterOfTwo) {
    EXPECT_EQ(Read(Both(Places({1, 2, 3}), Places({4, 5, 6}))), 0);
    EXPECT_EQ(Given(), (std::vector<double>{4, 5, 6}));
}

TEST_F(FurtherOptionsIntake, TakesPiecesOfTheLargestPayload) {
    for (const std::size_t nAtoms : {682u, 683u, 5000u}) {
        std::vector<double> xyz(3 * nAtoms);
        for (std::size_t i = 0; i < xyz.size(); ++i) xyz[i] = 0.1 * static_cast<double>(i);
        EXPECT_EQ(Read(Places(xyz)), 0);
        EXPECT_EQ(Given(), xyz);
        EXPECT_EQ(client.nDemands, 1 + static_cast<int>((8 + 24 * nAtoms + 16383) / 16384));
    }
}

TEST_F(FurtherOptionsIntake, TakesWishesOfMotionBitByBit) {
    bool MotionWishes::*const pWishes[] = {
        &MotionWishes::fLongNoise,      &MotionWishes::fLand,         &MotionWishes::fScaledNoise,
        &MotionWishes::fRestUnmoving,   &MotionWishes::fStateReports, &MotionWishes::fMovableOnly,
        &MotionWishes::fDoubleEnergies, &MotionWishes::fKnownEnergies};
    for (int nBit = 0; nBit < 31; ++nBit) {
        Bytes bytes = Section(kMotionSection, 8, {});
        Append(bytes, MotionRecord{1 << nBit, -1});
        EXPECT_EQ(Read(bytes), 0);
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(further.Motion.*pWishes[i], i == nBit) << "bit " << nBit << ", wish " << i;
    }
    EXPECT_EQ(Read({}), 0);
    EXPECT_FALSE(further.Motion.fKnownEnergies) << "an earlier session's";
}

TEST_F(FurtherOptionsIntake, RefusesWishesOfMotionOfAnotherSize) {
    for (const int nBytes : {0, 4, 7, 9, 16}) {
        Bytes bytes = Section(kMotionSection, nBytes, {});
        bytes.resize(8 + (static_cast<std::size_t>(nBytes) + 7) / 8 * 8);
        EXPECT_EQ(Read(bytes), kMsgSectionSize) << nBytes;
        const int nSearch = kSearchSection;
        std::memcpy(bytes.data(), &nSearch, sizeof nSearch);
        EXPECT_EQ(Read(bytes), kMsgSectionSize) << nBytes;
    }
}

TEST_F(FurtherOptionsIntake, TakesTheWishesOfASearch) {
    for (int nWishes = 0; nWishes < 4; ++nWishes) {
        Bytes bytes = Section(kSearchSection, 8, {});
        Append(bytes, SearchRecord{nWishes | 1 << 30, -1});
        EXPECT_EQ(Read(bytes), 0);
        EXPECT_EQ(further.Search.fCareful, (nWishes & 1) != 0);
        EXPECT_EQ(further.Search.fEitherSign, (nWishes & 2) != 0);
    }
    EXPECT_EQ(Read({}), 0);
    EXPECT_FALSE(further.Search.fCareful) << "an earlier session's";
}

TEST_F(FurtherOptionsIntake, TakesAHessianOfWholeAtoms) {
    std::vector<double> m(36);
    for (std::size_t i = 0; i < m.size(); ++i) m[i] = 1.0 / 3 - static_cast<double>(i);
    EXPECT_EQ(Read(Section(kGivenHessian, 36 * 8, m)), 0);
    EXPECT_EQ((std::vector<double>{further.mHessian.begin(), further.mHessian.end()}), m);
    EXPECT_EQ(Read({}), 0);
    EXPECT_EQ(further.mHessian.Size(), 0u) << "an earlier session's";
}

TEST_F(FurtherOptionsIntake, RefusesAHessianThatIsNone) {
    for (const int n : {0, 1, 3, 8, 10, 16, 25, 35, 37})
        EXPECT_EQ(
            Read(Section(kGivenHessian, 8 * n, std::vector<double>(static_cast<std::size_t>(n)))),
            kMsgSectionSize)
            << n;
    EXPECT_EQ(Read(Section(kGivenHessian, 76, std::vector<double>(10))), kMsgSectionSize);
    const double kInfinite = std::numeric_limits<double>::infinity();
    for (const double d : {std::nan(""), kInfinite, -kInfinite, 1.1e6, -1e300}) {
        std::vector<double> m(9);
        m[5] = d;
        EXPECT_EQ(Read(Section(kGivenHessian, 72, m)), kMsgForceConstant) << d;
        EXPECT_EQ(Errors(), std::vector<std::string>{
                                "The section \"Hessian\" of the further options has an element "
                                "that is no force constant (row 2, column 3)."});
    }
}

TEST_F(FurtherOptionsIntake, RefusesWhatDoesNotLieWithinItsBytes) {
    const int kMost = 1 << 29;
    EXPECT_EQ(Read({}, 1), kMsgFurtherOptions);
    EXPECT_EQ(Read({}, 0x3158524F), kMsgFurtherOptions);
    EXPECT_EQ(Read({}, 2, kMost + 1), kMsgFurtherOptions);
    EXPECT_EQ(Read({}, 2, INT_MAX), kMsgFurtherOptions);
    NewScriptedClient();
    Ready(SectionsHead{2, INT_MIN});
    EXPECT_EQ(FailureOf(ReadFurtherOptions), kMsgFurtherOptions);
    for (const int nBytes : {25, 32, 1 << 20, INT_MAX, -1, -8, INT_MIN})
        EXPECT_EQ(Read(Section(0, nBytes, {1, 2, 3})), kMsgFurtherOptions) << nBytes;
    for (const std::size_t nRest : {1u, 4u, 7u}) {
        Bytes bytes = Places({1, 2, 3});
        bytes.resize(bytes.size() + nRest);
        EXPECT_EQ(Read(bytes), kMsgFurtherOptions) << nRest;
    }
    EXPECT_EQ(Errors(), std::vector<std::string>{"The further options are not in order (version 2, "
                                                 "39 bytes, at byte 32)."});
}

TEST_F(FurtherOptionsIntake, RefusesPlacesThatAreNone) {
    EXPECT_EQ(Read(Section(0, 16, {1, 2})), kMsgSectionSize);
    EXPECT_EQ(Read(Section(0, 23, {1, 2, 3})), kMsgSectionSize);
    const double kNaN = std::nan(""), kInfinite = std::numeric_limits<double>::infinity();
    for (const double d : {kNaN, kInfinite, -kInfinite, 1e6, -1e6, 1e300}) {
        EXPECT_EQ(Read(Places({1, 2, 3, 4, d, 6})), kMsgAtomNotANumber) << d;
        EXPECT_NE(Errors().at(0).find("(atom 2)"), std::string::npos);
        EXPECT_EQ(further.pXyz.Size(), 0u);
    }
}

TEST_F(FurtherOptionsIntake, RefusesAShortHeadAndAShortPiece) {
    Ready("abcdefg", 7);
    EXPECT_EQ(FailureOf(ReadFurtherOptions), kMsgPacketShort);
    EXPECT_EQ(Read({1, 2, 3}, 2, 32), kMsgPacketShort);
    EXPECT_EQ(Errors(), std::vector<std::string>{"The packet \"further options\" is too short: it "
                                                 "has 3 bytes, and needs 32."});
}

TEST_F(FurtherOptionsIntake, TakesNoMemoryForAnAnnouncementAlone) {
    const std::size_t nBefore = memory.nBytesHighest = memory.nBytesHeld;
    EXPECT_EQ(Read(Bytes(100), 2, 1 << 29), kMsgPacketShort);
    EXPECT_LE(memory.nBytesHighest, nBefore + 2 * kMaxPayload);
}

TEST_F(FurtherOptionsIntake, SaysThatMemoryIsExhausted) {
    for (int nFail = 0; nFail < 3; ++nFail) {
        memory = MemoryState{.nFailAt = nFail, .nBytesHeld = memory.nBytesHeld};
        EXPECT_EQ(Read(Places(std::vector<double>(9000))), kMsgOutOfMemorySetUp) << nFail;
    }
}

TEST_F(FurtherOptionsIntake, PutsItsPlacesIntoTheRecords) {
    further.pXyz.Take(6, kIntake);
    for (int i = 0; i < 6; ++i) further.pXyz[i] = 0.1 * i;
    Ready(Chain({0, 1}));
    EXPECT_EQ(FailureOf(ReadAtoms), 0);
    EXPECT_EQ(system.pAtoms[0].flY, 0.1F);
    EXPECT_EQ(system.pAtoms[1].flX, static_cast<float>(0.1 * 3));
    EXPECT_EQ(system.pAtoms[1].flZ, 0.5F);
}

TEST_F(FurtherOptionsIntake, RefusesPlacesOfAnotherNumberOfAtoms) {
    for (const std::size_t nAtoms : {1u, 3u}) {
        further.pXyz.Take(nAtoms, 3, kIntake);
        NewScriptedClient();
        Ready(Chain({0, 0}));
        EXPECT_EQ(FailureOf(ReadAtoms), kMsgSectionSize);
        EXPECT_EQ(system.nAtoms, 0);
    }
}

}  // namespace
}  // namespace qsolve
