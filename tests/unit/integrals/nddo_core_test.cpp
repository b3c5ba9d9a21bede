#include "integrals/nddo_core.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "integrals/integrals.h"
#include "integrals/state.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class NddoCoreTest : public FreshState {
  protected:
    /// The core Hamiltonian and store of a molecule. Returns the core-core energy, eV.
    static double Build(const JobScript& script) {
        SetUpJob(script);
        return Build();
    }
    static double Build() {
        double dEnergy = 0.0;
        BuildOverlapMatrix(scf.mCore.Data(), setup.nOrbitals, setup.nOrbitals);
        BuildNddoCore(scf.mCore.Data(), integrals.pIntegrals.Data(), integrals.pPairIndex.Data(),
                      &dEnergy, setup.nOrbitals, setup.nOrbitals);
        return dEnergy;
    }
    static double Core(int i, int j) { return Row(scf.mCore.Data(), setup.nOrbitals, i)[j]; }
    static int Index(int iA, int iB) {
        return BlockOf(integrals.pPairIndex.Data(), system.nSelected, iA, iB);
    }
    static bool IsFinite(const Array<double>& m) {
        for (const double d : m)
            if (!std::isfinite(d)) return false;
        return true;
    }
};

std::vector<Place> Formamide() {
    return {{6, 0, 0, 0},       {8, 1.1, 0.4, -0.2}, {7, -0.9, 0.9, 0.3},
            {1, -0.3, -1, 0.2}, {1, -1.8, 0.6, 0.5}, {1, -0.8, 1.8, 0.1}};
}

TEST_F(NddoCoreTest, OfTwoHydrogensIsWrittenOut) {
    const double R = 0.8;
    SetUpJob(Molecule(kMndo, {{1, 0, 0, 0}, {1, 0, 0, R}}));
    SetPositions({0, 0, 0, 0, 0, R});
    const double dEnergy = Build();
    const NddoRow& h = setup.pNddo[0];
    const double r = R * 1.889725985, g = 27.211396 / std::sqrt(r * r + std::pow(1.0 / h.dRho0, 2));
    const double zr = h.dZetaS * r, S = std::exp(-zr) * (1 + zr + zr * zr / 3);
    EXPECT_NEAR(Core(0, 0), h.dUss - g, 1e-11);
    EXPECT_NEAR(Core(1, 1), h.dUss - g, 1e-11);
    EXPECT_NEAR(Core(0, 1), h.dBetaS * S, 1e-7);
    EXPECT_EQ(Core(1, 0), Core(0, 1));
    EXPECT_NEAR(dEnergy, g * (1 + 2 * std::exp(-h.dAlpha * R)), 1e-11);
    EXPECT_EQ(Index(0, 1), 0);
    EXPECT_EQ(Index(1, 0), 1);
    EXPECT_NEAR(integrals.pIntegrals[0], g, 1e-12);
    EXPECT_EQ(integrals.pIntegrals[1], integrals.pIntegrals[0]);
}

TEST_F(NddoCoreTest, StoresTheBlocksOfAllOrderedPairsOneAfterTheOther) {
    for (const int nMethod : {kMindo3, kAm1}) {
        Build(Molecule(nMethod, Formamide()));
        int nNext = 0;
        for (int iA = 0; iA < 6; ++iA)
            for (int iB = 0; iB < 6; ++iB) {
                if (iA == iB) {
                    EXPECT_EQ(Index(iA, iB), kNoBlock);
                    continue;
                }
                EXPECT_EQ(Index(iA, iB), nNext);
                const int nA = iA < 3 && nMethod == kAm1 ? 10 : 1;
                const int nB = iB < 3 && nMethod == kAm1 ? 10 : 1;
                const double* p = integrals.pIntegrals.Data() + nNext;
                const double* q = integrals.pIntegrals.Data() + Index(iB, iA);
                for (int m = 0; m < nA; ++m)
                    for (int n = 0; n < nB; ++n) EXPECT_EQ(p[m * nB + n], q[n * nA + m]);
                nNext += nA * nB;
            }
        EXPECT_LE(static_cast<std::size_t>(nNext), integrals.pIntegrals.Size());
    }
}

TEST_F(NddoCoreTest, IsSymmetricAndAttractsByAllOtherCores) {
    Build(Molecule(kPm3, Formamide()));
    for (int i = 0; i < setup.nOrbitals; ++i)
        for (int j = 0; j < i; ++j) EXPECT_EQ(Core(i, j), Core(j, i));
    // Orbitals 1 and 2 are x and y of the first atom: no U, no overlap, attraction alone.
    double dAttraction = 0.0;
    for (int iB = 1; iB < 6; ++iB) {
        const NddoAtom b = NddoAtomAt(iB);
        dAttraction -= b.dCore * integrals.pIntegrals[Index(0, iB) + 4 * b.nProducts];
    }
    EXPECT_NEAR(Core(1, 2), dAttraction, 1e-12);
}

TEST_F(NddoCoreTest, OfMindoHasItsResonanceByPairs) {
    Build(Molecule(kMindo3, Formamide()));
    const int n = setup.nOrbitals;
    std::vector<double> mOverlap(static_cast<std::size_t>(n * n));
    BuildOverlapMatrix(mOverlap.data(), n, n);
    const NddoAtom a = NddoAtomAt(0), b = NddoAtomAt(1);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_NEAR(
                Core(i, 4 + j),
                mOverlap[static_cast<std::size_t>(i * n + 4 + j)] * MindoResonance(a, i, b, j),
                1e-14);
    EXPECT_EQ(Core(1, 2), 0.0);
}

