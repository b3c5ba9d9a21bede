#include "scf/guarded.h"

#include <algorithm>
#include <cmath>

#include "algebra/diagonalise.h"
#include "numeric/strips.h"
#include "scf/framed.h"
#include "scf/rotations.h"
#include "scf/state.h"

namespace qsolve {
namespace {

constexpr double kSameDensity = 1e-2;  ///< elements of two densities of one state

void NewDensities(Electrons& electrons) {
    for (int i = 0; i < electrons.nSets; ++i) {
        SpinRun& s = *electrons.pSets[i];
        const Shells& shells = electrons.vShells[i];
        const LevelRange levels = SummedLevels(shells);
        DiagonaliseQuickly(electrons.n, levels.nFirst, levels.nEnd, s.mFock.Data(),
                           s.mVectors.Data(), s.vEnergy.Data());
        FillDensity(shells, s.mVectors.Data(), s.vWeights.Data(), s.mDensity.Data());
    }
}

}  // namespace

GuardEnd RunGuarded(Electrons& electrons, const GuardLimits& limits, MixHistory& history,
                    const GuardStart& start) {
    GuardEnd end = start.before;
    double dFormer = HUGE_VAL;  // the error before, once orbitals have made the densities
    if (start.fNear && MayUseFrame(electrons, 0.0) && end.nCycles + 2 <= limits.nCycles) {
        NextFock(electrons, end);
        TellCycle(end);
        if (RunInFrame(electrons, limits, end)) return end;
        FillDensities(electrons);
        dFormer = 0.0;
    }
    StartHistory(electrons, history);
    while (true) {
        NextFock(electrons, end);
        if (end.nCycles == 1 && !HoldsItsElectrons(electrons)) {
            NewDensities(electrons);
            continue;
        }
        end.dCommutator =
            Remember(electrons, end.dEnergy, end.nCycles > 1, scf.mSquareWork.Data(), history);
        TellCycle(end);
        end.fConverged =
            IsEnergySettled(electrons, limits, end) && end.dCommutator < limits.dCommutator;
        if (end.fConverged || end.nCycles >= limits.nCycles) return end;
        MixPoints(electrons, end.dEnergy, end.dCommutator, history);
        const bool fFalls = end.nCycles >= 2 && end.dCommutator < dFormer;
        if (end.nCycles >= 2) dFormer = end.dCommutator;
        if (fFalls && MayUseFrame(electrons, end.dCommutator)) {
            if (RunInFrame(electrons, limits, end)) return end;
            FillDensities(electrons);
            history.nCount = 0;
            dFormer = 0.0;
            continue;
        }
        NewDensities(electrons);
    }
}

bool TakeOrbitals(Electrons& electrons, bool fAhead) {
    const int n = electrons.n;
    bool fLowest = true;
    double* mNew = scf.mSquareWork.Data();
    for (int i = 0; i < electrons.nSets; ++i) {
        SpinRun& s = *electrons.pSets[i];
        const Shells& shells = electrons.vShells[i];
        Array<double> mFock;  // the solver destroys it, and the orbitals within the shells want it
        mFock.Take(static_cast<std::size_t>(n), static_cast<std::size_t>(n), kWork);
        CopyRows(n, n, s.mFock.Data(), mFock.Data());
        DiagonaliseQuickly(n, 0, n, s.mFock.Data(), s.mVectors.Data(), s.vEnergy.Data());
        FillDensity(shells, s.mVectors.Data(), s.vWeights.Data(), mNew);
        double dChange = 0.0;
        for (std::size_t k = 0; k < s.mDensity.Size(); ++k)
            dChange = std::max(dChange, std::abs(mNew[k] - s.mDensity[k]));
        if (dChange < kSameDensity) {
            if (!fAhead) std::copy_n(mNew, s.mDensity.Size(), s.mDensity.Data());
            continue;
        }
        fLowest = false;
        OrbitalsOfDensity(shells, s.mDensity.Data(), mNew, s.mVectors.Data(), s.vEnergy.Data());
        OrbitalsWithinShells(shells, mFock.Data(), s.mVectors.Data(), s.vEnergy.Data());
    }
    return fLowest;
}

}  // namespace qsolve
