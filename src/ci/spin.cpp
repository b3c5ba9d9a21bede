#include "ci/spin.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/link.h"

namespace qsolve {
namespace {

constexpr int kHighestMultiplicity = 7;
constexpr double kNoState = -0.5;

/// Levels of a configuration that hold an electron of either spin.
int DoublyOccupied(const Determinants& d, int nConfig) {
    int nCount = 0;
    for (int i = 0; i < d.nLevels; ++i)
        if (IsOccupied(d.mOccAlpha, d.vAlphaRow[nConfig], i) &&
            IsOccupied(d.mOccBeta, d.vBetaRow[nConfig], i))
            ++nCount;
    return nCount;
}

/// Calls visit(k, q) for each pair of which an exchange of two opposite spins makes one the other.
template <class Visit>
void ForEachLink(const Determinants& d, const ConfigLists& lists, Visit visit) {
    ForEachDoubleOfBothSpins(d, lists, [&](int k, int q, const Move& i, const Move& j, int) {
        if (i.nHole == j.nParticle && i.nParticle == j.nHole) visit(k, q);
    });
}

}  // namespace

void FillSpinOperator(const Determinants& d, const ConfigLists& lists, SpinOperator& spin) {
    const double dExcess = d.nAlpha - d.nBeta;
    const auto nConfigs = static_cast<std::size_t>(d.nConfigs);
    spin.dHalfElectrons = 0.5 * (d.nAlpha + d.nBeta);
    spin.vSpinDiag.Take(nConfigs, kWork);
    for (int k = 0; k < d.nConfigs; ++k)
        spin.vSpinDiag[k] = DoublyOccupied(d, k) - 0.25 * dExcess * dExcess;

    spin.vSpinLink.vStart.Take(nConfigs + 1, kWork);
    ForEachLink(d, lists, [&](int k, int) { ++spin.vSpinLink.vStart[k + 1]; });
    Array<std::size_t> vNext;
    TakeEntries(d.nConfigs, spin.vSpinLink, vNext);
    ForEachLink(d, lists, [&](int k, int q) { spin.vSpinLink.pEntries[vNext[k]++] = q; });
}

double SpinSquare(const SpinOperator& spin, const double* vState) {
    double dSum = spin.dHalfElectrons;
    const int nConfigs = static_cast<int>(spin.vSpinDiag.Size());
    for (int k = 0; k < nConfigs; ++k) {
        double dLinked = 0.0;
        for (const int* q = spin.vSpinLink.begin(k); q != spin.vSpinLink.end(k); ++q)
            dLinked += vState[*q];
        dSum += vState[k] * (2.0 * dLinked - spin.vSpinDiag[k] * vState[k]);
    }
    return dSum;
}

double SpinOf(double dSpinSquare) {
    return 0.5 * (std::sqrt(1.0 + 4.0 * std::max(dSpinSquare, 0.0)) - 1.0);
}

double TargetSpinSquare(int nMultiplicity) {
    if (nMultiplicity < 1 || nMultiplicity > kHighestMultiplicity) return kNoState;
    return 0.25 * (nMultiplicity - 1) * (nMultiplicity + 1);
}

}  // namespace qsolve
