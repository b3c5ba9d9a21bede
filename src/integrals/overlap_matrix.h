#pragma once

#include "integrals/atom_list.h"
#include "integrals/diatomic_block.h"

namespace qsolve {

/// The shells of an atom with the exponents of the job's method. Reads system.MethodId and the
/// method's parameter table. A dummy has no shells.
AtomShells ShellsOf(const ListedAtom& atom);

/// Weights of the overlap of two p shells: those of the options in ZINDO, 1 in all other methods.
OverlapWeights WeightsOfJob();

/// The overlap matrix of the geometry in system.pCoords: mCore, rows nLeading apart, nOrbitals x
/// nOrbitals, full and symmetric. The diagonal is 1; orbitals of one atom are orthogonal. Charges
/// Yield for each atom and row. Fatal where there is no memory for a table of shells.
void BuildOverlapMatrix(double* mCore, int nLeading, int nOrbitals);

}  // namespace qsolve
