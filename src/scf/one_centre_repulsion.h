#pragma once

#include "integrals/atom_list.h"
#include "integrals/one_centre.h"

namespace qsolve {

/// Adds to a Fock matrix the repulsion of the electrons on one atom, for the spin of mDensitySpin:
///
///     F_ij += sum over k, l on the atom of P_kl (ij|kl) - Q_kl (ik|jl)
///
/// with P the total and Q the spin density. vOneCentre holds the distinct values of the integrals
/// and list says which one each integral is. Matrices are nLeading x nLeading and in the unit of
/// the values.
void AddOneCentreRepulsion(const ListedAtom& atom, const OneCentreList& list,
                           const double* vOneCentre, const double* mDensityT,
                           const double* mDensitySpin, int nLeading, double* mFock);

}  // namespace qsolve
