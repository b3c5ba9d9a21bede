#pragma once

#include "link/memory.h"

namespace qsolve {

/// What one SCF leaves of the charge distribution, and what its plots leave. A calculation on a
/// single atom has no dipole and leaves the table as it was.
struct PropertyState {
    /// Debye, columns x y z total; rows: point charges, sp hybrids, pd hybrids, their sum.
    double dDipoleTable[4][4] = {};

    Array<double> vCharge;  ///< by position: net charges, e

    Array<float> vPlotXyz;   ///< by atom, working unit: where plots see the atoms; empty before one
    Array<float> vPlotBohr;  ///< the same in bohr, while a plot is made
};
inline PropertyState properties;

}  // namespace qsolve
