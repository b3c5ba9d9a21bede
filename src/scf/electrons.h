#pragma once

#include "scf/commutator.h"
#include "scf/run.h"

/// The electrons of one SCF as an energy that depends on orbitals: what the guarded cycles, the
/// descent and the test of the state work on. A restricted calculation is one set of orbitals of
/// weight 2, an unrestricted one two sets of weight 1. Matrices are N x N, energies in the unit of
/// the family.

namespace qsolve {

/// How the levels of a set are filled, counted from the lowest: as many full ones, open ones that
/// hold dOpen electrons of the spin, and empty ones.
struct Shells {
    int n;      ///< levels
    int nFull;  ///< 0 .. n
    int nOpen;  ///< 0 .. n - nFull
    double dOpen;

    int Occupied() const { return nFull + nOpen; }
    double Filling(int k) const { return k < nFull ? 1.0 : k < Occupied() ? dOpen : 0.0; }
    /// First level above the shell of level k.
    int EndOfShell(int k) const { return k < nFull ? nFull : k < Occupied() ? Occupied() : n; }
};

struct Electrons {
    ScfRun& Run;
    SpinRun* pSets[2];
    Shells vShells[2];
    int nSets;
    int n;           ///< orbitals
    double dWeight;  ///< electrons that a full level of a set holds
    double dEv;      ///< eV in the unit of the family
};

/// The electrons of a run: its sets are those of the spins, whose arrays they read and write.
Electrons ElectronsOf(ScfRun& run, SpinRun& a, SpinRun& b);

/// The levels that a density is summed from: the occupied ones or, where they are fewer, those that
/// are not full, by what they lack.
LevelRange SummedLevels(const Shells& shells);

/// D = sum over levels of their filling times C_k C_k^T: the density of one spin, from the orbitals
/// of its summed levels. vWeights, N, becomes their weights in it, but for the unit matrix. Yields.
void FillDensity(const Shells& shells, const double* mVectors, double* vWeights, double* mDensity);

/// The density of a set as its orbitals have made it.
SpinDensity DensityOfOrbitals(const Shells& shells, const SpinRun& s);

/// Makes the total density and the Fock matrices of the densities of the sets, without shift or
/// disturbance, and returns their energy. Yields.
double EvaluateFock(Electrons& electrons);

/// The lower triangle of F D - D F of one set into mError; mWork is scratch. Returns the largest of
/// its elements.
double FockError(int n, const double* mFock, const SpinDensity& density, double* mWork,
                 double* mError);

/// Whether the densities hold the electrons that the shells say, to 1e-6.
bool HoldsItsElectrons(const Electrons& electrons);

}  // namespace qsolve
