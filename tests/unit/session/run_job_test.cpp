#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "session/session.h"
#include "setup/parameters.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Optimisation : public FreshState {
  protected:
    static JobScript Job(JobScript script, int nOptimiser, int nMaxCycles = 300) {
        script.Job.nCalcKind = kOptimisation;
        script.Job.nOptimiser = nOptimiser;
        script.Job.nMaxCycles = nMaxCycles;
        script.Job.flRmsGradient = 0.02F;
        script.Options.flConvergenceLimit = 1e-8F;
        return script;
    }

    static void Play(const JobScript& script) {
        ResetAllState();
        NewScriptedClient();
        PlaySession(script);
    }

    /// Kinds and sizes of what came after the node count, texts left out.
    static std::vector<std::pair<int, std::size_t>> Packets() {
        std::vector<std::pair<int, std::size_t>> found;
        for (const SentPacket& packet : client.Sent)
            if (packet.nType < kPacketLogLine)
                found.emplace_back(packet.nType, packet.Payload.size());
        found.erase(found.begin());
        return found;
    }

    static ResultBlock LastBlock() {
        ResultBlock block;
        for (const SentPacket& packet : client.Sent)
            if (packet.nType == kPacketData && packet.Payload.size() == sizeof block)
                std::memcpy(&block, packet.Payload.data(), sizeof block);
        return block;
    }

    /// Distances of all pairs of atoms, Angstrom.
    static std::vector<double> Distances() {
        const double dUnit = UsesAtomicUnits(system.MethodId) ? kAngstromPerBohr : 1.0;
        std::vector<double> found;
        for (int i = 0; i < system.nAtoms; ++i)
            for (int j = 0; j < i; ++j) {
                double r2 = 0.0;
                for (int k = 0; k < 3; ++k)
                    r2 += std::pow(system.pCoords[3 * i + k] - system.pCoords[3 * j + k], 2);
                found.push_back(dUnit * std::sqrt(r2));
            }
        return found;
    }
};

JobScript DistortedWater(int nMethod) {
    return Molecule(nMethod, {{8, 0.05, 0.1, -0.02}, {1, 0.9, 0.72, 0.1}, {1, -0.85, 0.5, -0.3}});
}

JobScript DistortedFormaldehyde(int nMethod) {
    return Molecule(
        nMethod,
        {{6, 0, 0, 0.05}, {8, 0.02, 0.04, 1.3}, {1, 0.85, 0.1, -0.6}, {1, -1.0, 0.05, -0.5}});
}

class EveryMethod : public Optimisation, public testing::WithParamInterface<int> {};

