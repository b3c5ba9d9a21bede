#pragma once

#include "search/internal_coordinates.h"

namespace qsolve {

/// Force constants of the internal coordinates of nAtoms atoms, kcal/mol per square of the working
/// unit or of a radian, in the order of the rows of the B matrix: by Schlegel's rule, H. B.
/// Schlegel, Theor. Chim. Acta 66, 333 (1984), or, with fSchlegel clear, the same for all
/// distances, all angles, all dihedrals. nZ is by atom; a coordinate of an atom beyond argon has
/// the fixed value. fBohr tells the unit of the distances: bohr, or Angstrom. Returns their number.
int FillModelForces(int nAtoms, const int* nZ, const double* vXyz, const InternalRecord* pRecords,
                    bool fSchlegel, bool fBohr, double* vForce);

/// The guess of a Hessian, 3 nAtoms x 3 nAtoms, kcal/mol per square of the working unit, by those
/// constants. Fatal with kMsgOutOfMemory without memory for the coordinates.
void BuildModelHessian(int nAtoms, const int* nZ, const double* vXyz, bool fSchlegel, bool fBohr,
                       double* mHessian);

}  // namespace qsolve
