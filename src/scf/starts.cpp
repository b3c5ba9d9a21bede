#include "scf/starts.h"

#include <algorithm>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "integrals/atom_list.h"
#include "job/state.h"
#include "link/memory.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "scf/rotations.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kBias = 1.1;  ///< by which equal spins are set apart

/// Electrons of each orbital, nElectrons in all.
void FillPopulations(Array<double>& vPopulation) {
    double dSum = 0.0;
    for (int i = 0; i < system.nSelected; ++i) {
        const ListedAtom atom = AtomAt(i);
        if (atom.IsDummy()) continue;
        const double d = CoreChargeOf(atom.nElement) / atom.nOrbitals;
        std::fill_n(vPopulation.begin() + atom.nFirst, atom.nOrbitals, d);
    }
    for (const double d : vPopulation) dSum += d;
    const double dScale = dSum > 0.0 ? setup.nElectrons / dSum : 0.0;
    for (double& d : vPopulation) d *= dScale;
}

double Scattered(unsigned& nState) {
    nState = nState * 1664525U + 1013904223U;
    return static_cast<double>(nState >> 8) / 8388608.0 - 1.0;
}

}  // namespace

bool HasEqualSpins(const Electrons& electrons) {
    return electrons.nSets == 2 && electrons.vShells[0].nFull == electrons.vShells[1].nFull;
}

void GuessPopulations(Electrons& electrons, bool fApart) {
    const int n = electrons.n;
    Array<double> vPopulation;
    vPopulation.Take(static_cast<std::size_t>(n), kWork);
    FillPopulations(vPopulation);
    for (int k = 0; k < electrons.nSets; ++k) {
        const Shells& shells = electrons.vShells[k];
        const double dHeld = shells.nFull + shells.nOpen * shells.dOpen;
        Array<double>& m = electrons.pSets[k]->mDensity;
        ClearRows(n, n, m.Data());
        double dSum = 0.0;
        for (int i = 0; i < n; ++i) {
            const bool fMore = (i + k) % 2 == 0;
            const double d = vPopulation[i] * (!fApart ? 1.0 : fMore ? kBias : 1.0 / kBias);
            dSum += Row(m.Data(), n, i)[i] = d;
        }
        for (int i = 0; i < n && dSum > 0.0; ++i) Row(m.Data(), n, i)[i] *= dHeld / dSum;
    }
}

void GuessFromCore(Electrons& electrons) {
    for (int k = 0; k < electrons.nSets; ++k) {
        SpinRun& s = *electrons.pSets[k];
        std::copy(scf.mCore.begin(), scf.mCore.end(), s.mFock.begin());
        Diagonalise(electrons.n, s.mFock.Data(), s.mVectors.Data(), s.vEnergy.Data());
    }
    FillDensities(electrons);
}

void ScatterOrbitals(Electrons& electrons, int nSeed, double dTurn) {
    Array<double> vTurns;
    vTurns.Take(CountRotations(electrons), kWork);
    unsigned nState = static_cast<unsigned>(nSeed) * 747796405U + 2891336453U;
    for (double& x : vTurns) x = dTurn * Scattered(nState);
    RotateOrbitals(electrons, vTurns.Data());
    FillDensities(electrons);
}

bool ExchangeLevels(Electrons& electrons, int nSet, int p, int q) {
    const int n = electrons.n;
    const Shells& shells = electrons.vShells[nSet];
    if (p < 0 || q >= n || shells.Filling(p) == shells.Filling(q)) return false;
    double* c = electrons.pSets[nSet]->mVectors.Data();
    std::swap_ranges(Row(c, n, p), Row(c, n, p) + n, Row(c, n, q));
    FillDensities(electrons);
    return true;
}

}  // namespace qsolve
