#pragma once

#include "link/memory.h"
#include "scf/electrons.h"
#include "scf/simplex.h"

/// What the guarded cycles remember of the points that they have seen, and the mixtures of them
/// that they go on with. Both spins share one set of coefficients.

namespace qsolve {

/// Points that are remembered.
constexpr int kMixPoints = 6;
static_assert(kMixPoints <= kMostMixed);

struct MixHistory {
    int nCount = 0;                                   ///< points in use, the newest last in vOrder
    int vOrder[kMixPoints] = {};                      ///< slot of each, oldest first
    double vEnergy[kMixPoints] = {};                  ///< by slot, unit of the family
    double mErrorDots[kMixPoints * kMixPoints] = {};  ///< by slot
    Array<double> mFock, mDensity, mError;            ///< nSets x N x N for each slot
};

/// Takes the arrays for the sets of the electrons. Fatal without memory.
void StartHistory(const Electrons& electrons, MixHistory& history);

/// Adds the present Fock matrices and densities with their energy; the errors are made here, and
/// the largest element of them is returned. fOfOrbitals tells that the orbitals at hand have made
/// the densities. The oldest point goes where there is no place.
double Remember(const Electrons& electrons, double dEnergy, bool fOfOrbitals, double* mWork,
                MixHistory& history);

/// Coefficients, oldest first, that make the mixed error smallest: direct inversion in the
/// iterative subspace. P. Pulay, J. Comput. Chem. 3, 556 (1982). Old points are left out where the
/// system is singular. Returns the number of them that count, which are the newest.
int MixByError(const MixHistory& history, double* vMixture);

/// Coefficients that make the energy of the mixed density lowest, none of them negative.
/// K. N. Kudin, G. E. Scuseria, E. Cances, J. Chem. Phys. 116, 8255 (2002).
void MixByEnergy(const Electrons& electrons, const MixHistory& history, double* vMixture);

/// Replaces the Fock matrices of the sets, their lower triangles, by a mixture of those remembered.
void MixFock(Electrons& electrons, const MixHistory& history, const double* vMixture);

/// The Fock matrices to go on with from the newest point, whose energy and error these are: the
/// mixture of least energy where the energy has risen or the error is large, else that of least
/// error. A first point stays as it is.
void MixPoints(Electrons& electrons, double dEnergy, double dError, MixHistory& history);

}  // namespace qsolve
