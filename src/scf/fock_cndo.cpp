#include "scf/fock_cndo.h"

#include "integrals/atom_list.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kThird = 0.3333333333333;
constexpr double kF2Share = 0.04;  ///< 1/25
constexpr int kLithium = 3;

/// One-centre exchange of an atom with s and p orbitals, the first at nFirst. a = G1/3, b = F2/25.
void AddExchangeOfAtom(int n, int nFirst, double a, double b, const double* mDensityT,
                       const double* mDensitySpin, double* mFock) {
    const auto P = [=](int i, int j) { return Row(mDensityT, n, nFirst + i)[nFirst + j]; };
    const auto Q = [=](int i, int j) { return Row(mDensitySpin, n, nFirst + i)[nFirst + j]; };
    const auto F = [=](int i, int j) -> double& { return Row(mFock, n, nFirst + i)[nFirst + j]; };

    F(0, 0) -= (Q(1, 1) + Q(2, 2) + Q(3, 3)) * a;
    const double dSum = 2 * (P(1, 1) + P(2, 2) + P(3, 3)) + 3 * (Q(1, 1) + Q(2, 2) + Q(3, 3));
    for (int p = 1; p <= 3; ++p) {
        F(0, p) += (2 * P(0, p) - Q(0, p)) * a;
        F(p, 0) += (2 * P(p, 0) - Q(p, 0)) * a;
        const double dOthers = dSum - 2 * P(p, p) - 3 * Q(p, p);
        F(p, p) += ((P(p, p) - Q(p, p)) * 4 - dOthers) * b - Q(0, 0) * a;
        for (int q = 1; q <= 3; ++q)
            if (q != p) F(p, q) += (6 * P(p, q) - Q(p, q)) * b;
    }
}

}  // namespace

void BuildFockCndo(const double* mDensityT, const double* mDensitySpin, const double* mCoulomb,
                   double* mFock) {
    const int n = setup.nOrbitals;
    double* vPopulation = scf.vOrbitalScratch.Data();
    for (int j = 0; j < n; ++j) vPopulation[j] = Row(mDensityT, n, j)[j];
    for (int i = 0; i < n; ++i) {
        const double* g = Row(mCoulomb, n, i);
        const double* q = Row(mDensitySpin, n, i);
        double* f = Row(mFock, n, i);
        for (int j = 0; j < n; ++j) f[j] -= g[j] * q[j];
        f[i] += Dot(n, vPopulation, g);
        Yield(static_cast<std::size_t>(n));
    }
    if (system.MethodId == kIndo) AddIndoExchange(mDensityT, mDensitySpin, mFock);
}

void AddIndoExchange(const double* mDensityT, const double* mDensitySpin, double* mFock) {
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (atom.IsDummy() || atom.nElement < kLithium || !atom.HasP()) continue;
        const CindoRow& row = parameters.pCindoParams[atom.Row()];
        AddExchangeOfAtom(setup.nOrbitals, atom.nFirst, kHartreePerEv * row.dSlaterG1 * kThird,
                          kHartreePerEv * row.dSlaterF2 * kF2Share, mDensityT, mDensitySpin, mFock);
    }
}

}  // namespace qsolve
