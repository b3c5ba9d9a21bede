#pragma once

#include "symmetry/orientation.h"

namespace qsolve {

/// The point group of a molecule and how it stands in its frame.
struct PointGroup {
    int nFailure = 0;      ///< 0, or 2: the operations are those of no group of the table
    int nGroup = -1;       ///< row of the table; -1 where there is none
    unsigned nMask = 0;    ///< sum of 2^(k-1) over the operations k that are present
    bool fLinear = false;  ///< by the name of the group
    MassTensor Masses;
    OrientedAtoms Atoms;  ///< in the frame of the group, with their images
};

/// Finds the point group of a molecule of two atoms or more, by the operations that are present in
/// the frames that its principal axes and its atoms suggest. pAtoms has positions, masses and
/// numbers; it receives positions and images in the frame of the group. vCentred is nAtoms x 3;
/// both have to outlive the result. With fewer atoms, or a position that is no number, nothing is
/// found. Yields. Fatal with kMsgOutOfMemory where there is no memory.
PointGroup FindPointGroup(int nAtoms, SymmetryAtom* pAtoms, double* vCentred);

}  // namespace qsolve