TEST_P(EveryMethod, HasOneMinimumForAllThreeOptimisers) {
    for (const JobScript& start : {DistortedWater(GetParam()), DistortedFormaldehyde(GetParam())}) {
        std::vector<double> energies;
        std::vector<std::vector<double>> shapes;
        for (const int nOptimiser : {kPolakRibiere, kFletcherReeves, kSteepestDescent}) {
            Play(Job(start, nOptimiser, 3000));
            EXPECT_TRUE(client.Errors().empty());
            ASSERT_EQ(LastBlock().fConverged, 1) << nOptimiser;
            energies.push_back(scf.dTotalEnergy);
            shapes.push_back(Distances());
        }
        for (std::size_t k = 1; k < 3; ++k) {
            // Within the limit of 0.02 kcal/mol/Angstrom and force constants above 50.
            EXPECT_NEAR(energies[k], energies[0], 1e-4);
            for (std::size_t i = 0; i < shapes[0].size(); ++i)
                EXPECT_NEAR(shapes[k][i], shapes[0][i], 2e-3);
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Methods, EveryMethod, testing::Values(kAm1, kPm3, kMndo, kCndo));

TEST_F(Optimisation, SendsReportPointsAndThenItsTail) {
    JobScript script = Job(DistortedWater(kAm1), kPolakRibiere, 2);
    script.Job.flRmsGradient = 1e-6F;
    script.Job.nReportPeriod = 1;
    script.Options.nExtensions = kPreciseResults;
    Play(script);
    using Packet = std::pair<int, std::size_t>;
    const std::vector<Packet> point{{kPacketData, 172}, {kPacketData, 36}, {kPacketCharges, 12}};
    const Packet precise{kPacketPrecise, 16 + 72}, orbitals{kPacketData, 4 + 24 * 6};
    std::vector<Packet> expected;
    for (int i = 0; i < 3; ++i) {
        expected.insert(expected.end(), point.begin(), point.end());
        if (i == 2) expected.insert(expected.end(), {{kPacketData, 4}, orbitals});
        expected.push_back(precise);
    }
    EXPECT_EQ(Packets(), expected);
    EXPECT_EQ(LastBlock().fFinalResult, 1);
    EXPECT_EQ(LastBlock().fConverged, 0);
    EXPECT_EQ(LastBlock().nCycles, 2);
}

/// The account of SCFs in the last block of sections, which is the last section of it.
ScfRecord LastAccount() {
    ScfRecord account;
    std::vector<unsigned char> bytes;
    for (const SentPacket& packet : client.Sent)
        if (packet.nType == kPacketPrecise) bytes = packet.Payload;
    if (bytes.size() < sizeof account)
        ADD_FAILURE() << "no block";
    else
        std::memcpy(&account, bytes.data() + bytes.size() - sizeof account, sizeof account);
    return account;
}

TEST_F(Optimisation, OverUnconvergedScfsIsTold) {
    JobScript script = Job(DistortedWater(kAm1), kPolakRibiere);
    script.Options.nExtensions = static_cast<int>(kSectionsMark | 1U << kScfSection);
    Play(script);
    EXPECT_EQ(LastAccount().nUnconverged, 0);
    EXPECT_EQ(LastAccount().nRuns, scf.nScfRuns + 1);
    EXPECT_GT(LastAccount().nRuns, 5);

    script.Options.nIterationLimit = 1;
    Play(script);
    EXPECT_EQ(LastAccount().fConverged, 0);
    EXPECT_GT(LastAccount().nRuns, 1);
    EXPECT_EQ(LastAccount().nUnconverged, LastAccount().nRuns);
}

// Single precision holds the places to 6e-8 Angstrom, at forces of 100 kcal/(mol Angstrom).
TEST_F(Optimisation, StartsFromPlacesInDoublePrecision) {
    const std::vector<double> xyz = {0.0500000123, 0.1,   -0.02,        0.9, 0.7199999871,
                                     0.1,          -0.85, 0.5000000456, -0.3};
    for (const int nMethod : {int{kAm1}, int{kCndo}}) {
        JobScript script = DistortedWater(nMethod);
        script.Options.flConvergenceLimit = 1e-9F;
        const double dEnergy = EnergyOf(script, xyz), dRounded = EnergyOf(script);
        EXPECT_GT(std::abs(dEnergy - dRounded), 1e-7);
        script.Options.nExtensions = static_cast<int>(kSectionsMark | kFurtherOptionsBit);
        script.AddSection(kGivenCoordinates, xyz);
        for (const float fl : {0.0F, 100.0F}) {  // whatever stands in the records
            script.Atoms[1].flX += fl;
            Play(script);
            EXPECT_TRUE(client.Errors().empty());
            EXPECT_EQ(scf.dTotalEnergy, dEnergy);
        }
    }
}

TEST_F(Optimisation, UnknownOptimiserSendsTheTailAndComputesNothing) {
    for (const int nOptimiser : {3, 5, -1, 1000}) {
        Play(Job(DistortedWater(kAm1), nOptimiser));
        EXPECT_TRUE(client.Errors().empty());
        EXPECT_EQ(Packets().size(), 5u);
        EXPECT_EQ(scf.nScfRuns, -1);
        EXPECT_EQ(LastBlock().fFinalResult, 1);
    }
}

TEST_F(Optimisation, EigenvectorFollowingEndsWhereTheOthersDo) {
    for (const int nMethod : {int{kAm1}, int{kCndo}}) {
        Play(Job(DistortedWater(nMethod), kPolakRibiere));
        const float flOther = LastBlock().flTotalEnergy;
        Play(Job(DistortedWater(nMethod), kEigenvectorFollowing));
        EXPECT_TRUE(client.Errors().empty());
        EXPECT_EQ(LastBlock().fConverged, 1);
        EXPECT_NEAR(LastBlock().flTotalEnergy, flOther, 0.01F);
    }
}

/// A search for the flat form of ammonia, from a pyramid that is nearly flat.
JobScript FlatteningAmmonia(int nMethod) {
    JobScript script = Molecule(
        nMethod,
        {{7, 0.02, 0.0, 0.05}, {1, 1.0, 0.02, 0.0}, {1, -0.5, 0.87, -0.02}, {1, -0.5, -0.86, 0.0}});
    script.Job.nCalcKind = kTransitionState;
    script.Job.nMaxCycles = 60;
    script.Job.nReportPeriod = 0;
    script.Job.flRmsGradient = 0.02F;
    script.Options.flConvergenceLimit = 1e-8F;
    script.Options.fComputeHessian = script.Options.fTsSearch = script.Options.nFollowMode = 1;
    return script;
}

using Transition = Optimisation;

TEST_F(Transition, EndsAtASaddlePointAndSendsTheTailOfASearch) {
    for (const int nMethod : {int{kAm1}, int{kCndo}}) {
        JobScript script = FlatteningAmmonia(nMethod);
        Play(script);
        EXPECT_TRUE(client.Errors().empty());
        EXPECT_EQ(results.Block.fConverged, 1);
        EXPECT_EQ(results.Block.nNegativeEigenvalues, 1);
        // Flat: the nitrogen lies in the plane of the hydrogens.
        const std::vector<double> d = Distances();
        EXPECT_NEAR(d[0], d[2] / std::sqrt(3.0), 2e-3);
        // Block, coordinates, charges, then the number of orbitals and the orbital data.
        EXPECT_EQ(Packets().size(), 5u);
    }
}

TEST_F(Transition, ThatOnlyComputesItsHessianSendsTheModesAndNoGeometry) {
    JobScript script = FlatteningAmmonia(kAm1);
    script.Options.fTsSearch = 0;
    Play(script);
    const auto packets = Packets();
    ASSERT_EQ(packets.size(), 8u);
    EXPECT_EQ(packets[0].second, sizeof(ResultBlock));
    EXPECT_EQ(packets[1].first, kPacketCharges);
    EXPECT_EQ(packets[5].second, 12 * sizeof(ModeRecord));
    EXPECT_EQ(packets[7].second, 12 * 12 * sizeof(float));
    EXPECT_EQ(results.Block.fConverged, 0);
}

TEST_F(Transition, TakesUpTheHessianOfTheSessionBefore) {
    JobScript script = FlatteningAmmonia(kAm1);
    Play(script);
    NewScriptedClient();
    script.Options.fComputeHessian = 0;
    PlaySession(script);
    EXPECT_TRUE(client.Errors().empty());
    EXPECT_EQ(results.Block.fConverged, 1);
    Play(script);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgHessianMissing)});
}

