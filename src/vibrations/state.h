#pragma once

#include "geometry/state.h"
#include "link/memory.h"

namespace qsolve {

/// The matrix of second derivatives. It outlives a calculation by rules of its own: a later job may
/// work from the matrix of an earlier one, if it is of the same kind and the same molecule.
struct VibrationState {
    int nStoredCoordinates =
        0;                   ///< order of pHessian: three for each selected atom, no capping ones
    int nProducerKind = -1;  ///< CalcKind that built the matrix; its unit depends on it
    bool fComplete = false;  ///< every element has been computed
    int nMethod = 0;         ///< Method of the gradients
    int nAtoms = 0;          ///< atoms of the molecule it belongs to
    Array<int> vSelectedAtoms;  ///< by position, capping atoms too: number from 1
    Array<int> vAtomicNumber;   ///< the same: atomic number, with the offset of a capping atom
    Array<double> vCoords;      ///< places of all its atoms, working unit
    Array<double> pHessian;     ///< nStoredCoordinates squared; of vibrations mdyn/Angstrom
    Array<double> pDipoleDerivatives;  ///< nStoredCoordinates x 3, Debye/Angstrom
    DifferenceReport Report;           ///< how the matrix came about
};
inline VibrationState vibrations;

}  // namespace qsolve
