#include "scf/density.h"

#include <algorithm>
#include <cstddef>

#include "job/state.h"
#include "link/link.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kPair = 2.0;  ///< electrons in a full level
constexpr int kStrip = 128;    ///< orbitals between two yields

/// Levels nFirst .. nLast, from 1, and their weight; empty when nLast is below nFirst.
struct Range {
    int nFirst, nLast;
    double dWeight;
};

/// The sum to take: two ranges and what is added to the diagonal.
struct Form {
    Range full, open;
    double dDiagonal;
};

Form ChooseForm(const LevelCounts& counts) {
    const int n = setup.nOrbitals, nDoubly = counts.nDoubly;
    const int nHighest = std::max(counts.nOcc, nDoubly);
    const double dOpen = setup.Map.dOpenOccupancy;
    if (FamilyOf(system.MethodId) == Family::kNddo && nDoubly != 0 && nHighest > n / 2)
        return {{nHighest + 1, n, -kPair}, {nDoubly + 1, nHighest, dOpen - kPair}, kPair};
    return {{1, nDoubly, kPair}, {nDoubly + 1, counts.nOcc, dOpen}, 0.0};
}

/// Energies that belong to a range; below all levels for an empty one.
struct Window {
    double dLow, dHigh;
    bool Holds(double e) const { return e >= dLow && e <= dHigh; }
};

Window WindowOf(const Range& range, const double* vEnergy) {
    if (range.nLast < range.nFirst) return {vEnergy[0] - 1.0, vEnergy[0] - 1.0};
    return {vEnergy[range.nFirst - 1], vEnergy[range.nLast - 1]};
}

/// The weight of every orbital. It follows from the energy and not from the number.
void FillWeights(const Form& form, const double* vEnergy, double* vWeights) {
    const Window full = WindowOf(form.full, vEnergy), open = WindowOf(form.open, vEnergy);
    for (int k = 0; k < setup.nOrbitals; ++k) {
        const double e = vEnergy[k];
        vWeights[k] = full.Holds(e) ? form.full.dWeight : open.Holds(e) ? form.open.dWeight : 0.0;
    }
}

}  // namespace

LevelRange DensityLevels(const LevelCounts& counts) {
    const Form form = ChooseForm(counts);
    LevelRange levels{setup.nOrbitals, 0};
    for (const Range& range : {form.full, form.open}) {
        if (range.nLast < range.nFirst) continue;
        levels.nFirst = std::min(levels.nFirst, range.nFirst - 1);
        levels.nEnd = std::max(levels.nEnd, range.nLast);
    }
    return levels.nEnd > 0 ? levels : LevelRange{};
}

void PublishLevels(int nIndexOffset, const double* vEnergy, double* vLevel) {
    const int n = setup.nOrbitals;
    std::copy_n(vEnergy, n, vLevel);
    for (int k = 0; k < n; ++k) {
        const auto i = static_cast<std::size_t>(nIndexOffset + k);
        results.Orbitals.vOrbitalOrder[i] = k;
        results.Orbitals.vOrbitalEnergy[i] = static_cast<float>(vEnergy[k]);
    }
}

void BuildDensity(const LevelCounts& counts, const double* vEnergy, double* vLevel,
                  const double* mVectors, double* mDensity, double* vWeights) {
    const int n = setup.nOrbitals;
    if (n == 0) return;
    PublishLevels(counts.nIndexOffset, vEnergy, vLevel);
    const Form form = ChooseForm(counts);
    FillWeights(form, vEnergy, vWeights);

    ClearRows(n, n, mDensity);
    for (int k = 0; k < n;) {
        if (vWeights[k] == 0.0) {
            ++k;
            continue;
        }
        int nEnd = k + 1;
        while (nEnd < n && nEnd < k + kStrip && vWeights[nEnd] != 0.0) ++nEnd;
        AddOuterProducts(n, nEnd - k, Row(mVectors, n, k), vWeights + k, mDensity);
        Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(nEnd - k));
        k = nEnd;
    }
    MirrorLower(n, mDensity);
    for (int i = 0; i < n; ++i) Row(mDensity, n, i)[i] += form.dDiagonal;
}

}  // namespace qsolve
