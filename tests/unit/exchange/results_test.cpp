#include "exchange/results.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Results : public FreshState {
  protected:
    Results() { NewScriptedClient(); }

    /// The payloads of all packets as one array.
    template <class T>
    static std::vector<T> All() {
        std::vector<unsigned char> bytes;
        for (const SentPacket& packet : client.Sent)
            bytes.insert(bytes.end(), packet.Payload.begin(), packet.Payload.end());
        EXPECT_EQ(bytes.size() % sizeof(T), 0u);
        std::vector<T> values(bytes.size() / sizeof(T));
        if (!bytes.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
        return values;
    }

    static std::vector<std::size_t> Sizes() {
        std::vector<std::size_t> sizes;
        for (const SentPacket& packet : client.Sent) sizes.push_back(packet.Payload.size());
        return sizes;
    }

    /// nAtoms hydrogen atoms, atom i at x = i + 0.25.
    static void BuildRow(int nAtoms) {
        BareMolecule molecule;
        for (int i = 0; i < nAtoms; ++i) molecule.Atoms.push_back({1, 1, i + 0.25});
        Build(molecule);
    }

    /// Two atoms at given places in a box of 10 by 10 by 0 Angstrom, bonded to each other.
    static void BuildPair(double x1, double x2) {
        Build({.Atoms = {{1, 1, x1, 1, x1}, {1, 1, x2, 1, x2}}});
        job.fPeriodicBox = 1;
        job.flBoxX = job.flBoxY = 10;
        system.dHalfBoxX = system.dHalfBoxY = 5;
        Bond(0, 1);
        client.Sent.clear();
    }

    static void Bond(int i, int j) {
        system.pAtoms[i].nBonded[system.pAtoms[i].nBonds++] = j;
        system.pAtoms[j].nBonded[system.pAtoms[j].nBonds++] = i;
    }
};

using Floats = std::vector<float>;

TEST_F(Results, BlockIsOnePacketOfAllItsWords) {
    results.Block.flTotalEnergy = -1.5F;
    results.Block.nNegativeEigenvalues = 3;
    SendResultBlock();
    ASSERT_EQ(Sizes(), std::vector<std::size_t>{172});
    EXPECT_EQ(client.Sent[0].nType, 10);
    EXPECT_EQ(All<float>()[0], -1.5F);
    EXPECT_EQ(All<int>()[41], 3);
}

TEST_F(Results, ChargesAreThoseOfAllAtomsInTheirOrder) {
    Build({.Atoms = {{1, 1}, {8, 4}, {17, 4}}, .Selection = {2, 1}});
    for (int i = 0; i < 3; ++i) system.pAtoms[i].flCharge = static_cast<float>(i) - 0.5F;
    SendCharges();
    EXPECT_EQ(client.Sent[0].nType, 20);
    EXPECT_EQ(All<float>(), (Floats{-0.5F, 0.5F, 1.5F}));
}

TEST_F(Results, ChargesOfAFullPacketAndOneMoreAreSplit) {
    BuildRow(4097);
    SendCharges();
    EXPECT_EQ(Sizes(), (std::vector<std::size_t>{16384, 4}));
}

TEST_F(Results, CoordinatesComeInBatchesOf1365Atoms) {
    BuildRow(1365);
    SendCoordinates();
    EXPECT_EQ(Sizes(), std::vector<std::size_t>{16380});
    client.Sent.clear();
    BuildRow(1366);
    SendCoordinates();
    EXPECT_EQ(Sizes(), (std::vector<std::size_t>{16380, 12}));
    EXPECT_EQ(client.Sent[1].nType, 10);
    EXPECT_EQ(All<float>()[3 * 1365], 1365.25F);
}

TEST_F(Results, CoordinatesGoInAngstrom) {
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS, kPm3, kMndoD}) {
        Build({.Atoms = {{1, 1, 2, -4, 8}}, .nMethod = nMethod});
        client.Sent.clear();
        SendCoordinates();
        const double f = nMethod == kPm3 || nMethod == kMndoD ? 1.0 : 0.52917725;
        EXPECT_EQ(All<float>(), (Floats{static_cast<float>(2 * f), static_cast<float>(-4 * f),
                                        static_cast<float>(8 * f)}));
        EXPECT_EQ(system.pCoords[2], 8.0) << "the working unit stays where it is";
    }
}

TEST_F(Results, OfAPairTheSecondAtomGoesBesideTheFirst) {
    BuildPair(1, 9);  // 8 apart: the image at -1 is nearer
    SendCoordinates();
    EXPECT_EQ(All<float>(), (Floats{1, 1, 1, -1, 1, 9}));  // no box along z
    BuildPair(9, 1);
    SendCoordinates();
    EXPECT_EQ(All<float>(), (Floats{9, 1, 9, 11, 1, 1}));
}

TEST_F(Results, HalfABoxIsWrappedForwardAndBack) {
    // The first is 5 above the second, half a box, and then 5 below it.
    BuildPair(7, 2);
    SendCoordinates();
    EXPECT_EQ(All<float>()[3], 12);
    BuildPair(2, 7);
    SendCoordinates();
    EXPECT_EQ(All<float>()[3], -3);
    BuildPair(2, 6.5);
    SendCoordinates();
    EXPECT_EQ(All<float>()[3], 6.5F);
}

