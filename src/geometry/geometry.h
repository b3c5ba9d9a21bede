#pragma once

/// The face of the geometry room: what searches, dynamics and vibrations do with a geometry.

namespace qsolve {

/// Moves every selected atom by dFactor times its row of pVector, x y z by position. Atoms that are
/// not free to move, capping ones among them, stay.
void MoveAtoms(const double* pVector, double dFactor);

}  // namespace qsolve