TEST_F(Transition, OfASectionOfAWrongSizeIsRefused) {
    JobScript script = FlatteningAmmonia(kAm1);
    script.Options.nExtensions = static_cast<int>(kSectionsMark | kFurtherOptionsBit);
    script.AddSection(kSearchSection, std::vector<double>{0.0, 0.0});
    Play(script);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_NE(client.Errors()[0].find("search"), std::string::npos);
}

// The energy that is minimised is the one with the restraint, and its force is the missing part of
// the gradient: both must be there for a search to end.
TEST_F(Optimisation, RestraintHoldsADistance) {
    for (const int nMethod : {int{kAm1}, int{kCndo}}) {
        JobScript script = Job(DistortedWater(nMethod), kPolakRibiere);
        script.Job.fRestraints = 1;
        RestraintRecord stretch{.nKind = kStretch, .flForceConstant = 5000, .flTarget = 1.2F};
        stretch.nAtom[1] = 1;
        script.Restraints[kStretch].push_back(stretch);
        Play(script);
        ASSERT_TRUE(client.Errors().empty());
        const ResultBlock block = LastBlock();
        EXPECT_EQ(block.fConverged, 1) << nMethod;
        EXPECT_NEAR(Distances()[0], 1.2, 0.03);
        const double d = Distances()[0] - 1.2;
        EXPECT_NEAR(static_cast<double>(block.flStretchEnergy), 5000 * d * d, 2e-3);
    }
}

}  // namespace
}  // namespace qsolve
