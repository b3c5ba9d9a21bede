#pragma once

#include "search/internal_coordinates.h"

namespace qsolve {

/// Derivatives of one internal coordinate along the places of its atoms.
struct BRow {
    int nAtom[4] = {};     ///< positions from 0
    int nAtoms = 0;        ///< 2, 3 or 4
    double vS[4][3] = {};  ///< 1 or radians, per unit of the places
};

/// The Wilson B matrix, a row for each reference that is not 0: by records, and in a record
/// distance, angle, dihedral. Returns the number of rows. A row whose angles have no sine is 0. E.
/// B. Wilson, J. C. Decius and P. C. Cross, Molecular Vibrations (1955).
int BuildBMatrix(int nAtoms, const double* vXyz, const InternalRecord* pRecords, BRow* pRows);

/// H := B^T D B for the diagonal matrix D of vForce, nRows long: mHessian is 3 nAtoms x 3 nAtoms.
/// An element of B above 10, in an arrangement that is nearly singular, counts as 1.
void TransformHessianToCartesian(int nAtoms, int nRows, const BRow* pRows, const double* vForce,
                                 double* mHessian);

}  // namespace qsolve
