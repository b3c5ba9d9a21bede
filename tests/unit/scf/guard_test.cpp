#include "scf/guard.h"

#include <gtest/gtest.h>

#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"

namespace qsolve {
namespace {

class Guard : public FreshState {};

TEST_F(Guard, AnEnergyIsSettledFromTheSecondCycleOn) {
    const GuardedJob job(Molecule(kAm1, kWaterPlaces));
    const GuardLimits limits{1e-6, 1e-6, 100};
    for (int nCycles = 0; nCycles < 5; ++nCycles) {
        EXPECT_EQ(IsEnergySettled(job.electrons, limits, {.nCycles = nCycles}), nCycles >= 2);
        EXPECT_FALSE(
            IsEnergySettled(job.electrons, limits, {.nCycles = nCycles, .dDifference = 1e-6}));
    }
}

/// A change that rounding makes counts as none, whatever the limit: a 1e-14th of the energy, in
/// kcal/mol by the unit of the family.
TEST_F(Guard, RoundingIsNoChange) {
    for (const auto& [nMethod, dKcal] : {std::pair{int{kAm1}, 23.061}, {int{kCndo}, 627.522}}) {
        const GuardedJob job(Molecule(nMethod, kWaterPlaces));
        const double dEnergy = -1e4, dNoise = 1e-14 * 1e4 * dKcal;
        for (const double d : {0.99, 1.01}) {
            const GuardEnd end = {.nCycles = 2, .dEnergy = dEnergy, .dDifference = d * dNoise};
            EXPECT_EQ(IsEnergySettled(job.electrons, {0.0, 0.0, 9}, end), d < 1.0) << nMethod;
        }
    }
}

/// Each matrix is a cycle; the difference is that of the energies, in kcal/mol.
TEST_F(Guard, FockMatricesAreCounted) {
    for (const auto& [nMethod, dKcal] : {std::pair{int{kAm1}, 23.061}, {int{kCndo}, 627.522}}) {
        GuardedJob job(Molecule(nMethod, kWaterPlaces));
        GuardEnd end = {.nCycles = 3, .dEnergy = 1.0};
        NextFock(job.electrons, end);
        EXPECT_EQ(end.nCycles, 4);
        EXPECT_EQ(end.dEnergy, EvaluateFock(job.electrons));
        EXPECT_NEAR(end.dDifference, (1.0 - end.dEnergy) * dKcal, 1e-6 * end.dDifference);
        NextFock(job.electrons, end);
        EXPECT_EQ(end.nCycles, 5);
        EXPECT_NEAR(end.dDifference, 0.0, 1e-8);
    }
}

TEST_F(Guard, CyclesAreToldFromTheSecondOn) {
    SetUpJob(Molecule(kAm1, kWaterPlaces));
    for (int nCycles = 0; nCycles < 4; ++nCycles) {
        const std::size_t nBefore = client.Texts(kPacketStatusLine).size();
        TellCycle({.nCycles = nCycles, .dDifference = 0.25});
        const auto lines = client.Texts(kPacketStatusLine);
        ASSERT_EQ(lines.size(), nBefore + (nCycles >= 2 ? 1 : 0));
        if (nCycles >= 2) {
            const std::string szHead = "Iteration = " + std::to_string(nCycles - 1) + " ";
            EXPECT_EQ(lines.back().find(szHead), 0u);
        }
    }
}

}  // namespace
}  // namespace qsolve
