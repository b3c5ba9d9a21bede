#pragma once

#include "link/memory.h"

namespace qsolve {

/// The force matrix. With its modes, which stand among the results, it outlives a calculation by
/// rules of its own: a later job may work from the matrix of an earlier one, if it is of the same
/// kind and the same molecule.
struct VibrationState {
    int nCartesian = 0;        ///< order of pHessian
    int nProducerKind = -1;    ///< CalcKind that built the matrix; its unit depends on it
    bool fComplete = false;    ///< every element has been computed
    Array<int> vAtomicNumber;  ///< by position, of the molecule it belongs to
    Array<double> pHessian;    ///< nCartesian x nCartesian
    Array<double> vMass;       ///< by coordinate
};
inline VibrationState vibrations;

}  // namespace qsolve
