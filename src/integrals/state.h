#pragma once

#include "link/memory.h"

namespace qsolve {

/// Two-electron integrals and what belongs to them. Lives for one calculation.
struct IntegralState {
    /// The one two-electron store. Cndo, Zindo: mCoulomb, N x N, hartree. Nddo: vTwoCentre, one
    /// block for each ordered pair of atoms, located by pPairIndex, eV.
    Array<double> pIntegrals;
    Array<int> pPairIndex;        ///< Nddo: nSelected x nSelected
    Array<double> vAtomScratch1;  ///< Nddo: by position, population of s and p orbitals
    Array<double> vAtomScratch2;  ///< Nddo: by position, population of d orbitals
    Array<double> vCoreDiagonal;  ///< Cndo, Zindo: N, diagonal of the first Fock matrix
};
inline IntegralState integrals;

}  // namespace qsolve
