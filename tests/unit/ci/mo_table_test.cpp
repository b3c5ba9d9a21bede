#include "ci/mo_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "integrals/mo_dipole.h"
#include "integrals/mo_integral.h"
#include "job/methods.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/all_integrals.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

class MoTables : public FreshState, public testing::WithParamInterface<int> {
  protected:
    /// A molecule without symmetry, and orbitals that are none of its.
    MoTables() {
        const int nHeavy = GetParam() == kMndoD ? 16 : GetParam() == kZindoS ? 22 : 6;
        EnergyOf(Molecule(
            GetParam(),
            {{nHeavy, 0, 0, 0}, {1, -0.6, 0, 0.8}, {8, 0.9, 1.1, 0.4}, {1, -0.2, -1, -0.5}}));
    }
    const double* Orbital(int k) const { return Row(mOrbitals.Data(), setup.nOrbitals, k); }
    void Fill(int nLevels) {
        mOrbitals = RandomMatrix(nLevels, setup.nOrbitals, 17);
        FillMoTable(nLevels, mOrbitals.Data(), scf.dChargeOrigin, table);
    }
    TestMatrix mOrbitals{0, 0};
    MoTable table;
};
INSTANTIATE_TEST_SUITE_P(Methods, MoTables,
                         testing::Values(kCndo, kIndo, kZindo1, kZindoS, kMindo3, kAm1, kMndoD));

TEST_P(MoTables, AreTheSumsOverAllFourAtomicOrbitals) {
    const AllIntegrals all;
    Fill(3);
    for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b)
            for (int c = 0; c < 3; ++c)
                for (int d = 0; d < 3; ++d)
                    EXPECT_NEAR(Integral(table, a, b, c, d),
                                all.Sum(Orbital(a), Orbital(b), Orbital(c), Orbital(d)), 1e-10)
                        << a << b << c << d;
}

/// Twelve levels make 78 pairs, more than a strip of potentials.
TEST_P(MoTables, AreTheIntegralsOfEachPairWhateverTheStrip) {
    Fill(12);
    EXPECT_EQ(table.nPairs, 78);
    std::vector<double> vWork(static_cast<std::size_t>(2 * MoProductSize()));
    for (const auto& [a, b, c, d] :
         {std::array{0, 0, 11, 11}, {11, 11, 11, 11}, {3, 10, 11, 2}, {5, 6, 1, 0}, {9, 4, 4, 9}}) {
        EXPECT_NEAR(Integral(table, a, b, c, d),
                    MoIntegral(Orbital(a), Orbital(b), Orbital(c), Orbital(d), vWork.data()),
                    1e-10);
        EXPECT_EQ(Integral(table, a, b, c, d), Integral(table, d, c, a, b));
    }
}

TEST_P(MoTables, HoldTheDipoleOfEachPair) {
    Fill(4);
    const int n = MoProductSize();
    std::vector<double> mForm(static_cast<std::size_t>(3 * n)), x(static_cast<std::size_t>(n));
    FillMoDipole(scf.dChargeOrigin, mForm.data());
    for (int k = 0; k < 3; ++k)
        for (int a = 0; a < 4; ++a)
            for (int b = 0; b <= a; ++b) {
                FillMoProduct(Orbital(b), Orbital(a), x.data());
                EXPECT_NEAR(Row(table.mDipole.Data(), table.nPairs, k)[PairOf(b, a)],
                            Dot(n, Row(mForm.data(), n, k), x.data()), 1e-11);
            }
}

using MoTableJob = FreshState;

std::vector<std::string> ProgressOf(int nLevels) {
    EnergyOf(Molecule(kAm1, {{6, 0, 0, 0}, {8, 1.2, 0, 0}, {6, 2, 1, 0}, {6, 3, 1, 1}}));
    const std::size_t nBefore = client.Texts(kPacketStatusLine).size();
    MoTable table;
    FillMoTable(nLevels, scf.mVectorsA.Data(), scf.dChargeOrigin, table);
    std::vector<std::string> lines = client.Texts(kPacketStatusLine);
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(nBefore));
    return lines;
}

TEST_F(MoTableJob, TellsItsProgressInTenths) {
    EXPECT_EQ(ProgressOf(2),
              (std::vector<std::string>{"Computing the integrals for CI matrix: done 100%."}));
    const std::vector<std::string> lines = ProgressOf(16);  // 136 pairs in strips of 64
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Computing the integrals for CI matrix: done 40%.");
    EXPECT_EQ(lines[1], "Computing the integrals for CI matrix: done 90%.");
    EXPECT_EQ(lines[2], "Computing the integrals for CI matrix: done 100%.");
}

TEST_F(MoTableJob, WindowWithoutLevelsHasNone) {
    EXPECT_TRUE(ProgressOf(0).empty());
}

TEST_F(MoTableJob, EveryFailedAllocationEndsInTheMessage) {
    int nFailures = 0;
    ProgressOf(1);
    for (bool fFailed = true; fFailed; ++nFailures) {
        memory = MemoryState{.nFailAt = nFailures, .nBytesHeld = memory.nBytesHeld};
        MoTable table;
        fFailed = false;
        try {
            FillMoTable(3, scf.mVectorsA.Data(), scf.dChargeOrigin, table);
        } catch (const Unwinding&) {
            fFailed = true;
            EXPECT_EQ(client.Errors().back(),
                      "This application has exhausted all available memory.");
        }
    }
    EXPECT_EQ(nFailures, 6);
}

}  // namespace
}  // namespace qsolve
