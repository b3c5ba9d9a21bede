#include "scf/fock_nddo_two_centre.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "integrals/nddo_store.h"
#include "integrals/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/electronic_energy.h"
#include "scf/fock_nddo_one_centre.h"
#include "scf/guess.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Atoms with one and with four orbitals in every order, a dummy, and two in one place.
std::vector<Place> Mixed() {
    return {{1, 0, 0, 0},        {6, 1.1, 0.2, 0},    {0, 9, 9, 9},      {8, 1.9, 1.1, -0.4},
            {1, 1.2, -0.9, 0.1}, {1, 1.2, -0.9, 0.1}, {7, 2.2, 0.1, 0.9}};
}

class FockNddo : public FreshState, public testing::WithParamInterface<int> {
  protected:
    static void SetUpMixed() {
        SetUpJob(Molecule(GetParam(), Mixed()));
        RunScf();
    }
    static TestMatrix TwoCentre(const TestMatrix& mT, const TestMatrix& mSpin) {
        TestMatrix f(setup.nOrbitals, setup.nOrbitals);
        BuildFockTwoCentre(f.Data(), mT.Data(), mSpin.Data(), integrals.pIntegrals.Data(),
                           integrals.pPairIndex.Data(), setup.nOrbitals);
        return f;
    }
    /// (mu nu|lambda sigma) for mu, nu on A and lambda, sigma on B, counted on their atoms.
    static double Integral(int iA, int iB, int mu, int nu, int lambda, int sigma) {
        const int nBlock = BlockOf(integrals.pPairIndex.Data(), system.nSelected, iA, iB);
        if (nBlock == kNoBlock) return 0.0;
        if (system.MethodId == kMindo3)
            return mu == nu && lambda == sigma ? integrals.pIntegrals[nBlock] : 0.0;
        const int m = ProductNumber(std::max(mu, nu), std::min(mu, nu));
        const int n = ProductNumber(std::max(lambda, sigma), std::min(lambda, sigma));
        return integrals.pIntegrals[nBlock + m * ProductsOf(AtomAt(iB).nOrbitals) + n];
    }
};

TEST_P(FockNddo, BetweenAtomsIsTheSumOverAllIntegrals) {
    SetUpMixed();
    const int n = setup.nOrbitals;
    const TestMatrix P = RandomSymmetric(n, 1), Q = RandomSymmetric(n, 2);
    TestMatrix expected(n, n);
    for (int iA = 0; iA < system.nSelected; ++iA)
        for (int iB = 0; iB < system.nSelected; ++iB) {
            const ListedAtom a = AtomAt(iA), b = AtomAt(iB);
            for (int t = 0; t < a.nOrbitals * a.nOrbitals * b.nOrbitals * b.nOrbitals; ++t) {
                const int s = t % b.nOrbitals, l = t / b.nOrbitals % b.nOrbitals;
                const int v = t / (b.nOrbitals * b.nOrbitals) % a.nOrbitals;
                const int m = t / (b.nOrbitals * b.nOrbitals) / a.nOrbitals;
                const double g = Integral(iA, iB, m, v, l, s);
                expected(a.nFirst + m, a.nFirst + v) += P(b.nFirst + l, b.nFirst + s) * g;
                expected(a.nFirst + m, b.nFirst + l) -= Q(a.nFirst + v, b.nFirst + s) * g;
            }
        }
    EXPECT_LT(LargestDifference(TwoCentre(P, Q), expected), 1e-12);
}

