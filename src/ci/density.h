#pragma once

#include "ci/pairs.h"

namespace qsolve {

/// One-electron operators over configurations: what the density between two states is made from.
/// Densities are vectors over pairs of levels (PairOf), those of two different levels standing for
/// both orders, so that the value of an operator o is sum_p density_p o_p.
struct OneElectronLists {
    /// Two configurations between which an electron moves from one level of a pair to the other.
    struct Transfer {
        int k, q, nPair, nSign;
    };
    /// By how many electrons the occupation of a level differs from that in the reference.
    struct Change {
        int k, nLevel, nElectrons;
    };
    Array<Transfer> pTransfers;
    Array<Change> pChanges;
    Array<int> vReference;  ///< n: electrons of each level in the reference
};

/// Fills the lists. Without memory: Fatal. Yields.
void FillOneElectronLists(const Determinants& d, const ConfigLists& lists, OneElectronLists& one);

/// The density between two states of nConfigs coefficients, which may be the same. vDensity, of
/// n (n + 1) / 2 pairs, is overwritten.
void FillDensity(const OneElectronLists& one, int nConfigs, const double* vLeft,
                 const double* vRight, double* vDensity);

}  // namespace qsolve
