#include "ci/natural_orbitals.h"

#include <algorithm>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "ci/density.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

/// What the density of the state has beyond that of the SCF, n x n over the levels of the window.
void FillChange(const Interaction& ci, const double* vState, double* mChange) {
    const int n = ci.Window.nLevels;
    OneElectronLists one;
    Array<double> vDensity;
    vDensity.Take(Size(ci.Table.nPairs), kWork);
    FillOneElectronLists(ci.Configs, ci.Lists, one);
    FillDensity(one, ci.Configs.nConfigs, vState, vState, vDensity.Data());
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < i; ++j)
            Row(mChange, n, i)[j] = Row(mChange, n, j)[i] = 0.5 * vDensity[PairOf(i, j)];
        Row(mChange, n, i)[i] = vDensity[PairOf(i, i)] - 2.0 * ci.Window.vOccRef[i];
    }
}

/// P += C^T D C with the orbitals C of the window, n x N.
void AddToDensity(const Interaction& ci, const double* mChange, double* mDensity) {
    const int n = ci.Window.nLevels, nOrbitals = setup.nOrbitals;
    Array<double> mHalf;
    mHalf.Take(Size(n), Size(nOrbitals), kWork);
    Multiply(n, n, nOrbitals, mChange, ci.mActive.Data(), mHalf.Data());
    AddProduct({.nRows = nOrbitals,
                .nInner = n,
                .nColumns = nOrbitals,
                .a = Transposed(ci.mActive.Data(), nOrbitals),
                .b = Plain(mHalf.Data(), nOrbitals),
                .pC = mDensity,
                .nStepC = nOrbitals,
                .triangle = Triangle::kLower});
    MirrorLower(nOrbitals, mDensity);
    Yield(Size(nOrbitals) * Size(n));
}

/// By how many electrons of alpha spin there are more than of beta spin in each level.
void FillSpinWeights(const Interaction& ci, const double* vState, double* vWeights) {
    const Determinants& d = ci.Configs;
    for (int k = 0; k < d.nConfigs; ++k) {
        const double dWeight = vState[k] * vState[k];
        for (int i = 0; i < d.nLevels; ++i) {
            if (IsOccupied(d.mOccAlpha, d.vAlphaRow[k], i)) vWeights[i] += dWeight;
            if (IsOccupied(d.mOccBeta, d.vBetaRow[k], i)) vWeights[i] -= dWeight;
        }
        Yield(Size(d.nLevels));
    }
}

void FillSpinDensity(const Interaction& ci, const double* vState, double* mSpin) {
    const int n = setup.nOrbitals;
    Array<double> vWeights;
    vWeights.Take(Size(ci.Window.nLevels), kWork);
    FillSpinWeights(ci, vState, vWeights.Data());
    std::fill(mSpin, Row(mSpin, n, n), 0.0);
    AddOuterProducts(n, ci.Window.nLevels, ci.mActive.Data(), vWeights.Data(), mSpin);
    MirrorLower(n, mSpin);
}

/// The orbitals rise by occupation and stay as they are; the results list them the other way.
void ListOccupations(const double* vNaturalOcc) {
    const int n = setup.nOrbitals;
    for (int k = 0; k < n; ++k) {
        results.Orbitals.vOrbitalOrder[k] = n - 1 - k;
        results.Orbitals.vOccupancy[k] = static_cast<float>(vNaturalOcc[n - 1 - k]);
    }
}

}  // namespace

void BuildNaturalOrbitals(const Interaction& ci, const double* vState, const StateMatrices& out) {
    const int n = setup.nOrbitals, nLevels = ci.Window.nLevels;
    Array<double> mChange;
    mChange.Take(Size(nLevels), Size(nLevels), kWork);
    FillChange(ci, vState, mChange.Data());
    FillSpinDensity(ci, vState, out.mSpinDensity);
    AddToDensity(ci, mChange.Data(), out.mDensityT);
    std::copy(out.mDensityT, Row(out.mDensityT, n, n), out.mFockA);
    Diagonalise(n, out.mFockA, out.mVectorsA, out.vNaturalOcc);
    ListOccupations(out.vNaturalOcc);
}

}  // namespace qsolve
