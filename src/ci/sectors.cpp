#include "ci/sectors.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numeric/row.h"

namespace qsolve {
namespace {

/// Whether either spin can be placed in the same ways.
bool HaveEqualRows(const Determinants& d) {
    const SpinRows &a = d.mOccAlpha, &b = d.mOccBeta;
    return d.nAlpha == d.nBeta && a.nRows == b.nRows &&
           std::equal(a.mBits.begin(), a.mBits.end(), b.mBits.begin());
}

int PartnerOf(const Determinants& d, int k) {
    return ConfigOf(d, d.vBetaRow[k], d.vAlphaRow[k]);
}

bool HavePartners(const Determinants& d) {
    if (!HaveEqualRows(d)) return false;
    for (int k = 0; k < d.nConfigs; ++k)
        if (PartnerOf(d, k) < 0) return false;
    return true;
}

/// The sign of the partner in the sum, the combination of even S: an exchange of the spins in each
/// pair of electrons that share a level changes it, and all of them together leave the sign of a
/// configuration without unpaired electrons.
int SignOfPartner(const Determinants& d, int k) {
    int nUnpaired = 0;
    for (int i = 0; i < d.nLevels; ++i)
        if (IsOccupied(d.mOccAlpha, d.vAlphaRow[k], i) && !IsOccupied(d.mOccBeta, d.vBetaRow[k], i))
            ++nUnpaired;
    return nUnpaired % 2 == 0 ? 1 : -1;
}

void FillWhole(const Determinants& d, SpinSectors& sectors) {
    sectors.nSectors = 1;
    sectors.nSize[0] = d.nConfigs;
    sectors.nSize[1] = 0;
    for (int k = 0; k < d.nConfigs; ++k) {
        sectors.vPlace[k] = k;
        sectors.mWeight[k] = 1.0;
    }
}

/// Pairs come first, in the order of their first configurations, so that they have the same place
/// in both sectors; configurations that are their own partners stand behind them in the even one.
void FillHalves(const Determinants& d, SpinSectors& sectors) {
    const double dPair = std::sqrt(0.5);
    double* vEven = sectors.mWeight.Data();
    double* vOdd = Row(vEven, d.nConfigs, 1);
    int nPairs = 0, nAlone = 0;
    for (int k = 0; k < d.nConfigs; ++k) {
        const int q = PartnerOf(d, k);
        if (q <= k) continue;
        sectors.vPlace[k] = sectors.vPlace[q] = nPairs++;
        vEven[k] = vOdd[k] = dPair;
        vEven[q] = SignOfPartner(d, k) * dPair;
        vOdd[q] = -vEven[q];
    }
    for (int k = 0; k < d.nConfigs; ++k) {
        if (PartnerOf(d, k) != k) continue;
        sectors.vPlace[k] = nPairs + nAlone++;
        vEven[k] = 1.0;
    }
    sectors.nSectors = nPairs > 0 ? 2 : 1;
    sectors.nSize[0] = nPairs + nAlone;
    sectors.nSize[1] = nPairs;
}

}  // namespace

void FillSectors(const Determinants& d, SpinSectors& sectors) {
    sectors.vPlace.Take(static_cast<std::size_t>(d.nConfigs), kWork);
    sectors.mWeight.Take(2, static_cast<std::size_t>(d.nConfigs), kWork);
    if (HavePartners(d))
        FillHalves(d, sectors);
    else
        FillWhole(d, sectors);
}

void ExpandState(const SpinSectors& sectors, int nSector, const double* vCombinations,
                 double* vState) {
    const int nConfigs = static_cast<int>(sectors.vPlace.Size());
    const double* vWeight = Row(sectors.mWeight.Data(), nConfigs, nSector);
    for (int k = 0; k < nConfigs; ++k)
        vState[k] = vWeight[k] == 0.0 ? 0.0 : vWeight[k] * vCombinations[sectors.vPlace[k]];
}

}  // namespace qsolve
