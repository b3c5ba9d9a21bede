#include "tests/support/repulsion.h"

#include "integrals/state.h"
#include "job/state.h"
#include "scf/fock_cndo.h"
#include "scf/fock_nddo_one_centre.h"
#include "scf/fock_nddo_one_centre_d.h"
#include "scf/fock_nddo_two_centre.h"
#include "scf/fock_zindo.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

std::size_t Orbitals() {
    return static_cast<std::size_t>(setup.nOrbitals);
}

std::vector<double> DensityOf(const std::vector<int>& levels) {
    const std::size_t n = Orbitals();
    std::vector<double> m(n * n);
    for (const int k : levels) {
        const double* c = scf.mVectorsA.Data() + static_cast<std::size_t>(k) * n;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j) m[i * n + j] += c[i] * c[j];
    }
    return m;
}

}  // namespace

std::vector<double> Repulsion(const std::vector<double>& mTotal, const std::vector<double>& mSpin) {
    const int n = setup.nOrbitals;
    std::vector<double> mFock(mTotal.size()), mOther(mTotal);
    for (std::size_t t = 0; t < mOther.size(); ++t) mOther[t] -= mSpin[t];
    const double* g = integrals.pIntegrals.Data();
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            BuildFockCndo(mTotal.data(), mSpin.data(), g, mFock.data());
            break;
        case Family::kZindo:
            BuildFockZindo(mTotal.data(), mSpin.data(), g, n, mFock.data());
            break;
        case Family::kNddo:
            BuildFockTwoCentre(mFock.data(), mTotal.data(), mSpin.data(), g,
                               integrals.pPairIndex.Data(), n);
            BuildFockOneCentreSp(mFock.data(), mTotal.data(), mSpin.data(), mOther.data(), n);
            BuildFockOneCentreD(mFock.data(), mTotal.data(), mSpin.data(), n);
            break;
        case Family::kNone:
            break;
    }
    return mFock;
}

double DeterminantEnergy(const std::vector<int>& alpha, const std::vector<int>& beta) {
    const std::vector<double> mA = DensityOf(alpha), mB = DensityOf(beta);
    std::vector<double> mTotal(mA);
    for (std::size_t t = 0; t < mTotal.size(); ++t) mTotal[t] += mB[t];
    double d = 0.0;
    for (const auto* m : {&mA, &mB}) {
        const std::vector<double> mG = Repulsion(mTotal, *m);
        for (std::size_t t = 0; t < mG.size(); ++t) d += (scf.mCore[t] + 0.5 * mG[t]) * (*m)[t];
    }
    return d * KcalPerUnit(system.MethodId);
}

}  // namespace qsolve
