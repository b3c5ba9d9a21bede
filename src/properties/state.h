#pragma once

namespace qsolve {

/// What one SCF leaves of the charge distribution. A calculation on a single atom has none and
/// leaves the table as it was.
struct PropertyState {
    /// Debye, columns x y z total; rows: point charges, sp hybrids, pd hybrids, their sum.
    double dDipoleTable[4][4] = {};
};
inline PropertyState properties;

}  // namespace qsolve
