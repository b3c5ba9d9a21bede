#pragma once

#include "ci/determinants.h"

namespace qsolve {

/// Combinations of configurations that share the symmetry of a state under the exchange of the
/// spins of all electrons.
///
/// With as many alpha as beta electrons a configuration and its partner with exchanged spins make a
/// sum and a difference; of the two sectors of such combinations one holds the states of even S,
/// the other those of odd S, and an operator without spin has no elements between them. Each is
/// half as large as the whole; the combinations of pairs come first, in one order in both. With
/// other numbers of electrons there is one sector, of the
/// configurations themselves.
struct SpinSectors {
    int nSectors = 1;
    int nSize[2] = {};      ///< combinations in each
    Array<int> vPlace;      ///< nConfigs: the combination that a configuration belongs to
    Array<double> mWeight;  ///< 2 x nConfigs: its coefficient there; 0 where a sector has none
};

/// Finds the sectors. Without memory: Fatal.
void FillSectors(const Determinants& d, SpinSectors& sectors);

/// Writes the nConfigs coefficients of a vector over the combinations of a sector.
void ExpandState(const SpinSectors& sectors, int nSector, const double* vCombinations,
                 double* vState);

}  // namespace qsolve
