#pragma once

#include "scf/guard.h"
#include "scf/parts.h"

/// Densities of a large molecule that are patched together from those of its parts: a start as good
/// as a few cycles of the whole leave, for a few percent of their work. W. Yang, T.-S. Lee, J.
/// Chem. Phys. 103, 5674 (1995).

namespace qsolve {

/// The electrons of each part's own orbitals in a density.
void CountOwnElectrons(int n, const Parts& parts, const double* mDensity, double* vElectrons);

/// The density of a set, N x N, from the orbitals of its Fock matrix's parts: each pair of orbitals
/// as the part says that has one of them as its own, or the mean of two parts. Levels are filled
/// up to a Fermi level, smeared over dSmear, of the unit of mFock: that of a part by the electrons
/// which its own orbitals are to hold, vElectrons. Before, these go by dShare of the way to what
/// one Fermi level for all parts would give them, which holds nElectrons in the sum. Yields; Fatal
/// without memory.
void PatchDensity(int n, const Parts& parts, const double* mFock, double nElectrons, double dShare,
                  double dSmear, double* vElectrons, double* mDensity);

/// Fock matrices of the density at hand and patches in turn, of a closed shell: where an unpaired
/// electron is, parts cannot know. end goes on with each. False, with nothing done, of other
/// shells, where the parts are too large to be worth while, or where more matrices than nMost were
/// made. Yields; Fatal without memory.
bool PatchDensities(Electrons& electrons, int nMost, GuardEnd& end);

}  // namespace qsolve
