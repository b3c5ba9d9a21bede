#pragma once

#include "symmetry/images.h"

/// Rows of a force matrix that need not be computed.

namespace qsolve {

/// Finds which of the first nAtoms atoms of the selection are images of one another at
/// system.pCoords: in their places, their masses and in the densities that the last SCF has left.
/// Returns how many follow from others; 0 also where the client has not asked, or where the atoms
/// are not alone: beside classical or capping ones, or under restraints. Fatal with
/// kMsgOutOfMemory where there is no memory. Yields.
int FindImageRows(int nAtoms, Images& images);

}  // namespace qsolve
