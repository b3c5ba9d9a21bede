#pragma once

/// An automatic set of internal coordinates: each atom by its distance, angle and dihedral to
/// earlier ones. It serves a first guess of a Hessian and nothing else.

namespace qsolve {

/// The coordinates of one atom. References are positions from 1; 0 stands for none.
struct InternalRecord {
    double dDistance = 0.0;  ///< to nBondAtom, in the unit of the places
    double dAngle = 0.0;     ///< at nBondAtom, radians
    double dDihedral = 0.0;  ///< about the line from nBondAtom to nAngleAtom, 0 to below 2 pi
    int nBondAtom = 0, nAngleAtom = 0, nDihedralAtom = 0;
};

/// Chooses the references of nAtoms atoms at vXyz: each atom hangs on the nearest earlier one.
void BuildInternalConnectivity(int nAtoms, const double* vXyz, InternalRecord* pRecords);

/// Fills in the values. A dihedral about three atoms that nearly lie in a line gets another
/// reference where there is one; without, it stays and its value is 0.
void ComputeInternalCoordinates(int nAtoms, const double* vXyz, InternalRecord* pRecords);

/// References that are not 0: the number of coordinates.
int CountInternalCoordinates(int nAtoms, const InternalRecord* pRecords);

/// Angle at the middle of three points, radians.
double AngleAt(const double* a, const double* vMiddle, const double* c);

/// Dihedral of four points, 0 to below 2 pi; 0 where an end lies on the line of the middle two.
double DihedralOf(const double* a, const double* b, const double* c, const double* d);

}  // namespace qsolve
