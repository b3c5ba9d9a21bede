#include "scf/guarded.h"

#include <algorithm>
#include <cmath>

#include "algebra/diagonalise.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "report/report.h"
#include "scf/rotations.h"
#include "scf/stages.h"
#include "scf/state.h"
#include "scf/turn.h"

namespace qsolve {
namespace {

constexpr double kRise = 1e-7;         ///< of the energy that is no noise, unit of the family
constexpr double kNoise = 1e-14;       ///< of an energy, as a part of it: what rounding leaves
constexpr double kFarFromEnd = 1.0;    ///< largest element of the error, eV
constexpr double kSameDensity = 1e-2;  ///< elements of two densities of one state

/// Largest element of the error, eV, below which orbitals are turned, and the fewest orbitals for
/// which that is worth while. Mixtures cope with errors of the second order, which are some 1e-3 of
/// the step then: as many cycles as with solutions, or one more.
constexpr double kTurnBelow = 0.7;
constexpr int kFewestTurned = 64;

bool Rises(const MixHistory& history, double dEnergy) {
    for (int i = 0; i + 1 < history.nCount; ++i)
        if (dEnergy > history.vEnergy[history.vOrder[i]] + kRise) return true;
    return false;
}

/// The Fock matrices to go on with.
void MixPoints(Electrons& electrons, bool fGuard, MixHistory& history) {
    if (history.nCount < 2) return;
    double vMixture[kMixPoints] = {};
    if (fGuard)
        MixByEnergy(electrons, history, vMixture);
    else
        MixByError(history, vMixture);
    MixFock(electrons, history, vMixture);
}

/// Whether orbitals may be turned, and of which sets they all are at hand, with the levels of the
/// solution that they come from.
struct Turns {
    bool fNear = false;
    bool fAll[2] = {};
    double dFormer = HUGE_VAL;  ///< the error before

    /// Near the end and on the way to it.
    void Judge(const Electrons& electrons, double dError) {
        fNear =
            electrons.n >= kFewestTurned && dError * electrons.dEv < kTurnBelow && dError < dFormer;
        dFormer = dError;
    }
};

/// Orbitals of a set from its Fock matrix, which is destroyed: those of its density, or all.
void NewOrbitals(Electrons& electrons, int nSet, Turns& turns) {
    const int n = electrons.n;
    const Shells& shells = electrons.vShells[nSet];
    SpinRun& s = *electrons.pSets[nSet];
    if (turns.fNear && turns.fAll[nSet]) {
        MirrorLower(n, s.mFock.Data());
        if (TurnOrbitals(shells, s.mFock.Data(), s.vEnergy.Data(), s.mVectors.Data(),
                         scf.pWork.Data(), scf.mSquareWork.Data()))
            return;
    }
    const LevelRange levels = turns.fNear ? LevelRange{0, n} : SummedLevels(shells);
    DiagonaliseRange(n, levels.nFirst, levels.nEnd, s.mFock.Data(), s.mVectors.Data(),
                     s.vEnergy.Data());
    turns.fAll[nSet] = turns.fNear;
}

void NewDensities(Electrons& electrons, Turns& turns) {
    for (int i = 0; i < electrons.nSets; ++i) {
        SpinRun& s = *electrons.pSets[i];
        NewOrbitals(electrons, i, turns);
        FillDensity(electrons.vShells[i], s.mVectors.Data(), s.vWeights.Data(), s.mDensity.Data());
    }
}

}  // namespace

GuardEnd RunGuarded(Electrons& electrons, const GuardLimits& limits, MixHistory& history) {
    StartHistory(electrons, history);
    GuardEnd end;
    double dPrevious = 0.0;
    Turns turns;
    while (true) {
        ++end.nCycles;
        end.dEnergy = EvaluateFock(electrons);
        for (int i = 0; i < electrons.nSets; ++i) ReportFock(electrons.Run, *electrons.pSets[i]);
        end.dDifference = std::abs(end.dEnergy - dPrevious) * electrons.Run.Family.dKcalPerUnit;
        dPrevious = end.dEnergy;
        if (end.nCycles == 1 && !HoldsItsElectrons(electrons)) {
            NewDensities(electrons, turns);
            continue;
        }
        end.dCommutator =
            Remember(electrons, end.dEnergy, end.nCycles > 1, scf.mSquareWork.Data(), history);
        if (end.nCycles >= 2) ReportScfProgress(end.nCycles - 1, end.dDifference);
        const double dNoise = kNoise * std::abs(end.dEnergy) * electrons.Run.Family.dKcalPerUnit;
        end.fConverged = end.nCycles >= 2 && end.dDifference < std::max(limits.dEnergy, dNoise) &&
                         end.dCommutator < limits.dCommutator;
        if (end.fConverged || end.nCycles >= limits.nCycles) return end;
        const bool fGuard =
            Rises(history, end.dEnergy) || end.dCommutator * electrons.dEv > kFarFromEnd;
        MixPoints(electrons, fGuard, history);
        turns.Judge(electrons, end.dCommutator);
        NewDensities(electrons, turns);
    }
}

bool TakeOrbitals(Electrons& electrons) {
    const int n = electrons.n;
    bool fLowest = true;
    double* mNew = scf.mSquareWork.Data();
    for (int i = 0; i < electrons.nSets; ++i) {
        SpinRun& s = *electrons.pSets[i];
        const Shells& shells = electrons.vShells[i];
        Array<double> mFock;  // the solver destroys it, and the orbitals within the shells want it
        mFock.Take(static_cast<std::size_t>(n), static_cast<std::size_t>(n), kWork);
        std::copy_n(s.mFock.Data(), mFock.Size(), mFock.Data());
        Diagonalise(n, s.mFock.Data(), s.mVectors.Data(), s.vEnergy.Data());
        FillDensity(shells, s.mVectors.Data(), s.vWeights.Data(), mNew);
        double dChange = 0.0;
        for (std::size_t k = 0; k < s.mDensity.Size(); ++k)
            dChange = std::max(dChange, std::abs(mNew[k] - s.mDensity[k]));
        if (dChange < kSameDensity) {
            std::copy_n(mNew, s.mDensity.Size(), s.mDensity.Data());
            continue;
        }
        fLowest = false;
        OrbitalsOfDensity(shells, s.mDensity.Data(), mNew, s.mVectors.Data(), s.vEnergy.Data());
        OrbitalsWithinShells(shells, mFock.Data(), s.mVectors.Data(), s.vEnergy.Data());
    }
    return fLowest;
}

}  // namespace qsolve
