#include "scf/density.h"

#include <gtest/gtest.h>

#include "algebra/diagonalise.h"
#include "job/state.h"
#include "numeric/trace.h"
#include "setup/parameters.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Density : public FreshState {
  protected:
    TestMatrix c{0, 0}, e{0, 0}, level{0, 0}, p{0, 0}, weights{0, 0};

    void Take(int n, int nMethod) {
        setup.nOrbitals = n;
        system.MethodId = nMethod;
        const auto nOrder = static_cast<std::size_t>(n);
        weights = TestMatrix(1, n, 9.0);
        results.Orbitals.vOrbitalOrder.Take(2 * nOrder, kSetUp);
        results.Orbitals.vOrbitalEnergy.Take(2 * nOrder, kSetUp);
        TestMatrix f = RandomSymmetric(n, 3);
        c = TestMatrix(n, n), e = TestMatrix(1, n), level = e, p = TestMatrix(n, n, 9.0);
        Diagonalise(n, f.Data(), c.Data(), e.Data());
    }
    void Build(const LevelCounts& counts) {
        BuildDensity(counts, e.Data(), level.Data(), c.Data(), p.Data(), weights.Data());
    }
    /// sum_k w_k C_k C_k^T with 2 up to nDoubly and dOpen up to nOcc.
    TestMatrix Wanted(int nDoubly, int nOcc, double dOpen) const {
        TestMatrix q(setup.nOrbitals, setup.nOrbitals);
        for (int k = 0; k < nOcc; ++k)
            for (int i = 0; i < setup.nOrbitals; ++i)
                for (int j = 0; j < setup.nOrbitals; ++j)
                    q(i, j) += (k < nDoubly ? 2.0 : dOpen) * c(k, i) * c(k, j);
        return q;
    }
};

TEST_F(Density, OfEveryFillingIsTheSumOverOrbitalsInBothForms) {
    for (const int nMethod : {static_cast<int>(kCndo), static_cast<int>(kAm1)})
        for (const int n : {1, 2, 3, 9, 140})
            for (const int nOcc : {0, 1, n / 2, n / 2 + 1, n - 1, n}) {
                Take(n, nMethod);
                Build({nOcc, nOcc, 0});
                EXPECT_LE(LargestDifference(p, Wanted(nOcc, nOcc, 1.0)), 5e-14)
                    << nMethod << " " << n << " " << nOcc;
                EXPECT_EQ(level.v, e.v);
            }
}

TEST_F(Density, HoldsTheElectronsAndIsIdempotent) {
    for (const int nMethod : {static_cast<int>(kCndo), static_cast<int>(kPm3)})
        for (const int nOcc : {4, 20}) {
            Take(30, nMethod);
            Build({nOcc, nOcc, 0});
            double dTrace = 0.0;
            for (int i = 0; i < 30; ++i) dTrace += p(i, i);
            EXPECT_NEAR(dTrace, 2.0 * nOcc, 1e-12);
            TestMatrix square = NaiveProduct(p, p), twice = p;
            for (double& x : twice.v) x *= 2.0;
            EXPECT_LE(LargestDifference(square, twice), 1e-13);
        }
}

TEST_F(Density, OpenLevelsHoldTheirOccupancyInBothForms) {
    for (const int nMethod : {static_cast<int>(kIndo), static_cast<int>(kMndo)})
        for (const int nDoubly : {2, 6}) {
            Take(10, nMethod);
            setup.Map.dOpenOccupancy = 0.75;
            Build({nDoubly + 2, nDoubly, 0});
            EXPECT_LE(LargestDifference(p, Wanted(nDoubly, nDoubly + 2, 0.75)), 1e-14);
        }
}

TEST_F(Density, OfOneSpinHasWeightOneInEveryFamily) {
    for (const int nMethod : {static_cast<int>(kCndo), static_cast<int>(kAm1)}) {
        Take(10, nMethod);
        Build({7, 0, 10});
        EXPECT_LE(LargestDifference(p, Wanted(0, 7, 1.0)), 1e-14);
        for (std::size_t k = 0; k < 10; ++k) {
            EXPECT_EQ(results.Orbitals.vOrbitalOrder[10 + k], static_cast<int>(k));
            EXPECT_EQ(results.Orbitals.vOrbitalEnergy[10 + k], static_cast<float>(e.v[k]));
            EXPECT_EQ(results.Orbitals.vOrbitalEnergy[k], 0.0f);
        }
    }
}

TEST_F(Density, OccupiesALevelThatEqualsTheBoundToTheLastDigit) {
    Take(6, kCndo);
    e(0, 3) = e(0, 2);
    Build({3, 3, 0});
    EXPECT_LE(LargestDifference(p, Wanted(4, 4, 1.0)), 1e-14);
    Take(6, kAm1);  // and a hole likewise, so that the electron is lost
    e(0, 4) = e(0, 3);
    Build({4, 4, 0});
    EXPECT_LE(LargestDifference(p, Wanted(3, 3, 1.0)), 1e-14);
}

TEST_F(Density, WithoutElectronsIsZero) {
    Take(5, kMndo);
    Build({0, 0, 0});
    EXPECT_EQ(p.v, TestMatrix(5, 5).v);
}

TEST_F(Density, IsSymmetricToTheLastBit) {
    Take(37, kAm1);
    Build({30, 30, 0});
    EXPECT_EQ(p.v, NaiveTransposed(p).v);
}

}  // namespace
}  // namespace qsolve
