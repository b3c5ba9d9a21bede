#pragma once

#include "link/memory.h"

namespace qsolve {

/// Force matrix and normal modes. They outlive a calculation by rules of their own: a later job may
/// work from the matrix of an earlier one, if it is of the same kind and the same molecule.
struct VibrationState {
    int nCartesian = 0;                ///< order of pHessian
    int nProducerKind = -1;            ///< CalcKind that built the matrix; its unit depends on it
    bool fComplete = false;            ///< every element has been computed
    Array<int> vAtomicNumber;          ///< by position, of the molecule it belongs to
    Array<double> pHessian;            ///< nCartesian x nCartesian
    Array<double> mModes;              ///< normal modes or eigenvectors, one a row
    Array<unsigned char> ModeRecords;  ///< 32 bytes a mode, as they go to the client
    Array<double> vMass;               ///< by coordinate
};
inline VibrationState vibrations;

}  // namespace qsolve
