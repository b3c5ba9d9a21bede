#include "scf/next_orbitals.h"

#include "algebra/diagonalise.h"
#include "numeric/rank_update.h"
#include "scf/state.h"
#include "scf/turn.h"

namespace qsolve {
namespace {

/// Largest element of the error, eV, below which orbitals are turned, and the fewest orbitals for
/// which that is worth while. Mixtures cope with errors of the second order, which are some 1e-3 of
/// the step then: as many cycles as with solutions, or one more.
constexpr double kTurnBelow = 0.7;
constexpr int kFewestTurned = 64;

}  // namespace

void Turns::Judge(const Electrons& electrons, double dError) {
    fNear = electrons.n >= kFewestTurned && dError * electrons.dEv < kTurnBelow && dError < dFormer;
    dFormer = dError;
}

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
    DiagonaliseQuickly(n, levels.nFirst, levels.nEnd, s.mFock.Data(), s.mVectors.Data(),
                       s.vEnergy.Data());
    turns.fAll[nSet] = turns.fNear;
}

}  // namespace qsolve
