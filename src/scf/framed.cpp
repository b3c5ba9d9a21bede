#include "scf/framed.h"

#include <algorithm>
#include <cmath>

#include "algebra/diagonalise.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/pulay.h"
#include "scf/rotations.h"
#include "scf/state.h"

namespace qsolve {
namespace {

constexpr double kNearEnd = 0.7;  ///< largest element of F P - P F, eV, of a closed shell
/// And of one with few orbitals: 1.5 % less time for molecules of some ten atoms, while of 8000
/// single points, distorted ones among them, each ends in the state of before. Larger ones would
/// take 3 % more cycles.
constexpr double kNearEndOfFew = 2.0;
constexpr int kFewOrbitals = 64;
/// And of others, which have states beside one another, and longer to choose among them: of 128
/// radicals that a frame below 0.7 eV led elsewhere than mixtures do, it led 45 above.
constexpr double kNearEndOfSpins = 0.05;
constexpr int kFewestOrbitals = 14;  ///< of a closed shell, below which nothing is gained
/// And of others: of 300 distorted molecules that a frame led on from fewer, two complexes of
/// metals went to states that were no minima.
constexpr int kFewestOfSpins = 64;
/// Of the differences of levels, what a turn costs to second order: the electron that goes leaves
/// the attraction of its hole out of them. Cycles of closed shells: 2 % fewer.
constexpr double kAnswered = 0.75;
constexpr double kRise = 1e-7;       ///< of the energy that is no noise, unit of the family
constexpr double kUneven = 2.0;      ///< the largest element over the mean is some root of N times
constexpr double kLikeBefore = 0.9;  ///< ... or that of the last time, with something to spare
static_assert(kFramePoints <= kMostPulay);

constexpr int kRowsOfTask = 16;        ///< of turns that one task mixes
constexpr double kWorthThreads = 1e5;  ///< turns of all points

/// The slot for a new point, which becomes the last in the order.
int NextSlot(FramedSearch& search) {
    if (search.nCount < kFramePoints) {
        search.vOrder[search.nCount] = search.nCount;
        return search.nCount++;
    }
    std::rotate(search.vOrder, search.vOrder + 1, search.vOrder + kFramePoints);
    return search.vOrder[kFramePoints - 1];
}

double* Slot(Array<double>& m, const FramedSearch& search, int nSlot) {
    return m.Data() + static_cast<std::size_t>(nSlot) * search.nTurns;
}

/// Calls f(set, frame, number of its first turn) for all sets.
template <class F>
void ForFrames(Electrons& electrons, FramedSearch& search, F f) {
    std::size_t nFirst = 0;
    for (int k = 0; k < electrons.nSets; ++k) {
        f(*electrons.pSets[k], search.Frames[k], nFirst);
        nFirst += search.Frames[k].CountTurns();
    }
}

/// The largest element of F P - P F of all sets, from their orbitals.
double LargestError(const Electrons& electrons) {
    double d = 0.0;
    for (int k = 0; k < electrons.nSets; ++k) {
        const SpinRun& s = *electrons.pSets[k];
        d = std::max(
            d, FockError(electrons.n, s.mFock.Data(), DensityOfOrbitals(electrons.vShells[k], s),
                         scf.mSquareWork.Data(), scf.pWork.Data()));
    }
    return d;
}

bool IsWorthThreads(const FramedSearch& search) {
    return static_cast<double>(search.nTurns) * search.nCount > kWorthThreads;
}

/// The products of the errors of a point with those of all.
void FillDots(int nSlot, FramedSearch& search) {
    const double* pErrors = Slot(search.mErrors, search, nSlot);
    ForEachTaskIf(IsWorthThreads(search), search.nCount, [&](int i) {
        const int nOther = search.vOrder[i];
        Row(search.mDots, kFramePoints, nSlot)[nOther] =
            Row(search.mDots, kFramePoints, nOther)[nSlot] =
                Dot(static_cast<int>(search.nTurns), pErrors, Slot(search.mErrors, search, nOther));
    });
}

/// The turns of the mixture, and what they gain to first order.
void MixTurns(const double* vOfSlot, const OrbitalFrame& frame, std::size_t nFirst,
              FramedSearch& search) {
    const int l = frame.nLarge, nTasks = (frame.nSmall + kRowsOfTask - 1) / kRowsOfTask;
    const auto nStep = static_cast<std::ptrdiff_t>(search.nTurns);
    ForEachTaskIf(IsWorthThreads(search), nTasks, [&](int i) {
        const int nEnd = std::min(frame.nSmall, (i + 1) * kRowsOfTask);
        for (int p = i * kRowsOfTask; p < nEnd; ++p) {
            double* v = Row(search.vTurns.Data() + nFirst, l, p);
            std::fill_n(v, l, 0.0);
            kernels->AddRows(l, search.nCount, Row(search.mErrors.Data() + nFirst, l, p), nStep,
                             vOfSlot, v);
            const double e = frame.vLevel[frame.nFirstSmall + p];
            for (int q = 0; q < l; ++q)
                v[q] /= kAnswered * (e - frame.vLevel[frame.nFirstLarge + q]);
            kernels->AddRows(l, search.nCount, Row(search.mTurns.Data() + nFirst, l, p), nStep,
                             vOfSlot, v);
        }
    });
}

double NearEnd(const Electrons& electrons) {
    if (electrons.nSets > 1) return kNearEndOfSpins;
    return electrons.n < kFewOrbitals ? kNearEndOfFew : kNearEnd;
}

}  // namespace

ErrorOfNorm::ErrorOfNorm(int n) : dRatio_(kUneven / std::sqrt(std::max(n, 1))) {}

double ErrorOfNorm::Measured(const Electrons& electrons, double dNorm) {
    const double d = LargestError(electrons);
    if (dNorm > 0.0) dRatio_ = kLikeBefore * d / dNorm;
    return d;
}

bool MayUseFrame(const Electrons& electrons, double dError) {
    for (int k = 0; k < electrons.nSets; ++k)
        if (electrons.vShells[k].nOpen != 0) return false;
    const bool fClosed = electrons.nSets == 1;
    return electrons.n >= (fClosed ? kFewestOrbitals : kFewestOfSpins) &&
           dError * electrons.dEv < NearEnd(electrons);
}

void StartSearch(Electrons& electrons, FramedSearch& search) {
    const int n = electrons.n;
    search.nTurns = 0;
    search.nCount = 0;
    for (int k = 0; k < electrons.nSets; ++k) {
        SpinRun& s = *electrons.pSets[k];
        DiagonaliseQuickly(n, 0, n, s.mFock.Data(), s.mVectors.Data(), s.vEnergy.Data());
        TakeFrame(electrons.vShells[k], s.mVectors.Data(), s.vEnergy.Data(), search.Frames[k]);
        search.nTurns += search.Frames[k].CountTurns();
    }
    search.vTurns.Take(search.nTurns, kWork);  // zeroed
    for (Array<double>* m : {&search.mTurns, &search.mErrors})
        m->TakeUnset(static_cast<std::size_t>(kFramePoints), search.nTurns, kWork);
}

double RememberPoint(Electrons& electrons, FramedSearch& search) {
    const int nSlot = NextSlot(search);
    double *pTurns = Slot(search.mTurns, search, nSlot),
           *pErrors = Slot(search.mErrors, search, nSlot);
    std::copy(search.vTurns.begin(), search.vTurns.end(), pTurns);
    ForFrames(electrons, search, [&](SpinRun& s, const OrbitalFrame& frame, std::size_t nFirst) {
        ElementsInFrame(frame, pTurns + nFirst, s.mFock.Data(), s.mVectors.Data(), scf.pWork.Data(),
                        scf.mSquareWork.Data(), pErrors + nFirst);
    });
    FillDots(nSlot, search);
    return std::sqrt(2.0 * Row(search.mDots, kFramePoints, nSlot)[nSlot]);
}

bool MovePoint(Electrons& electrons, FramedSearch& search) {
    double vMixture[kFramePoints], vOfSlot[kFramePoints] = {};
    MixByPulay({search.nCount, kFramePoints, search.mDots, search.vOrder}, vMixture);
    for (int i = 0; i < search.nCount; ++i) vOfSlot[search.vOrder[i]] = vMixture[i];
    bool fNear = true;
    ForFrames(electrons, search, [&](SpinRun& s, const OrbitalFrame& frame, std::size_t nFirst) {
        MixTurns(vOfSlot, frame, nFirst, search);
        fNear = fNear && PlaceOrbitals(frame, search.vTurns.Data() + nFirst, scf.pWork.Data(),
                                       scf.mSquareWork.Data(), s.mVectors.Data());
    });
    return fNear;
}

bool RunInFrame(Electrons& electrons, const GuardLimits& limits, GuardEnd& end) {
    FramedSearch search;
    StartSearch(electrons, search);
    ErrorOfNorm error(electrons.n);
    double dLowest = HUGE_VAL;
    while (true) {
        FillDensities(electrons);
        NextFock(electrons, end);
        const double dNorm = RememberPoint(electrons, search);
        TellCycle(end);
        end.dCommutator = error.Expected(dNorm);
        const bool fLast = end.nCycles >= limits.nCycles;
        const bool fSettled = IsEnergySettled(electrons, limits, end);
        if (fLast || (fSettled && end.dCommutator < limits.dCommutator)) {
            end.dCommutator = error.Measured(electrons, dNorm);
            end.fConverged = fSettled && end.dCommutator < limits.dCommutator;
            if (end.fConverged && MovePoint(electrons, search)) {
                FillDensities(electrons);
                end.fAhead = true;
            }
            if (fLast || end.fConverged) return true;
        }
        if (!(end.dEnergy <= dLowest + kRise) || !MovePoint(electrons, search)) return false;
        dLowest = std::min(dLowest, end.dEnergy);
    }
}

}  // namespace qsolve
