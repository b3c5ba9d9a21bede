#pragma once

#include "symmetry/state.h"

/// Twenty operations whose presence tells 43 point groups apart, and the test for each. They stand
/// in a frame of three axes, z the principal one. Operations on a cubic or icosahedral molecule
/// need an axis aslant to z as well: the three-fold ones are turned by the tilt of the frame.

namespace qsolve {

enum Operation : int {
    kIdentity = 0,
    kC2x = 1,
    kC2y,
    kC2z,
    kMirrorXy,
    kMirrorXz,
    kMirrorYz,
    kInversion,
    kC3,
    kC4,
    kC5,
    kC6,
    kC7,
    kC8,
    kS4,
    kS6,
    kS8,
    kS10,
    kS12,
    kS5,
    kC2Diagonal,  ///< about the line x = y
};
static_assert(kC2Diagonal == kOperations);

/// An image within this of an atom, in each of x, y and z, is that atom. In the working unit: bohr
/// for the methods in hartree, Angstrom for the others.
constexpr double kImageTolerance = 0.01;

/// Name of an operation: E, C2x, sxz, i, C3, S6, ..., C2d.
const char* OperationName(int nIndex);

/// The 3 x 3 matrix of an operation, 0 to kOperations, in the frame's own axes.
void BuildOperation(int nIndex, const double* mTilt, double* mOperation);

/// The same in the axes in which the molecule was given.
void BuildMoleculeOperation(int nIndex, const Frame& frame, double* mOperation);

/// A molecule about its centre of mass, and as one frame shows it.
struct OrientedAtoms {
    int nAtoms = 0;
    const double* vCentred = nullptr;  ///< nAtoms x 3, in the axes in which it was given
    SymmetryAtom* pAtoms = nullptr;    ///< coordinates in the axes of Axes
    Frame Axes;
    bool fOperationPresent[kOperations + 1] = {};
};

/// Turns the atoms into a frame. Nothing is known of the operations in it.
void SetFrame(const Frame& frame, OrientedAtoms& atoms);

/// Whether each atom's image under an operation of the frame is an atom of the same number; sets
/// fOperationPresent[nIndex] and, as far as it came, nImage[nIndex] of the atoms. Of two atoms that
/// fit the earlier one counts.
bool TestOperation(int nIndex, OrientedAtoms& atoms);

/// Tests all operations in a frame and returns how many are present.
int TestOperations(const Frame& frame, OrientedAtoms& atoms);

}  // namespace qsolve
