#include "scf/fock_zindo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "integrals/one_centre.h"
#include "integrals/state.h"
#include "job/state.h"
#include "scf/electronic_energy.h"
#include "scf/fock_cndo.h"
#include "scf/guess.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

double At(const Array<double>& m, int i, int j) {
    return m[static_cast<std::size_t>(i * setup.nOrbitals + j)];
}

using FockZindo = FreshState;

TEST_F(FockZindo, OfHydrogenSeesTheOppositeSpin) {
    JobScript script = Molecule(kZindoS, {{1, 0, 0, 0}});
    script.Options.nSpinTreatment = 1;
    script.Options.nMultiplicity = 2;
    SetUpJob(script);
    const double P = 0.9, Q = 0.3, g = 0.47;
    double F = 0.0;
    BuildFockZindo(&P, &Q, &g, 1, &F);
    EXPECT_NEAR(F, (P - Q) * g, 1e-15);
}

TEST_F(FockZindo, OfAnAtomIsTheFullSumOverItsIntegrals) {
    JobScript script = Molecule(kZindoS, {{26, 0, 0, 0}});
    script.Options.nSpinTreatment = 1;
    script.Options.nMultiplicity = 5;
    EnergyOf(script);
    ASSERT_EQ(setup.nOrbitals, 9);
    double W[kOneCentreValues], I[9][9][9][9] = {};
    const Array<double>& g = integrals.pIntegrals;
    BuildOneCentreIntegrals(26, 9, At(g, 0, 0), At(g, 0, 4), At(g, 4, 4), W);
    const OneCentreList list = OneCentreIntegralsOf(9);
    for (int t = 0; t < list.nCount; ++t) {
        const auto [i, j, k, l, n] = list.pEntries[t];
        I[i][j][k][l] = I[j][i][k][l] = I[i][j][l][k] = I[j][i][l][k] = W[n];
        I[k][l][i][j] = I[l][k][i][j] = I[k][l][j][i] = I[l][k][j][i] = W[n];
    }
    double P[9][9], Q[9][9], F[9][9] = {};
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j) {
            P[i][j] = std::sin(1.0 + i + j + 0.3 * i * j) + (i == j);
            Q[i][j] = std::cos(0.7 * (i + j) + 0.2 * i * j);
        }
    BuildFockZindo(P[0], Q[0], g.Data(), 9, F[0]);
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j) {
            double d = 0.0;
            for (int k = 0; k < 9; ++k)
                for (int l = 0; l < 9; ++l) d += P[k][l] * I[i][j][k][l] - Q[k][l] * I[i][k][j][l];
            EXPECT_NEAR(F[i][j], d, 1e-13) << i << j;
        }
}

/// The Fock matrix is the derivative of the energy with respect to the spin's density. The energy
/// is quadratic in it, so that the difference quotient is exact.
class FockDerivative : public FreshState, public testing::WithParamInterface<int> {
  protected:
    static void BuildFock(const double* mTotal, const double* mSpin, double* mFock) {
        CopyCoreToFock(3, mFock);
        const double* g = integrals.pIntegrals.Data();
        if (FamilyOf(system.MethodId) == Family::kCndo)
            BuildFockCndo(mTotal, mSpin, g, mFock);
        else
            BuildFockZindo(mTotal, mSpin, g, setup.nOrbitals, mFock);
    }
    static double Energy(const std::vector<double>& mA, const std::vector<double>& mB) {
        std::vector<double> mTotal(mA), mFock(mA.size());
        for (std::size_t t = 0; t < mTotal.size(); ++t) mTotal[t] += mB[t];
        double d = 0.0;
        for (const auto* m : {&mA, &mB}) {
            BuildFock(mTotal.data(), m->data(), mFock.data());
            d +=
                ComputeElectronicEnergy(setup.nOrbitals, scf.mCore.Data(), mFock.data(), m->data());
        }
        return d;
    }
};

TEST_P(FockDerivative, OfTheEnergyByTheSpinDensity) {
    const bool fD = FamilyOf(GetParam()) == Family::kZindo;
    SetUpJob(Molecule(
        GetParam(),
        {{fD ? 22 : 6, 0, 0, 0}, {8, 0.9, 1.1, 0.4}, {1, -0.6, 0, 0.8}, {1, -0.2, -1, -0.5}}));
    RunScf();
    const std::size_t n = static_cast<std::size_t>(setup.nOrbitals);
    std::vector<double> mA(n * n), mB(n * n), mTotal(n * n), mFock(n * n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            const double x = static_cast<double>(i + j), y = static_cast<double>(i * j);
            mA[i * n + j] = std::sin(x + 0.3 * y);
            mB[i * n + j] = std::cos(0.7 * x + 0.2 * y);
            mTotal[i * n + j] = mA[i * n + j] + mB[i * n + j];
        }
    BuildFock(mTotal.data(), mA.data(), mFock.data());
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j <= i; ++j) {
            std::vector<double> mUp(mA), mDown(mA);
            const double dStep = 0.25;
            for (const std::size_t t : {i * n + j, j * n + i}) {
                mUp[t] = mA[t] + dStep;
                mDown[t] = mA[t] - dStep;
            }
            const double d = (Energy(mUp, mB) - Energy(mDown, mB)) / (2 * dStep);
            EXPECT_NEAR(mFock[i * n + j], i == j ? d : d / 2, 1e-11) << i << " " << j;
            EXPECT_NEAR(mFock[i * n + j], mFock[j * n + i], 1e-14);
        }
}
INSTANTIATE_TEST_SUITE_P(Methods, FockDerivative, testing::Values(kCndo, kIndo, kZindo1, kZindoS));

}  // namespace
}  // namespace qsolve
