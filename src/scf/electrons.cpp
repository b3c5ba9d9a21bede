#include "scf/electrons.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "job/state.h"
#include "link/link.h"
#include "numeric/kernels.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "scf/electronic_energy.h"
#include "scf/fock.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {
namespace {

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
    const int n = electrons.n;
    ForEachStrip(n, [&](int, int nFirst, int nEnd) {
        const std::size_t nStop = static_cast<std::size_t>(Row(pA, n, nEnd) - pA);
        for (auto i = static_cast<std::size_t>(Row(pA, n, nFirst) - pA); i < nStop; ++i)
            pTotal[i] = pA[i] + pB[i];
    });
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

LevelRange SummedLevels(const Shells& shells) {
    const bool fHoles = shells.n - shells.nFull < shells.Occupied();
    return fHoles ? LevelRange{shells.nFull, shells.n} : LevelRange{0, shells.Occupied()};
}

void FillDensity(const Shells& shells, const double* mVectors, double* vWeights, double* mDensity) {
    const int n = shells.n;
    const int nMost = InnerStrip(n);
    const LevelRange levels = SummedLevels(shells);
    const double dUnit = levels.nFirst > 0 ? 1.0 : 0.0;  // the sum is that of the holes
    for (int k = 0; k < n; ++k) vWeights[k] = shells.Filling(k) - dUnit;
    const int nFirst = std::min(nMost, levels.nEnd - levels.nFirst);
    MakeOuterProducts(n, nFirst, Row(mVectors, n, levels.nFirst), vWeights + levels.nFirst,
                      mDensity);
    Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(nFirst));
    for (int k = levels.nFirst + nFirst; k < levels.nEnd; k += nMost) {
        const int nStrip = std::min(nMost, levels.nEnd - k);
        AddOuterProducts(n, nStrip, Row(mVectors, n, k), vWeights + k, mDensity);
        Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(nStrip));
    }
    MirrorLower(n, mDensity);
    for (int i = 0; i < n; ++i) Row(mDensity, n, i)[i] += dUnit;
}

SpinDensity DensityOfOrbitals(const Shells& shells, const SpinRun& s) {
    const LevelRange levels = SummedLevels(shells);
    return {s.mDensity.Data(), levels.nFirst, levels.nEnd, s.mVectors.Data(), s.vWeights.Data()};
}

double EvaluateFock(Electrons& electrons) {
    SumDensities(electrons);
    double dEnergy = 0.0;
    for (int i = 0; i < electrons.nSets; ++i) {
        SpinRun& s = *electrons.pSets[i];
        const SpinRun& other = *electrons.pSets[electrons.nSets - 1 - i];
        CopyRows(electrons.n, electrons.n, scf.mCore.Data(), s.mFock.Data());
        AddRepulsion(scf.mDensityT.Data(), s.mDensity.Data(), other.mDensity.Data(),
                     s.mFock.Data());
        dEnergy += ComputeElectronicEnergy(electrons.n, scf.mCore.Data(), s.mFock.Data(),
                                           s.mDensity.Data());
    }
    return electrons.dWeight * dEnergy;
}

double FockError(int n, const double* mFock, const SpinDensity& density, double* mWork,
                 double* mError) {
    Commutator(n, mFock, density, mWork, mError);
    double vLargest[kMostStrips], dLargest = 0.0;
    ForEachStrip(n, [&](int nStrip, int nFirst, int nEnd) {
        vLargest[nStrip] = kernels->LargestBelow(n, nFirst, nEnd, mError);
    });
    for (int i = 0; i * RowsOfStrip(n) < n; ++i) dLargest = std::max(dLargest, vLargest[i]);
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
