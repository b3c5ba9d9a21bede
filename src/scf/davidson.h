#pragma once

#include "link/memory.h"

/// The steps of Davidson's method for the lowest eigenvalues of a symmetric matrix, here called the
/// Hessian, of which products with vectors are known: E. R. Davidson, J. Comput. Phys. 17, 87
/// (1975).

namespace qsolve {

/// Vectors of the subspace, at most; then it starts anew from two.
constexpr int kMostVectors = 24;

struct Space {
    int nSize;                     ///< of the Hessian
    int nVectors = 0;              ///< of the subspace
    Array<double> mVectors = {};   ///< nMost x nSize, orthonormal
    Array<double> mProducts = {};  ///< the Hessian times each
    Array<double> vDiagonal = {};  ///< of the Hessian, or something near it
    /// The Hessian within the space; entry j of row i for j <= i.
    double mInside[kMostVectors][kMostVectors] = {};

    /// For a Hessian n x n, and nMost vectors of it. Fatal without memory.
    explicit Space(int n, int nMost = kMostVectors);
    /// Vector number i, and its product.
    double* Vector(int i);
    double* Product(int i);
};

/// Makes a vector orthogonal to those of the space and of unit length. False where little is left,
/// and of what is no number.
bool MakeNew(Space& space, double* v);

/// Takes the vector behind the last one and its product into the Hessian within the space, and
/// counts it.
void CountVector(Space& space);

/// The two lowest eigenvalues of the Hessian within the space, or the one that there is. Row k of
/// mTurn, nVectors long, is the vector of number k.
struct Inside {
    double mTurn[kMostVectors * kMostVectors];
    double vValues[kMostVectors];
};

/// Fills it for a space that has vectors.
void SolveInside(const Space& space, Inside& inside);

/// In place of it for the lowest eigenvalue alone, each time that the space has a vector more, from
/// the first on: that of before, as far as the new vector lowers it, is where Newton's method on
///
///     a - x - b (M - x)^-1 b = 0
///
/// begins, with M, b, a the old part of the matrix, the new row and its last element. Right of its
/// first root this falls ever faster, so that no step goes past that. Vector 1 is no eigenvector
/// then, but the part of the old vector 0 at right angles to the new one, which to go on from is
/// worth more: A. Stathopoulos, Y. Saad, Electron. Trans. Numer. Anal. 7, 163 (1998).
void FollowLowest(const Space& space, Inside& inside);

/// An eigenvalue of the Hessian within the space, and the length of what the Hessian itself leaves.
struct RitzValue {
    double dValue, dResidual;
};

/// Number nRoot, 0 or 1, from the lowest: its vector and residual, H v - value v.
RitzValue FindRoot(const Space& space, const Inside& inside, int nRoot, double* vVector,
                   double* vResidual);

/// Vectors 0 and 1 of `inside`, and their products, in place of all that it was made for; it then
/// is that of the two. vWork, 2 nSize, is scratch.
void StartAnew(Space& space, Inside& inside, double* vWork);

/// The residual over the difference of the diagonal and the eigenvalue, which is taken as no
/// smaller than dSmallest.
void Precondition(const Space& space, double dValue, double dSmallest, double* vResidual);

}  // namespace qsolve
