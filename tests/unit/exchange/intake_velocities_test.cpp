#include "job/state.h"
#include "tests/unit/exchange/intake_fixture.h"

namespace qsolve {
namespace {

class VelocityIntake : public IntakeTest {
  protected:
    /// Selects atoms of a chain, numbers from 1 in the order of the list, as the intake leaves
    /// them.
    static void Select(int nAtoms, const std::vector<int>& list) {
        system.nAtoms = nAtoms;
        system.nSelected = static_cast<int>(list.size());
        system.nAtomToSelected.Take(static_cast<std::size_t>(nAtoms), kIntake);
        for (int& nPosition : system.nAtomToSelected) nPosition = -1;
        for (std::size_t i = 0; i < list.size(); ++i)
            system.nAtomToSelected[list[i] - 1] = static_cast<int>(i) + 1;
    }
    static void Ready(const std::vector<float>& v) {
        IntakeTest::Ready(v.data(), v.size() * sizeof(float));
    }
    std::vector<double> v_ = std::vector<double>(9, -1.0);
    int Read() {
        return FailureOf([&] { ReceiveVelocities(v_.data()); });
    }
};

TEST_F(VelocityIntake, PutsRowsOfAtomsInTheOrderOfTheList) {
    Select(4, {4, 1});
    Ready({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    EXPECT_EQ(Read(), 0);
    EXPECT_EQ(v_, (std::vector<double>{10, 11, 12, 1, 2, 3, -1, -1, -1}));
    EXPECT_EQ(client.nDemands, 1);
}

TEST_F(VelocityIntake, LooksAtNoOtherAtoms) {
    Select(2, {2});
    Ready({std::numeric_limits<float>::quiet_NaN(), 1e30F, 0, 4, 5, 6});
    EXPECT_EQ(Read(), 0);
}

TEST_F(VelocityIntake, RefusesWhatIsNoNumber) {
    for (const float fl : {std::numeric_limits<float>::quiet_NaN(), 1e6F, -1e6F,
                           std::numeric_limits<float>::infinity()}) {
        NewScriptedClient();
        Select(2, {1, 2});
        Ready({1, 2, 3, 4, fl, 6});
        EXPECT_EQ(Read(), kMsgVelocityNotANumber) << fl;
        EXPECT_EQ(Errors(),
                  std::vector<std::string>{"A velocity of an atom is not a number (atom 2)."});
    }
}

TEST_F(VelocityIntake, RefusesAShortPacket) {
    Select(2, {1, 2});
    Ready({1, 2, 3, 4, 5});
    EXPECT_EQ(Read(), kMsgPacketShort);
}

TEST_F(VelocityIntake, PullsThirteenHundredAndSixtyFiveAtomsAtATime) {
    for (const int nAtoms : {1364, 1365, 1366, 2731}) {
        NewScriptedClient();
        Select(nAtoms, {nAtoms});
        std::vector<float> all(3 * static_cast<std::size_t>(nAtoms), 0.5F);
        all[all.size() - 1] = 7.0F;
        for (std::size_t i = 0; i < all.size(); i += 3 * 1365)
            IntakeTest::Ready(&all[i],
                              sizeof(float) * std::min<std::size_t>(3 * 1365, all.size() - i));
        EXPECT_EQ(Read(), 0);
        EXPECT_EQ(v_[2], 7.0) << nAtoms;
        EXPECT_EQ(client.nDemands, (nAtoms + 1364) / 1365);
    }
}

TEST_F(VelocityIntake, FailsWithoutMemory) {
    Select(1, {1});
    memory.nTaken = 0;
    memory.nFailAt = 0;
    EXPECT_EQ(Read(), kMsgOutOfMemory);
    memory.nFailAt = -1;
}

}  // namespace
}  // namespace qsolve
