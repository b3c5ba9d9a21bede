#include "scf/electrons.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "job/state.h"
#include "link/link.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "scf/electronic_energy.h"
#include "scf/fock.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kStrip = 96;  ///< rows between two yields

Shells ShellsOf(const ScfRun& run, const SpinRun& s) {
    const int n = setup.nOrbitals;
    if (run.fUnrestricted) return {n, s.Counts.nOcc, 0, 1.0};
    return {n, setup.nDoublyOcc, setup.nOccupied - setup.nDoublyOcc,
            0.5 * setup.Map.dOpenOccupancy};
}

/// mDensityT from the densities of the spins, halves of it where there is one set.
void SumDensities(const Electrons& electrons) {
    double* pTotal = scf.mDensityT.Data();
    const double* pA = scf.mDensityA.Data();
    const double* pB = electrons.nSets == 2 ? scf.mDensityB.Data() : pA;
    for (std::size_t i = 0; i < scf.mDensityT.Size(); ++i) pTotal[i] = pA[i] + pB[i];
}

}  // namespace

Electrons ElectronsOf(ScfRun& run, SpinRun& a, SpinRun& b) {
    return {.Run = run,
            .pSets = {&a, &b},
            .vShells = {ShellsOf(run, a), ShellsOf(run, b)},
            .nSets = run.fUnrestricted ? 2 : 1,
            .n = setup.nOrbitals,
            .dWeight = run.fUnrestricted ? 1.0 : 2.0,
            .dEv = UsesAtomicUnits(system.MethodId) ? kEvPerHartree : 1.0};
}

void FillDensity(const Shells& shells, const double* mVectors, double* mDensity) {
    const int n = shells.n;
    std::fill(mDensity, Row(mDensity, n, n), 0.0);
    double vWeights[kStrip];
    for (int k = 0; k < shells.Occupied(); k += kStrip) {
        const int nStrip = std::min(kStrip, shells.Occupied() - k);
        for (int i = 0; i < nStrip; ++i) vWeights[i] = shells.Filling(k + i);
        AddOuterProducts(n, nStrip, Row(mVectors, n, k), vWeights, mDensity);
        Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(nStrip));
    }
    MirrorLower(n, mDensity);
}

double EvaluateFock(Electrons& electrons) {
    SumDensities(electrons);
    double dEnergy = 0.0;
    for (int i = 0; i < electrons.nSets; ++i) {
        SpinRun& s = *electrons.pSets[i];
        const SpinRun& other = *electrons.pSets[electrons.nSets - 1 - i];
        std::copy(scf.mCore.begin(), scf.mCore.end(), s.mFock.begin());
        AddRepulsion(scf.mDensityT.Data(), s.mDensity.Data(), other.mDensity.Data(),
                     s.mFock.Data());
        dEnergy += ComputeElectronicEnergy(electrons.n, scf.mCore.Data(), s.mFock.Data(),
                                           s.mDensity.Data());
    }
    return electrons.dWeight * dEnergy;
}

double FockError(int n, const double* mFock, const double* mDensity, double* mWork,
                 double* mError) {
    for (int i = 0; i < n; i += kStrip) {
        const int nStrip = std::min(kStrip, n - i);
        Multiply(nStrip, n, n, Row(mFock, n, i), mDensity, Row(mWork, n, i));
        Yield(static_cast<std::size_t>(n) * kStrip);
    }
    SubtractTransposed(n, mWork, mError);
    double dLargest = 0.0;
    for (const double* p = mError; p != Row(mError, n, n); ++p)
        dLargest = std::max(dLargest, std::abs(*p));
    return dLargest;
}

bool HoldsItsElectrons(const Electrons& electrons) {
    const int n = electrons.n;
    for (int i = 0; i < electrons.nSets; ++i) {
        const Shells& shells = electrons.vShells[i];
        double d = -shells.nFull - shells.nOpen * shells.dOpen;
        for (int k = 0; k < n; ++k) d += Row(electrons.pSets[i]->mDensity.Data(), n, k)[k];
        if (!(std::abs(d) <= kTraceTolerance)) return false;
    }
    return true;
}

}  // namespace qsolve
