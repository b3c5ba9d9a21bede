#include "ci/density.h"

#include <algorithm>
#include <cstddef>

#include "ci/mo_table.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

int ElectronsIn(const Determinants& d, int nConfig, int nLevel) {
    return (IsOccupied(d.mOccAlpha, d.vAlphaRow[nConfig], nLevel) ? 1 : 0) +
           (IsOccupied(d.mOccBeta, d.vBetaRow[nConfig], nLevel) ? 1 : 0);
}

/// Calls visit(change) for each level of each configuration that differs from the reference.
template <class Visit>
void ForEachChange(const Determinants& d, const Array<int>& vReference, Visit visit) {
    for (int k = 0; k < d.nConfigs; ++k) {
        for (int i = 0; i < d.nLevels; ++i) {
            const int nElectrons = ElectronsIn(d, k, i) - vReference[i];
            if (nElectrons != 0) visit(OneElectronLists::Change{k, i, nElectrons});
        }
        Yield(static_cast<std::size_t>(d.nLevels));
    }
}

}  // namespace

void FillOneElectronLists(const Determinants& d, const ConfigLists& lists, OneElectronLists& one) {
    one.vReference.Take(static_cast<std::size_t>(d.nLevels), kWork);
    for (int i = 0; i < d.nLevels; ++i) one.vReference[i] = ElectronsIn(d, 0, i);
    std::size_t nTransfers = 0, nChanges = 0;
    ForEachSingle(d, lists, [&](int, int, MovedSpin, const Move&) { ++nTransfers; });
    ForEachChange(d, one.vReference, [&](const OneElectronLists::Change&) { ++nChanges; });
    one.pTransfers.Take(nTransfers, kWork);
    one.pChanges.Take(nChanges, kWork);
    nTransfers = nChanges = 0;
    ForEachSingle(d, lists, [&](int k, int q, MovedSpin, const Move& move) {
        one.pTransfers[nTransfers++] = {k, q, PairOf(move.nHole, move.nParticle), move.nSign};
    });
    ForEachChange(d, one.vReference, [&](const OneElectronLists::Change& change) {
        one.pChanges[nChanges++] = change;
    });
}

void FillDensity(const OneElectronLists& one, int nConfigs, const double* vLeft,
                 const double* vRight, double* vDensity) {
    const int nLevels = static_cast<int>(one.vReference.Size());
    std::fill_n(vDensity, PairOf(nLevels, 0), 0.0);
    const double dOverlap = Dot(nConfigs, vLeft, vRight);
    for (int i = 0; i < nLevels; ++i) vDensity[PairOf(i, i)] = dOverlap * one.vReference[i];
    for (const OneElectronLists::Change& c : one.pChanges)
        vDensity[PairOf(c.nLevel, c.nLevel)] += vLeft[c.k] * vRight[c.k] * c.nElectrons;
    for (const OneElectronLists::Transfer& t : one.pTransfers)
        vDensity[t.nPair] += t.nSign * (vLeft[t.k] * vRight[t.q] + vLeft[t.q] * vRight[t.k]);
}

}  // namespace qsolve
