#pragma once

#include "search/internal_coordinates.h"

namespace qsolve {

/// What a guess is made of.
struct ModelKind {
    bool fSchlegel;  ///< by Schlegel's rule, or the same for all distances, angles, dihedrals
    bool fBohr;      ///< distances are in bohr, not in Angstrom
    bool fCareful = false;  ///< the rule has a pole inside a bond: no stretch is stiffer than short
                            ///< of it, about 50 mdyn/Angstrom, and none is negative beyond
};

/// Force constants of the internal coordinates of nAtoms atoms, kcal/mol per square of the working
/// unit or of a radian, in the order of the rows of the B matrix: by Schlegel's rule, H. B.
/// Schlegel, Theor. Chim. Acta 66, 333 (1984), or fixed ones. nZ is by atom; a coordinate of an
/// atom beyond argon has the fixed value. Returns their number.
int FillModelForces(int nAtoms, const int* nZ, const double* vXyz, const InternalRecord* pRecords,
                    const ModelKind& kind, double* vForce);

/// The guess of a Hessian, 3 nAtoms x 3 nAtoms, kcal/mol per square of the working unit, by those
/// constants. Fatal with kMsgOutOfMemory without memory for the coordinates.
void BuildModelHessian(int nAtoms, const int* nZ, const double* vXyz, const ModelKind& kind,
                       double* mHessian);

}  // namespace qsolve
