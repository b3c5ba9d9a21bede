#include "scf/mixing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numeric/kernels.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "numeric/trace.h"
#include "scf/pulay.h"

namespace qsolve {
namespace {

constexpr double kRise = 1e-7;  ///< of the energy that is no noise, unit of the family
/// Orders up to which the triangle that nobody reads costs less than to leave it out by rows.
constexpr int kWholeMatrices = 32;
constexpr double kFarFromEnd = 1.0;  ///< largest element of the error, eV

/// The matrix of one set in one slot.
double* In(Array<double>& m, const Electrons& electrons, int nSlot, int nSet) {
    const auto n = static_cast<std::size_t>(electrons.n);
    return m.Data() + static_cast<std::size_t>(nSlot * electrons.nSets + nSet) * n * n;
}
const double* In(const Array<double>& m, const Electrons& electrons, int nSlot, int nSet) {
    const auto n = static_cast<std::size_t>(electrons.n);
    return m.Data() + static_cast<std::size_t>(nSlot * electrons.nSets + nSet) * n * n;
}

/// The slot for a new point, which becomes the last in the order.
int NextSlot(MixHistory& history) {
    if (history.nCount < kMixPoints) {
        history.vOrder[history.nCount] = history.nCount;
        return history.nCount++;
    }
    std::rotate(history.vOrder, history.vOrder + 1, history.vOrder + kMixPoints);
    return history.vOrder[kMixPoints - 1];
}

bool Rises(const MixHistory& history, double dEnergy) {
    for (int i = 0; i + 1 < history.nCount; ++i)
        if (dEnergy > history.vEnergy[history.vOrder[i]] + kRise) return true;
    return false;
}

}  // namespace

void StartHistory(const Electrons& electrons, MixHistory& history) {
    const auto n = static_cast<std::size_t>(electrons.n);
    const auto nMatrices = static_cast<std::size_t>(kMixPoints * electrons.nSets);
    history.nCount = 0;
    if (history.mFock.Size() == nMatrices * n * n) return;
    for (Array<double>* m : {&history.mFock, &history.mDensity, &history.mError})
        m->TakeUnset(nMatrices, n * n, kWork);
}

double Remember(const Electrons& electrons, double dEnergy, bool fOfOrbitals, double* mWork,
                MixHistory& history) {
    const int nSlot = NextSlot(history), n = electrons.n;
    history.vEnergy[nSlot] = dEnergy;
    double dLargest = 0.0;
    for (int k = 0; k < electrons.nSets; ++k) {
        const SpinRun& s = *electrons.pSets[k];
        CopyRows(n, n, s.mFock.Data(), In(history.mFock, electrons, nSlot, k));
        CopyRows(n, n, s.mDensity.Data(), In(history.mDensity, electrons, nSlot, k));
        const SpinDensity density = fOfOrbitals ? DensityOfOrbitals(electrons.vShells[k], s)
                                                : SpinDensity{s.mDensity.Data()};
        dLargest = std::max(dLargest, FockError(n, s.mFock.Data(), density, mWork,
                                                In(history.mError, electrons, nSlot, k)));
    }
    for (int i = 0; i < history.nCount; ++i) {
        const int nOther = history.vOrder[i];
        double dDot = 0.0;
        for (int k = 0; k < electrons.nSets; ++k)
            dDot += TraceProductHalfQuickly(n, In(history.mError, electrons, nSlot, k),
                                            In(history.mError, electrons, nOther, k));
        Row(history.mErrorDots, kMixPoints, nSlot)[nOther] =
            Row(history.mErrorDots, kMixPoints, nOther)[nSlot] = dDot;
    }
    return dLargest;
}

int MixByError(const MixHistory& history, double* vMixture) {
    return MixByPulay({history.nCount, kMixPoints, history.mErrorDots, history.vOrder}, vMixture);
}

void MixByEnergy(const Electrons& electrons, const MixHistory& history, double* vMixture) {
    const int m = history.nCount, n = electrons.n;
    double mTraces[kMixPoints * kMixPoints] = {}, mBend[kMixPoints * kMixPoints] = {};
    double vLinear[kMixPoints] = {};
    for (int i = 0; i < m; ++i) {
        vLinear[i] = history.vEnergy[history.vOrder[i]];
        for (int j = 0; j < m; ++j)
            for (int k = 0; k < electrons.nSets; ++k)
                Row(mTraces, m, i)[j] +=
                    TraceProduct(n, In(history.mDensity, electrons, history.vOrder[i], k),
                                 In(history.mFock, electrons, history.vOrder[j], k));
    }
    const double dLowest = *std::min_element(vLinear, vLinear + m);
    for (int i = 0; i < m; ++i) {
        vLinear[i] -= dLowest;
        for (int j = 0; j < m; ++j)
            Row(mBend, m, i)[j] = 0.5 * electrons.dWeight *
                                  (Row(mTraces, m, i)[i] - Row(mTraces, m, i)[j] -
                                   Row(mTraces, m, j)[i] + Row(mTraces, m, j)[j]);
    }
    MinimiseOnSimplex(m, vLinear, mBend, vMixture);
}

void MixFock(Electrons& electrons, const MixHistory& history, const double* vMixture) {
    const int n = electrons.n;
    const std::ptrdiff_t nStep = static_cast<std::ptrdiff_t>(n) * n * electrons.nSets;
    double vOfSlot[kMixPoints] = {};
    for (int i = 0; i < history.nCount; ++i) vOfSlot[history.vOrder[i]] = vMixture[i];
    for (int k = 0; k < electrons.nSets; ++k) {
        double* f = electrons.pSets[k]->mFock.Data();
        const double* g = In(history.mFock, electrons, 0, k);
        if (n <= kWholeMatrices) {
            std::fill_n(f, n * n, 0.0);
            kernels->AddRows(n * n, history.nCount, g, nStep, vOfSlot, f);
            continue;
        }
        ForEachStrip(n, [&](int, int nFirst, int nEnd) {
            for (int i = nFirst; i < nEnd; ++i) {
                std::fill_n(Row(f, n, i), i + 1, 0.0);
                kernels->AddRows(i + 1, history.nCount, Row(g, n, i), nStep, vOfSlot, Row(f, n, i));
            }
        });
    }
}

void MixPoints(Electrons& electrons, double dEnergy, double dError, MixHistory& history) {
    if (history.nCount < 2) return;
    double vMixture[kMixPoints] = {};
    if (Rises(history, dEnergy) || dError * electrons.dEv > kFarFromEnd)
        MixByEnergy(electrons, history, vMixture);
    else
        MixByError(history, vMixture);
    MixFock(electrons, history, vMixture);
}

}  // namespace qsolve