TEST_F(NddoCoreTest, LeavesOutDummiesAndAtomsInOnePlace) {
    for (const int nMethod : {kMindo3, kMndo, kAm1, kPm3}) {
        SetUpJob(Molecule(nMethod, {{8, 0, 0, 0}, {0, 5, 0, 0}, {8, 0, 2, 0}, {6, 1, 1, 1}}));
        SetPositions({0, 0, 0, 5, 0, 0, 0, 9e-4, 0, 1, 1, 1});
        std::fill(integrals.pIntegrals.begin(), integrals.pIntegrals.end(), 0.0);
        const double dEnergy = Build();
        EXPECT_TRUE(std::isfinite(dEnergy));
        EXPECT_TRUE(IsFinite(scf.mCore) && IsFinite(integrals.pIntegrals));
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(Index(1, i), kNoBlock);
            EXPECT_EQ(Index(i, 1), kNoBlock);
        }
        EXPECT_EQ(Index(0, 2), kNoBlock);
        EXPECT_NE(Index(0, 3), kNoBlock);
        RunScf();
        EXPECT_TRUE(std::isfinite(scf.dTotalEnergy)) << nMethod;
        SetPositions({0, 0, 0, 5, 0, 0, 0, 1.1e-3, 0, 1, 1, 1});  // just apart
        EXPECT_TRUE(std::isfinite(Build()) && IsFinite(scf.mCore));
        EXPECT_NE(Index(0, 2), kNoBlock);
    }
}

TEST_F(NddoCoreTest, WithoutMemoryForItsTableIsFatal) {
    SetUpJob(Molecule(kAm1, Formamide()));
    const int n = setup.nOrbitals;
    memory = MemoryState{.nFailAt = 0, .nBytesHeld = memory.nBytesHeld};
    double dEnergy = 0.0;
    EXPECT_THROW(BuildNddoCore(scf.mCore.Data(), integrals.pIntegrals.Data(),
                               integrals.pPairIndex.Data(), &dEnergy, n, n),
                 Unwinding);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_NE(client.Errors()[0].find("exhausted all available memory"), std::string::npos);
}

/// Energies do not depend on how a molecule lies, bonds on an axis and near it included.
class TurnedMolecules : public NddoCoreTest, public testing::WithParamInterface<int> {};

TEST_P(TurnedMolecules, HaveOneEnergy) {
    // A bent molecule whose first bond lies along v.
    const auto EnergyAlong = [](double x, double y, double z) {
        const double d = std::sqrt(x * x + y * y + z * z);
        const double e[3] = {x / d, y / d, z / d};
        double u[3] = {e[1], -e[0], 0.0};
        const double dU = std::hypot(u[0], u[1]);
        if (dU == 0.0) u[0] = 1.0;
        for (double& c : u) c /= dU == 0.0 ? 1.0 : dU;
        std::vector<double> v(9, 0.0);
        for (std::size_t k = 0; k < 3; ++k) {
            v[3 + k] = 1.25 * e[k];
            v[6 + k] = -0.4 * e[k] + 1.0 * u[k];
        }
        JobScript script = Molecule(GetParam(), {{6, 0, 0, 0}, {8, 1, 0, 0}, {1, 0, 1, 0}});
        script.Options.nTotalCharge = 1;
        script.Options.flConvergenceLimit = 1e-8F;
        return EnergyOf(script, v);
    };
    const double dEnergy = EnergyAlong(0.3, -0.6, 0.5);
    const double vAlong[][3] = {
        {1, 0, 0},       {-1, 0, 0},   {0, 1, 0},         {0, -1, 0},     {0, 0, 1},
        {0, 0, -1},      {1, 1e-6, 0}, {1e-7, 1, 1e-5},   {2e-4, 0, 1},   {1e-4, -2e-4, -1},
        {1e-3, 1e-3, 1}, {1e-4, 0, 1}, {3e-5, -5e-5, -1}, {1e-7, 1e-8, 1}};
    for (const auto& v : vAlong)
        EXPECT_NEAR(EnergyAlong(v[0], v[1], v[2]), dEnergy, 1e-6) << v[0] << v[1] << v[2];
}
INSTANTIATE_TEST_SUITE_P(Methods, TurnedMolecules, testing::Values(kMindo3, kMndo, kAm1, kPm3));

class Dissociation : public NddoCoreTest, public testing::WithParamInterface<int> {};

TEST_P(Dissociation, LeavesTheFragments) {
    const std::vector<Place> water{{8, 0, 0, 0}, {1, 0.96, 0, 0}, {1, -0.24, 0.93, 0}};
    const std::vector<Place> methane{{6, 0, 0, 0},
                                     {1, 0.63, 0.63, 0.63},
                                     {1, -0.63, -0.63, 0.63},
                                     {1, -0.63, 0.63, -0.63},
                                     {1, 0.63, -0.63, -0.63}};
    const double dParts = EnergyOf(Molecule(GetParam(), water), PositionsOf(water)) +
                          EnergyOf(Molecule(GetParam(), methane), PositionsOf(methane));
    std::vector<Place> both = water;
    for (Place p : methane) {
        p.z += 3e4;  // beyond the reach of the exp(-25) that dead Gaussians keep
        both.push_back(p);
    }
    EXPECT_NEAR(EnergyOf(Molecule(GetParam(), both), PositionsOf(both)), dParts, 2e-5);
}
INSTANTIATE_TEST_SUITE_P(Methods, Dissociation, testing::Values(kMindo3, kMndo, kAm1, kPm3));

}  // namespace
}  // namespace qsolve
