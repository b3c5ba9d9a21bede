#pragma once

#include <cstddef>

#include "link/memory.h"
#include "symmetry/state.h"

/// Atoms that are images of one another, whatever the point group: what is known of a few atoms is
/// known of the others.

namespace qsolve {

/// Which atoms follow from which others. An operation is a 3 x 3 orthogonal matrix that brings the
/// molecule into itself about its centre, the mean of the places.
struct Images {
    int nAtoms = 0;
    int nOperations = 0;
    Array<double> mTurns;   ///< nOperations x 9
    Array<int> mTo;         ///< nOperations x nAtoms: the atom in whose place each atom comes
    Array<int> vFrom;       ///< by atom: the atom that it is an image of, or itself
    Array<int> vOperation;  ///< by atom: the operation that does it; -1 for an atom that is none

    const double* Turn(int nOperation) const {
        return mTurns.Data() + 9 * static_cast<std::size_t>(nOperation);
    }
    int* To(int nOperation) { return mTo.Data() + Place(nOperation); }
    const int* To(int nOperation) const { return mTo.Data() + Place(nOperation); }
    bool IsImage(int nAtom) const { return vOperation[static_cast<std::size_t>(nAtom)] >= 0; }

  private:
    std::size_t Place(int nOperation) const {
        return static_cast<std::size_t>(nOperation) * static_cast<std::size_t>(nAtoms);
    }
};

/// Finds the images. vXyz: nAtoms x 3; vKinds: atoms of different numbers are never images of each
/// other. An atom that comes within dTolerance of another one's place, in each of x, y and z, is
/// there. Of atoms on a line none but the inversion is looked for. Returns how many atoms are
/// images. Fatal with kMsgOutOfMemory where there is no memory. Yields.
int FindImages(int nAtoms, const double* vXyz, const int* vKinds, double dTolerance,
               Images& images);

/// Whether a matrix over the orbitals has the symmetry of all operations: the block of two atoms,
/// turned, is that of their images, each element to within dTolerance. pRanges: orbitals of each
/// atom, shells s, p, d, f.
bool HasSymmetry(const Images& images, const AtomRange* pRanges, int nOrbitals,
                 const double* mMatrix, double dTolerance);

/// Fills the rows of images, n = 3 nAtoms: mHessian, n x n, and mDipoles, n x 3 (or null), whose
/// rows of other atoms are there.
void FillRowsOfImages(const Images& images, double* mHessian, double* mDipoles);

}  // namespace qsolve