TEST_F(Results, AxisWithoutAnEdgeIsNotWrapped) {
    BuildPair(1, 9);
    job.flBoxX = 0;
    system.dHalfBoxX = 0;
    job.flBoxY = -10;  // no edge either
    system.dHalfBoxY = -5;
    SendCoordinates();
    EXPECT_EQ(All<float>(), (Floats{1, 1, 1, 9, 1, 9}));
}

TEST_F(Results, OnlyAtomsWithOneBondAreWrapped) {
    Build({.Atoms = {{1, 1, 9.5}, {8, 4, 0.5}, {1, 1, 9}, {1, 1, 8.5}}});
    job.fPeriodicBox = 1;
    job.flBoxX = 10;
    system.dHalfBoxX = 5;
    Bond(0, 1);
    Bond(1, 2);
    SendCoordinates();
    const Floats xyz = All<float>();
    EXPECT_EQ(xyz[0], -0.5F);  // before its partner in the list, which has two bonds
    EXPECT_EQ(xyz[3], 0.5F);
    EXPECT_EQ(xyz[6], -1.0F);
    EXPECT_EQ(xyz[9], 8.5F);  // no bond

    client.Sent.clear();
    job.fPeriodicBox = 0;
    SendCoordinates();
    EXPECT_EQ(All<float>()[0], 9.5F);
}

TEST_F(Results, BoxIsInAngstromWhereTheMethodWorksInBohr) {
    BuildPair(1, 9);
    system.MethodId = kCndo;  // 8 bohr are 4.2 Angstrom, less than half the box
    SendCoordinates();
    EXPECT_EQ(All<float>()[3], static_cast<float>(9 * 0.52917725));
}

TEST_F(Results, VelocitiesStandAtTheirAtomsAndAreZeroElsewhere) {
    Build({.Atoms = {{1, 1}, {1, 1}, {1, 1}, {1, 1}}, .Selection = {4, 2}});
    const double v[] = {1, 2, 3, 4, 5, 6};
    // Memory that has been used shows whether the buffer is cleared.
    Array<float> used;
    used.Take(12, kWork);
    std::fill(used.begin(), used.end(), 7.0F);
    used.Reset();
    SendVelocities(v);
    EXPECT_EQ(All<float>(), (Floats{0, 0, 0, 4, 5, 6, 0, 0, 0, 1, 2, 3}));
}

TEST_F(Results, PreciseResultsAreSentOnlyWhenAskedFor) {
    BuildRow(2);
    SendPreciseResults();
    EXPECT_TRUE(client.Sent.empty());
    options.nExtensions = kPreciseResults + 1;
    SendPreciseResults();
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(Results, PreciseResultsWithoutAGradientAreTheEnergyAlone) {
    BuildRow(2);
    options.nExtensions = kPreciseResults;
    scf.dTotalEnergy = -1.0 / 3;
    gradient.pGradient.Take(6, kIntake);
    SendPreciseResults();
    ASSERT_EQ(Sizes(), std::vector<std::size_t>{16});
    EXPECT_EQ(client.Sent[0].nType, 30);
    EXPECT_EQ(All<int>()[0], 1);
    EXPECT_EQ(All<int>()[1], 0);
    EXPECT_EQ(All<double>()[1], -1.0 / 3);
}

TEST_F(Results, PreciseGradientIsPerAngstromInAtomOrder) {
    for (const int nMethod : {kPm3, kZindo1}) {
        Build({.Atoms = {{1, 1}, {1, 1}, {1, 1}}, .Selection = {3, 1}, .nMethod = nMethod});
        client.Sent.clear();
        options.nExtensions = kPreciseResults;
        gradient.pGradient.Take(6, kIntake);
        for (int i = 0; i < 6; ++i) gradient.pGradient[i] = i + 1;
        gradient.fComputed = true;
        SendPreciseResults();
        ASSERT_EQ(Sizes(), std::vector<std::size_t>{16 + 72});
        EXPECT_EQ(All<int>()[1], 1);
        const double f = nMethod == kPm3 ? 1 : 1.889725985;
        const std::vector<double> values = All<double>();
        const double expected[] = {4, 5, 6, 0, 0, 0, 1, 2, 3};
        for (std::size_t i = 0; i < 9; ++i) EXPECT_DOUBLE_EQ(values[2 + i], f * expected[i]);
    }
}

TEST_F(Results, EachSendSaysThatMemoryIsExhausted) {
    BuildRow(2);
    options.nExtensions = kPreciseResults;
    const double v[6] = {};
    const std::function<void()> sends[] = {
        SendCharges,     SendCoordinates,  [&] { SendVelocities(v); },
        SendOrbitalData, SendEigenvectors, SendPreciseResults,
    };
    for (const auto& send : sends)
        for (int nFail = 0; nFail < 10; ++nFail) {
            memory = MemoryState{.nFailAt = nFail, .nBytesHeld = memory.nBytesHeld};
            const std::size_t nBefore = memory.nBytesHeld;
            client.Sent.clear();
            bool fFailed = false;
            try {
                send();
            } catch (const Unwinding& failure) {
                fFailed = true;
                EXPECT_EQ(failure.nId, kMsgOutOfMemory);
                EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgOutOfMemory)});
            }
            EXPECT_EQ(memory.nBytesHeld, nBefore);
            EXPECT_EQ(fFailed, memory.nTaken > nFail);
            if (!fFailed) break;
            EXPECT_LT(nFail, 9);
        }
}

}  // namespace
}  // namespace qsolve
