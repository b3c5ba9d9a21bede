#include "ci/states.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

/// S(S + 1) of a state may be off its value by this.
constexpr double kSpinTolerance = 0.05;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

/// The matrix of each sector, from elements between configurations.
struct SectorMatrices {
    const SpinSectors& Sectors;
    int nConfigs;
    Array<double> mCi[2];

    /// Adds the element of one pair, which stands for both orders, to the lower triangles.
    void Add(int k, int q, double dElement) {
        for (int t = 0; t < Sectors.nSectors; ++t) {
            const double* vWeight = Row(Sectors.mWeight.Data(), nConfigs, t);
            double d = vWeight[k] * vWeight[q] * dElement;
            if (d == 0.0) continue;
            const int i = Sectors.vPlace[k], j = Sectors.vPlace[q];
            // Configurations of one combination add to its diagonal in either order.
            if (i == j && k != q) d *= 2.0;
            Row(mCi[t].Data(), Sectors.nSize[t], std::max(i, j))[std::min(i, j)] += d;
        }
    }
};

void FillMatrices(const CiOperator& ci, SectorMatrices& matrices) {
    for (int t = 0; t < matrices.Sectors.nSectors; ++t)
        matrices.mCi[t].Take(Size(matrices.Sectors.nSize[t]), Size(matrices.Sectors.nSize[t]),
                             kWork);
    ForEachElement(ci, [&](int k, int q, double d) { matrices.Add(k, q, d); });
}

/// Gives each vector of a sector the sign that makes the largest of its coefficients positive.
void FixSigns(const SpinSectors& sectors, int nSector, double* mVectors) {
    const int n = sectors.nSize[nSector];
    const int nPairs = sectors.nSectors == 2 ? sectors.nSize[1] : 0;
    const double dPair = std::sqrt(0.5);
    for (int k = 0; k < n; ++k) {
        double* v = Row(mVectors, n, k);
        double dLargest = 0.0;
        for (int i = 0; i < n; ++i) {
            const double d = i < nPairs ? dPair * v[i] : v[i];
            if (std::abs(d) > std::abs(dLargest)) dLargest = d;
        }
        if (dLargest < 0.0)
            for (int i = 0; i < n; ++i) v[i] = -v[i];
    }
}

/// Diagonalises the matrix of each sector, one after the other and gone at once. vEnergy becomes
/// the eigenvalues, sector after sector, and so the numbers of the vectors run.
void Solve(SectorMatrices& matrices, CiStates& states, double* vEnergy) {
    int nDone = 0;
    for (int t = 0; t < states.Sectors.nSectors; ++t) {
        const int n = states.Sectors.nSize[t];
        states.mCiVectors[t].Take(Size(n), Size(n), kWork);
        Diagonalise(n, matrices.mCi[t].Data(), states.mCiVectors[t].Data(), vEnergy + nDone);
        matrices.mCi[t].Reset();
        FixSigns(states.Sectors, t, states.mCiVectors[t].Data());
        nDone += n;
    }
}

/// Numbers the eigenvectors by their energies and makes that the order of the list. Of equal
/// energies that of the first sector comes first.
void Order(const double* vEnergy, CiStates& states) {
    const int nFirst = states.Sectors.nSize[0];
    int i = 0, j = nFirst;
    for (int k = 0; k < states.nConfigs; ++k) {
        const bool fSecond = i == nFirst || (j < states.nConfigs && vEnergy[j] < vEnergy[i]);
        const int n = fSecond ? j++ : i++;
        states.vCiEnergy[k] = vEnergy[n];
        states.vCiIndex[k] = k;
        states.vSector[k] = fSecond ? 1 : 0;
        states.vRow[k] = fSecond ? n - nFirst : n;
    }
}

void FillSpins(const SpinOperator& spin, CiStates& states) {
    Array<double> vState;
    vState.Take(Size(states.nConfigs), kWork);
    for (int k = 0; k < states.nConfigs; ++k) {
        TakeState(states, k, vState.Data());
        const double dSquare = SpinSquare(spin, vState.Data());
        states.vSpinSquare[k] = dSquare < 0.0 ? 0.0 : dSquare;  // rounding
        Yield(Size(states.nConfigs));
    }
}

}  // namespace

void SolveStates(const CiOperator& ci, const SpinOperator& spin, CiStates& states) {
    states.nConfigs = ci.Configs.nConfigs;
    for (Array<double>* v : {&states.vCiEnergy, &states.vSpinSquare})
        v->Take(Size(states.nConfigs), kWork);
    for (Array<int>* v : {&states.vCiIndex, &states.vSector, &states.vRow})
        v->Take(Size(states.nConfigs), kWork);
    FillSectors(ci.Configs, states.Sectors);

    StatusFormat(kMsgCiMatrix);
    SectorMatrices matrices{states.Sectors, states.nConfigs, {}};
    FillMatrices(ci, matrices);
    StatusFormat(kMsgCiDiagonalization);
    Array<double> vEnergy;
    vEnergy.Take(Size(states.nConfigs), kWork);
    Solve(matrices, states, vEnergy.Data());
    Order(vEnergy.Data(), states);
    FillSpins(spin, states);
}

void TakeState(const CiStates& states, int nPlace, double* vState) {
    const int nVector = states.vCiIndex[nPlace], nSector = states.vSector[nVector];
    ExpandState(
        states.Sectors, nSector,
        Row(states.mCiVectors[nSector].Data(), states.Sectors.nSize[nSector], states.vRow[nVector]),
        vState);
}

ChosenStates ChooseState(const CiStates& states) {
    const double dTarget = TargetSpinSquare(options.nMultiplicity);
    int nFirst = -1;
    for (int k = 0; k < states.nConfigs; ++k) {
        if (!(std::abs(dTarget - states.vSpinSquare[k]) < kSpinTolerance)) continue;
        if (!options.fNextLowestState) return {k, k, states.vCiEnergy[k], 0.0};
        if (nFirst >= 0) return {nFirst, k, states.vCiEnergy[k], states.vCiEnergy[nFirst]};
        nFirst = k;
    }
    Fatal(kMsgCiStateMissing);
}

void MoveToFront(int nPlace, CiStates& states) {
    const auto Rotate = [nPlace](auto& v) {
        std::rotate(v.begin(), v.begin() + nPlace, v.begin() + nPlace + 1);
    };
    Rotate(states.vCiEnergy);
    Rotate(states.vSpinSquare);
    Rotate(states.vCiIndex);
}

}  // namespace qsolve