TEST_P(FockNddo, StaysSymmetricAndAddsToWhatIsThere) {
    SetUpMixed();
    const int n = setup.nOrbitals;
    const TestMatrix P = RandomSymmetric(n, 3), Q = RandomSymmetric(n, 4);
    const TestMatrix mStart = RandomSymmetric(n, 5);
    TestMatrix f = mStart;
    BuildFockTwoCentre(f.Data(), P.Data(), Q.Data(), integrals.pIntegrals.Data(),
                       integrals.pPairIndex.Data(), n);
    BuildFockOneCentreSp(f.Data(), P.Data(), Q.Data(), Q.Data(), n);
    EXPECT_LT(LargestDifference(f, NaiveTransposed(f)), 1e-13);
    TestMatrix g(n, n);
    BuildFockTwoCentre(g.Data(), P.Data(), Q.Data(), integrals.pIntegrals.Data(),
                       integrals.pPairIndex.Data(), n);
    BuildFockOneCentreSp(g.Data(), P.Data(), Q.Data(), Q.Data(), n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) g(i, j) += mStart(i, j);
    EXPECT_LT(LargestDifference(f, g), 1e-12);
}

/// Energy of both spins' electrons, eV.
double EnergyOfSpins(const TestMatrix& mA, const TestMatrix& mB, TestMatrix* pFockA) {
    const int n = setup.nOrbitals;
    TestMatrix mT = mA;
    for (std::size_t t = 0; t < mT.v.size(); ++t) mT.v[t] += mB.v[t];
    double dEnergy = 0.0;
    for (const auto& [pOwn, pOther] : {std::pair{&mA, &mB}, {&mB, &mA}}) {
        TestMatrix f(n, n);
        CopyCoreToFock(3, f.Data());
        BuildFockTwoCentre(f.Data(), mT.Data(), pOwn->Data(), integrals.pIntegrals.Data(),
                           integrals.pPairIndex.Data(), n);
        BuildFockOneCentreSp(f.Data(), mT.Data(), pOwn->Data(), pOther->Data(), n);
        dEnergy += ComputeElectronicEnergy(n, scf.mCore.Data(), f.Data(), pOwn->Data());
        if (pFockA && pOwn == &mA) *pFockA = f;
    }
    return dEnergy;
}

TEST_P(FockNddo, IsTheDerivativeOfTheEnergyByTheSpinDensity) {
    SetUpMixed();
    const int n = setup.nOrbitals;
    const TestMatrix mA = RandomSymmetric(n, 6), mB = RandomSymmetric(n, 7);
    TestMatrix f(n, n);
    EnergyOfSpins(mA, mB, &f);
    // The energy is quadratic in a density, so that a difference quotient is exact.
    const double dStep = 0.5;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) {
            TestMatrix mUp = mA, mDown = mA;
            mUp(i, j) += dStep;
            mDown(i, j) -= dStep;
            if (i != j) mUp(j, i) += dStep;
            if (i != j) mDown(j, i) -= dStep;
            const double dSlope =
                (EnergyOfSpins(mUp, mB, nullptr) - EnergyOfSpins(mDown, mB, nullptr)) / (2 * dStep);
            EXPECT_NEAR(dSlope, (i == j ? 1.0 : 2.0) * f(i, j), 1e-9) << i << " " << j;
        }
}
INSTANTIATE_TEST_SUITE_P(Methods, FockNddo, testing::Values(kMindo3, kMndo, kAm1, kPm3));

using FockBuffer = FreshState;

TEST_F(FockBuffer, ThatIsTooSmallIsFatal) {
    SetUpJob(Water(kAm1));
    RunScf();
    const std::size_t nBytes = FockBufferBytes(kAm1, 6, 3);
    EXPECT_EQ(nBytes, 8u * (36 + 4 + 4));
    EXPECT_EQ(FockBufferBytes(kMindo3, 6, 3), 64u);
    EXPECT_GE(scf.pWork.Size() * 8, nBytes);
    const auto Build = [] {
        BuildFockTwoCentre(scf.mFockA.Data(), scf.mDensityT.Data(), scf.mDensityA.Data(),
                           integrals.pIntegrals.Data(), integrals.pPairIndex.Data(), 6);
    };
    scf.pWork.Take(nBytes / 8, kWork);
    EXPECT_NO_THROW(Build());
    scf.pWork.Take(nBytes / 8 - 1, kWork);
    EXPECT_THROW(Build(), Unwinding);
}

}  // namespace
}  // namespace qsolve
