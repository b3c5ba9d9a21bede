#pragma once

namespace qsolve {

/// Divides element (i, j) of a matrix over the coordinates of nAtoms atoms by sqrt(m_i m_j), and
/// row i of their dipole derivatives, 3 nAtoms x 3, by sqrt(m_i). vMass is by atom; an atom without
/// mass, a dummy, is left out.
void MassWeightForceMatrix(int nAtoms, const double* vMass, double* mMatrix, double* mDipoles);

/// For each pair of atoms half the root of the sum of the squares of their 3 x 3 block: a measure
/// of the force between them. mTable is nAtoms x nAtoms.
void FillForceConstants(int nAtoms, const double* mMatrix, double* mTable);

}  // namespace qsolve
