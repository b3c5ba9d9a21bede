#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "properties/orbital_values.h"
#include "properties/plot.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// An atom's orbitals and its block of a density: the elements above the diagonal stand twice in
/// the sum, and so once here, doubled.
struct AtomPart {
    AtomOrbitals Orbitals;
    double mTwice[kAtomOrbitals][kAtomOrbitals];  ///< v <= m
};

/// Element of mDensity, or of mDensity - mLess where there is one.
double Element(const double* mDensity, const double* mLess, int i, int j) {
    const double d = Row(mDensity, scf.nOrbitals, i)[j];
    return mLess ? d - Row(mLess, scf.nOrbitals, i)[j] : d;
}

AtomPart PartOfAtom(int nPosition, const double* mDensity, const double* mLess) {
    AtomPart part;
    part.Orbitals = OrbitalsOfAtom(nPosition, std::numeric_limits<double>::lowest());
    const int nFirst = part.Orbitals.nFirst;
    for (int m = 0; m < part.Orbitals.nOrbitals; ++m)
        for (int v = 0; v <= m; ++v)
            part.mTwice[m][v] =
                (m == v ? 1.0 : 2.0) * Element(mDensity, mLess, nFirst + m, nFirst + v);
    return part;
}

void AddDensity(const AtomPart& part, int nPoints, const OrbitalValues& values, double* vSum) {
    for (int m = 0; m < part.Orbitals.nOrbitals; ++m) {
        double vInner[kStripPoints] = {};
        for (int v = 0; v <= m; ++v) {
            const double p = part.mTwice[m][v];
            for (int i = 0; i < nPoints; ++i) vInner[i] += p * values.mValue[v][i];
        }
        for (int i = 0; i < nPoints; ++i) vSum[i] += vInner[i] * values.mValue[m][i];
    }
}

void ClearGrid(float* pGrid) {
    std::fill_n(
        pGrid,
        static_cast<std::size_t>(options.nGridRows) * static_cast<std::size_t>(options.nGridCols),
        0.0F);
}

/// Plots mDensity, or mDensity - mLess where that is not null.
void PlotDensity(const double* mDensity, const double* mLess, float* pGrid) {
    Array<AtomPart> pParts;
    pParts.Take(static_cast<std::size_t>(system.nSelected), kWork);
    for (int i = 0; i < system.nSelected; ++i) pParts[i] = PartOfAtom(i, mDensity, mLess);
    FillGrid(pParts, pGrid, AddDensity, [](double d) { return d; });
}

}  // namespace

void PlotChargeDensity(float* pGrid) {
    if (!scf.mDensityT) return ClearGrid(pGrid);
    PlotDensity(scf.mDensityT.Data(), nullptr, pGrid);
}

void PlotSpinDensity(float* pGrid) {
    const bool fUnrestricted = scf.nSpinTreatment == 1;
    if (!fUnrestricted && scf.nMultiplicity == 1) return ClearGrid(pGrid);
    if (!fUnrestricted && scf.nCiKind != kMicrostates)
        BuildSpinDensityRhf(scf.vEnergyA.Data(), scf.vLevelA.Data(), scf.mVectorsA.Data(),
                            setup.nOccupied, setup.nDoublyOcc);
    if (fUnrestricted)
        PlotDensity(scf.mDensityA.Data(), scf.mDensityB.Data(), pGrid);
    else
        PlotDensity(scf.mDensityB.Data(), nullptr, pGrid);
}

void BuildSpinDensityRhf(const double* vEnergy, const double* vLevel, const double* mVectors,
                         int nOccupied, int nDoublyOcc) {
    constexpr double kNoFactor = 0.0001;  // an occupancy this near to 1 is left out
    const int n = scf.nOrbitals;
    const auto nSize = static_cast<std::size_t>(n);
    if (!scf.mDensityB) scf.mDensityB.Take(nSize, nSize, kWork);
    double* mDensity = scf.mDensityB.Data();
    std::fill(mDensity, Row(mDensity, n, n), 0.0);
    if (nDoublyOcc >= n || nOccupied < 1) return;

    const double dOpen = setup.Map.dOpenOccupancy;
    const double dWeight = std::abs(dOpen - 1.0) < kNoFactor ? 1.0 : dOpen;
    for (int k = 0; k < n; ++k) {
        if (!(vEnergy[k] >= vLevel[nDoublyOcc] && vEnergy[k] <= vLevel[nOccupied - 1])) continue;
        AddOuterProducts(n, 1, Row(mVectors, n, k), &dWeight, mDensity);
        Yield(nSize);
    }
    MirrorLower(n, mDensity);
}

}  // namespace qsolve
