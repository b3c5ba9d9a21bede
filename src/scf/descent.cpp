#include "scf/descent.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/memory.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "report/report.h"
#include "scf/rotations.h"
#include "scf/state.h"

namespace qsolve {
namespace {

constexpr int kSteps = 8;              ///< steps that are remembered
constexpr double kLongestTurn = 0.3;   ///< largest rotation of a step, radians
constexpr double kSmallestBend = 2.0;  ///< of the first guess of the curvatures, eV
constexpr int kMostShortenings = 12;
constexpr double kEnoughFall = 1e-4;  ///< of the fall that the slope promises

/// Steps, the changes of the slope that came with them, and the slope itself.
struct Descent {
    int nSize;
    int nSteps = 0;  ///< remembered; the newest is last
    Array<double> mSteps = {}, mChanges = {};
    Array<double> vSlope = {}, vOldSlope = {}, vBend = {}, vStep = {};
};

double* StepAt(Array<double>& m, const Descent& d, int i) {
    return Row(m.Data(), d.nSize, i);
}

/// The inverse Hessian of the remembered steps times the slope, by two loops.
void QuasiNewtonStep(const Electrons& electrons, Descent& d) {
    const int n = d.nSize;
    double vAlpha[kSteps];
    for (int i = 0; i < n; ++i) d.vStep[i] = -d.vSlope[i];
    for (int k = d.nSteps - 1; k >= 0; --k) {
        const double *s = StepAt(d.mSteps, d, k), *y = StepAt(d.mChanges, d, k);
        vAlpha[k] = Dot(n, s, d.vStep.Data()) / Dot(n, s, y);
        for (int i = 0; i < n; ++i) d.vStep[i] -= vAlpha[k] * y[i];
    }
    const double dSmallest = kSmallestBend / electrons.dEv;
    for (int i = 0; i < n; ++i) d.vStep[i] /= std::max(std::abs(d.vBend[i]), dSmallest);
    for (int k = 0; k < d.nSteps; ++k) {
        const double *s = StepAt(d.mSteps, d, k), *y = StepAt(d.mChanges, d, k);
        const double dBeta = Dot(n, y, d.vStep.Data()) / Dot(n, s, y);
        for (int i = 0; i < n; ++i) d.vStep[i] += (vAlpha[k] - dBeta) * s[i];
    }
    double dLargest = 0.0;
    for (const double x : d.vStep) dLargest = std::max(dLargest, std::abs(x));
    if (!(dLargest > kLongestTurn)) return;
    for (double& x : d.vStep) x *= kLongestTurn / dLargest;
}

/// Remembers the last step where the slope has grown along it.
void RememberStep(Descent& d) {
    const int n = d.nSize;
    if (d.nSteps == kSteps) {
        for (Array<double>* m : {&d.mSteps, &d.mChanges})
            std::copy(StepAt(*m, d, 1), StepAt(*m, d, kSteps), m->Data());
        --d.nSteps;
    }
    double *s = StepAt(d.mSteps, d, d.nSteps), *y = StepAt(d.mChanges, d, d.nSteps);
    std::copy(d.vStep.begin(), d.vStep.end(), s);
    for (int i = 0; i < n; ++i) y[i] = d.vSlope[i] - d.vOldSlope[i];
    const double dGrowth = Dot(n, s, y);
    if (dGrowth > 1e-8 * std::sqrt(Dot(n, s, s) * Dot(n, y, y))) ++d.nSteps;
}

void CopyOrbitals(Electrons& electrons, bool fBack, Array<double>& mKept) {
    const auto n = static_cast<std::size_t>(electrons.n);
    for (int k = 0; k < electrons.nSets; ++k) {
        double* c = electrons.pSets[k]->mVectors.Data();
        double* p = mKept.Data() + static_cast<std::size_t>(k) * n * n;
        if (fBack)
            std::copy_n(p, n * n, c);
        else
            std::copy_n(c, n * n, p);
    }
}

/// Goes along the step as far as the energy falls, shortening it; vStep becomes what was gone.
/// False where nothing falls, and the orbitals are those of before.
bool GoDown(Electrons& electrons, double dSlope, Array<double>& mKept, Descent& d, GuardEnd& end) {
    CopyOrbitals(electrons, false, mKept);
    for (int nTry = 0; nTry < kMostShortenings; ++nTry) {
        RotateOrbitals(electrons, d.vStep.Data());
        FillDensities(electrons);
        const double dEnergy = EvaluateFock(electrons);
        ++end.nCycles;
        const double dRise = dEnergy - end.dEnergy;
        if (dRise <= kEnoughFall * dSlope || std::abs(dRise) < 1e-12 * std::abs(dEnergy)) {
            end.dDifference = std::abs(dRise) * electrons.Run.Family.dKcalPerUnit;
            end.dEnergy = dEnergy;
            return true;
        }
        // To the lowest point of the parabola through both ends with the slope of the first.
        const double dShare = std::clamp(-0.5 * dSlope / (dRise - dSlope), 0.1, 0.5);
        for (double& x : d.vStep) x *= dShare;
        dSlope *= dShare;
        CopyOrbitals(electrons, true, mKept);
    }
    FillDensities(electrons);
    end.dEnergy = EvaluateFock(electrons);
    return false;
}

}  // namespace

GuardEnd Descend(Electrons& electrons, const GuardLimits& limits) {
    const std::size_t nSize = CountRotations(electrons);
    const auto n = static_cast<std::size_t>(electrons.n);
    Descent d{.nSize = static_cast<int>(nSize)};
    for (Array<double>* m : {&d.mSteps, &d.mChanges}) m->Take(kSteps, nSize, kWork);
    for (Array<double>* v : {&d.vSlope, &d.vOldSlope, &d.vBend, &d.vStep}) v->Take(nSize, kWork);
    Array<double> mKept;
    mKept.Take(2 * n, n, kWork);

    GuardEnd end;
    FillDensities(electrons);
    end.dEnergy = EvaluateFock(electrons);
    end.nCycles = 1;
    bool fFresh = true;  // the energy has not been compared yet
    while (true) {
        end.dCommutator =
            RotationSlope(electrons, scf.mSquareWork.Data(), d.vSlope.Data(), d.vBend.Data());
        if (end.nCycles >= 2) ReportScfProgress(end.nCycles - 1, end.dDifference);
        end.fConverged =
            !fFresh && end.dDifference < limits.dEnergy && end.dCommutator < limits.dCommutator;
        if (nSize == 0 || end.fConverged || end.nCycles >= limits.nCycles) {
            end.fConverged = end.fConverged || nSize == 0;
            return end;
        }
        if (!fFresh) RememberStep(d);
        fFresh = false;
        QuasiNewtonStep(electrons, d);
        double dSlope = Dot(d.nSize, d.vSlope.Data(), d.vStep.Data());
        if (!(dSlope < 0.0)) {
            d.nSteps = 0;
            QuasiNewtonStep(electrons, d);
            dSlope = Dot(d.nSize, d.vSlope.Data(), d.vStep.Data());
        }
        std::copy(d.vSlope.begin(), d.vSlope.end(), d.vOldSlope.begin());
        if (GoDown(electrons, dSlope, mKept, d, end)) continue;
        if (d.nSteps == 0) return end;
        d.nSteps = 0;
        fFresh = true;
    }
}

}  // namespace qsolve
