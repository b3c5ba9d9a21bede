#include "scf/electronic_energy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "integrals/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"
#include "tests/support/told_text.h"

namespace qsolve {
namespace {

using ElectronicEnergy = FreshState;

std::vector<double> Symmetric(int n, double dSeed) {
    std::vector<double> m(static_cast<std::size_t>(n * n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            m[static_cast<std::size_t>(i * n + j)] = std::sin(dSeed * (i + j + 1) + i * j);
    return m;
}

TEST_F(ElectronicEnergy, IsHalfTheTraceOfCoreAndFockWithTheDensity) {
    for (const int n : {0, 1, 2, 5, 9}) {
        const std::vector<double> h = Symmetric(n, 1.3), f = Symmetric(n, 0.4),
                                  p = Symmetric(n, 2.7);
        double dWanted = 0.0;
        for (std::size_t t = 0; t < p.size(); ++t) dWanted += 0.5 * (h[t] + f[t]) * p[t];
        EXPECT_NEAR(ComputeElectronicEnergy(n, h.data(), f.data(), p.data()), dWanted, 1e-13);
    }
}

TEST_F(ElectronicEnergy, RestrictedDensityIsHalvedIntoTheSpin) {
    SetUpJob(Water(kCndo));
    for (double& d : scf.mDensityA) d = 0.8;
    FinishDensity();
    for (std::size_t i = 0; i < 36; ++i) {
        EXPECT_EQ(scf.mDensityT[i], 0.8);
        EXPECT_EQ(scf.mDensityA[i], 0.4);
    }
}

TEST_F(ElectronicEnergy, UnrestrictedDensityIsTheSumOfTheSpins) {
    JobScript script = Water(kCndo);
    script.Options.nSpinTreatment = 1;
    SetUpJob(script);
    for (double& d : scf.mDensityA) d = 0.5;
    for (double& d : scf.mDensityB) d = 0.25;
    FinishDensity();
    for (std::size_t i = 0; i < 36; ++i) {
        EXPECT_EQ(scf.mDensityT[i], 0.75);
        EXPECT_EQ(scf.mDensityA[i], 0.5);
    }
}

TEST_F(ElectronicEnergy, NddoPopulationsAreRefreshedWithTheDensity) {
    SetUpJob(Water(kAm1));
    for (std::size_t i = 0; i < 6; ++i) scf.mDensityA[i * 7] = 1.0 + static_cast<double>(i);
    FinishDensity();
    EXPECT_EQ(integrals.vAtomScratch1[0], 1.0 + 2.0 + 3.0 + 4.0);
    EXPECT_EQ(integrals.vAtomScratch1[2], 6.0);
    EXPECT_EQ(integrals.vAtomScratch2[0], 0.0);
}

TEST_F(ElectronicEnergy, ChargeOriginOfAnIonIsItsCentreOfMass) {
    JobScript script = Water(kCndo);
    script.Options.nTotalCharge = -2;
    script.Options.nMultiplicity = 1;
    SetUpJob(script);
    ComputeChargeOrigin();
    const double mO = 15.9994, mH = 1.00794;
    EXPECT_NEAR(scf.dChargeOrigin[1], 1.889726 * mH * 0.9266272 / (mO + 2 * mH), 2e-5);
    EXPECT_NEAR(scf.dChargeOrigin[0], 1.889726 * mH * (0.9572 - 0.2399872) / (mO + 2 * mH), 2e-5);
    EXPECT_EQ(scf.dChargeOrigin[2], 0.0);
}

TEST_F(ElectronicEnergy, ChargeOriginOfAMoleculeOrAnAtomIsZero) {
    SetUpJob(Water(kCndo));
    scf.dChargeOrigin[1] = 5.0;
    ComputeChargeOrigin();
    EXPECT_EQ(scf.dChargeOrigin[1], 0.0);
    JobScript script = Molecule(kCndo, {{3, 1.0, 2.0, 3.0}});
    script.Options.nTotalCharge = 1;
    SetUpJob(script);
    ComputeChargeOrigin();
    EXPECT_EQ(scf.dChargeOrigin[0], 0.0);
}

TEST_F(ElectronicEnergy, WrongTraceIsWarnedOf) {
    SetUpJob(Water(kCndo));
    for (std::size_t i = 0; i < 6; ++i) scf.mDensityT[i * 7] = 8.0 / 6.0;
    CheckDensityTrace(8.0);
    EXPECT_TRUE(client.Warnings().empty());
    scf.mDensityT[0] += 0.5e-6;
    CheckDensityTrace(8.0);
    EXPECT_TRUE(client.Warnings().empty());
    scf.mDensityT[0] += 1.0 - 0.5e-6;
    CheckDensityTrace(8.0);
    ASSERT_EQ(client.Warnings().size(), 1u);
    EXPECT_EQ(client.Warnings()[0], ToldText(kMsgDensityTrace, 9.0, 8.0));
}

TEST_F(ElectronicEnergy, WrongTraceOfTheDensityThatMadeTheEnergyIsWarnedOf) {
    SetUpJob(Water(kCndo));
    for (std::size_t i = 0; i < 6; ++i) scf.mDensityT[i * 7] = 8.0 / 6.0;
    CheckDensityTrace(10.0);
    ASSERT_EQ(client.Warnings().size(), 1u);
    EXPECT_NE(client.Warnings()[0].find("holds 10.00000"), std::string::npos);
}

}  // namespace
}  // namespace qsolve
