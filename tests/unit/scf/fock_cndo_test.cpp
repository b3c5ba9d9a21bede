#include "scf/fock_cndo.h"

#include <gtest/gtest.h>

#include <vector>

#include "integrals/integrals.h"
#include "integrals/state.h"
#include "scf/guess.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

using FockCndo = FreshState;

double At(const Array<double>& m, int i, int j) {
    return m[static_cast<std::size_t>(i * setup.nOrbitals + j)];
}

/// The Fock matrix of hydrogen fluoride written out. F has the orbitals 0 to 3, H orbital 4.
TEST_F(FockCndo, OfTwoAtomsIsTheTextbookOne) {
    EnergyOf(Molecule(kCndo, {{9, 0, 0, 0}, {1, 0, 0, 0.92}}));
    CopyCoreToFock(3, scf.mFockA.Data());
    BuildFockCndo(scf.mDensityT.Data(), scf.mDensityA.Data(), integrals.pIntegrals.Data(),
                  scf.mFockA.Data());
    std::vector<double> S(25);
    BuildOverlapMatrix(S.data(), 5, 5);

    const double c = 0.03674930900274282, dBeta = -(39.0 + 9.0) * 0.018375597;
    const double U[] = {-32.2724 * c, -11.08 * c, -11.08 * c, -11.08 * c, -7.1761 * c};
    const double gFF = At(integrals.pIntegrals, 0, 0), gHH = At(integrals.pIntegrals, 4, 4);
    const double gFH = At(integrals.pIntegrals, 0, 4);
    EXPECT_NEAR(gHH, 0.75, 1e-12);               // 5/8 of the exponent
    EXPECT_NEAR(gFF, 93.0 / 256.0 * 2.6, 1e-9);  // for a 2s shell
    double pF = 0.0;
    for (int i = 0; i < 4; ++i) pF += At(scf.mDensityT, i, i);
    const double pH = At(scf.mDensityT, 4, 4);
    for (int i = 0; i < 4; ++i) {
        const double dOwn = (pF - 7.0 - 0.5 * (At(scf.mDensityT, i, i) - 1.0)) * gFF;
        EXPECT_NEAR(At(scf.mFockA, i, i), U[i] + dOwn + (pH - 1.0) * gFH, 1e-8);
        for (int j = 0; j < i; ++j)
            EXPECT_NEAR(At(scf.mFockA, i, j), -0.5 * At(scf.mDensityT, i, j) * gFF, 1e-12);
        const double dBond = dBeta * S[static_cast<std::size_t>(i * 5 + 4)];
        EXPECT_NEAR(At(scf.mFockA, i, 4), dBond - 0.5 * At(scf.mDensityT, i, 4) * gFH, 1e-12);
        EXPECT_EQ(At(scf.mFockA, i, 4), At(scf.mFockA, 4, i));
    }
    const double dOwn = (pH - 1.0 - 0.5 * (pH - 1.0)) * gHH;
    EXPECT_NEAR(At(scf.mFockA, 4, 4), U[4] + dOwn + (pF - 7.0) * gFH, 1e-8);
}

/// The exchange of one atom against its two-electron integrals, summed naively.
void ExpectIndoExchange(int nElement) {
    JobScript script = Molecule(kIndo, {{nElement, 0, 0, 0}});
    script.Options.nSpinTreatment = 1;
    script.Options.nMultiplicity = nElement % 2 + 1;
    SetUpJob(script);
    const CindoRow& row = parameters.pCindoParams[nElement - 1];
    ASSERT_GT(row.dSlaterG1, 0.0);
    const double c = 0.03674930900274282, G = c * row.dSlaterG1 / 3, F = c * row.dSlaterF2 / 25;
    // (ij|kl) less the Coulomb integral that s and p share.
    const auto Integral = [&](int i, int j, int k, int l) {
        if (i == j && k == l) return i == 0 || k == 0 ? 0.0 : i == k ? 4 * F : -2 * F;
        const bool fSame = (i == k && j == l) || (i == l && j == k);
        return !fSame ? 0.0 : i == 0 || j == 0 ? G : 3 * F;
    };
    double P[4][4], Q[4][4];
    std::vector<double> mP, mQ, mF(16, 0.0);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            mP.push_back(P[i][j] = 0.3 * (i + j) - 0.11 * i * j + (i == j));
            mQ.push_back(Q[i][j] = 0.17 * (i + j) + 0.05 * i * j + 0.4 * (i == j));
        }
    AddIndoExchange(mP.data(), mQ.data(), mF.data());
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double d = 0.0;
            for (int k = 0; k < 4; ++k)
                for (int l = 0; l < 4; ++l)
                    d += P[k][l] * Integral(i, j, k, l) - Q[k][l] * Integral(i, k, j, l);
            EXPECT_NEAR(mF[static_cast<std::size_t>(4 * i + j)], d, 1e-12) << i << j;
        }
}

/// Of atoms with s and p orbitals, from the first that has them.
TEST_F(FockCndo, IndoExchangeIsTheSumOverOneCentreIntegrals) {
    for (const int nElement : {3, 8}) {
        SCOPED_TRACE(nElement);
        ExpectIndoExchange(nElement);
    }
}

}  // namespace
}  // namespace qsolve
