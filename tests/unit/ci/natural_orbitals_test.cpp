#include "ci/natural_orbitals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/ci_case.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class NaturalOrbitals : public FreshState, public testing::WithParamInterface<CiCase> {
  protected:
    NaturalOrbitals() {
        SolveCase(GetParam(), ci);
        const auto n = static_cast<std::size_t>(setup.nOrbitals);
        mScfVectors.assign(scf.mVectorsA.begin(), scf.mVectorsA.end());
        vNaturalOcc.resize(n);
        mSpin.assign(n * n, 99.0);
        vState.resize(static_cast<std::size_t>(ci.Configs.nConfigs));
        nPlace = ChooseState(ci.States).nWanted;
        TakeState(ci.States, nPlace, vState.data());
        BuildNaturalOrbitals(ci, vState.data(),
                             {.mDensityT = scf.mDensityT.Data(),
                              .mSpinDensity = mSpin.data(),
                              .mFockA = scf.mFockA.Data(),
                              .mVectorsA = scf.mVectorsA.Data(),
                              .vNaturalOcc = vNaturalOcc.data()});
    }
    /// An element of a matrix over atomic orbitals between two orbitals of the SCF.
    double Element(const double* m, int i, int j) const {
        const int n = setup.nOrbitals;
        double d = 0.0;
        for (int k = 0; k < n; ++k)
            d += Row(mScfVectors.data(), n, i)[k] *
                 Dot(n, Row(m, n, k), Row(mScfVectors.data(), n, j));
        return d;
    }
    double Trace(const double* m) const {
        double d = 0.0;
        for (int i = 0; i < setup.nOrbitals; ++i) d += Row(m, setup.nOrbitals, i)[i];
        return d;
    }
    Interaction ci;
    std::vector<double> mScfVectors, vNaturalOcc, mSpin, vState;
    int nPlace = 0;
};
std::vector<CiCase> MicrostateCases() {
    std::vector<CiCase> cases = AllCases();
    std::erase_if(cases, [](const CiCase& c) { return !c.fMicrostates; });
    return cases;
}
INSTANTIATE_TEST_SUITE_P(Cases, NaturalOrbitals, testing::ValuesIn(MicrostateCases()),
                         [](const auto& test) { return NameOf(test.param); });

/// In the levels of the SCF: two electrons below the window, none above, and in it the values of
/// the operators.
TEST_P(NaturalOrbitals, DensityIsThatOfTheState) {
    const int nBelow = ci.Window.nBelow, n = ci.Window.nLevels;
    const Vector state = VectorOf(ci, nPlace);
    for (int i = 0; i < setup.nOrbitals; ++i)
        for (int j = 0; j <= i; ++j) {
            double dWanted = i == j && i < nBelow ? 2.0 : 0.0;
            if (j >= nBelow && i < nBelow + n) {
                TestMatrix o(n, n);
                o(i - nBelow, j - nBelow) = 0.5;
                o(j - nBelow, i - nBelow) += 0.5;
                dWanted = Overlap(state, OneElectron(o, state));
            }
            EXPECT_NEAR(Element(scf.mDensityT.Data(), i, j), dWanted, 1e-6) << i << " " << j;
        }
    EXPECT_NEAR(Trace(scf.mDensityT.Data()), setup.nElectrons, 1e-9);
}

TEST_P(NaturalOrbitals, AreTheEigenvectorsOfTheDensityByRisingOccupation) {
    const int n = setup.nOrbitals;
    double dSum = 0.0;
    for (int k = 0; k < n; ++k) {
        const double* c = Row(scf.mVectorsA.Data(), n, k);
        const double dOcc = vNaturalOcc[static_cast<std::size_t>(k)];
        for (int i = 0; i < n; ++i)
            EXPECT_NEAR(Dot(n, Row(scf.mDensityT.Data(), n, i), c), dOcc * c[i], 1e-9);
        EXPECT_GT(dOcc, -1e-9);
        EXPECT_LT(dOcc, 2.0 + 1e-9);
        if (k > 0) {
            EXPECT_GE(dOcc, vNaturalOcc[static_cast<std::size_t>(k - 1)]);
        }
        dSum += dOcc;
    }
    EXPECT_NEAR(dSum, setup.nElectrons, 1e-9);
}

TEST_P(NaturalOrbitals, ResultsListThemByFallingOccupation) {
    const OrbitalResults& orbitals = results.Orbitals;
    for (int k = 0; k < setup.nOrbitals; ++k) {
        const auto nRow = static_cast<std::size_t>(orbitals.vOrbitalOrder[k]);
        EXPECT_EQ(orbitals.vOccupancy[k], static_cast<float>(vNaturalOcc[nRow]));
        if (k > 0) {
            EXPECT_LE(orbitals.vOccupancy[k], orbitals.vOccupancy[k - 1]);
        }
    }
}

/// Its trace is the excess of alpha electrons, and in the levels it is diagonal.
TEST_P(NaturalOrbitals, SpinDensityIsThatOfTheLevels) {
    EXPECT_NEAR(Trace(mSpin.data()), ci.Configs.nAlpha - ci.Configs.nBeta, 1e-9);
    for (int i = 0; i < setup.nOrbitals; ++i)
        for (int j = 0; j < i; ++j) EXPECT_NEAR(Element(mSpin.data(), i, j), 0.0, 1e-9);
    const int nBelow = ci.Window.nBelow, n = ci.Window.nLevels;
    for (int i = 0; i < n; ++i) {
        double dWanted = 0.0;
        for (const auto& [bits, c] : VectorOf(ci, nPlace))
            dWanted += c * c *
                       (static_cast<double>(bits >> 2 * i & 1U) -
                        static_cast<double>(bits >> (2 * i + 1) & 1U));
        EXPECT_NEAR(Element(mSpin.data(), nBelow + i, nBelow + i), dWanted, 1e-9);
    }
}

using NaturalOrbitalJob = FreshState;

TEST_F(NaturalOrbitalJob, StretchedHydrogenHasHalfFilledOrbitals) {
    Interaction ci;
    SolveCase({kAm1, {{1, 0, 0, 0}, {1, 0, 0, 6}}, 1, false, true, 1, 1}, ci);
    std::vector<double> vOcc(2), mSpin(4), vState(4);
    TakeState(ci.States, ChooseState(ci.States).nWanted, vState.data());
    BuildNaturalOrbitals(
        ci, vState.data(),
        {scf.mDensityT.Data(), mSpin.data(), scf.mFockA.Data(), scf.mVectorsA.Data(), vOcc.data()});
    EXPECT_NEAR(vOcc[0], 1.0, 0.05);
    EXPECT_NEAR(vOcc[1], 1.0, 0.05);
    EXPECT_NEAR(vOcc[0] + vOcc[1], 2.0, 1e-12);
}

}  // namespace
}  // namespace qsolve
