#pragma once

#include "numeric/row.h"

namespace qsolve {

/// What is kept of the vectors of a part: all of them, or, where the eigenvalues alone are wanted,
/// their first and last elements, which the next merging needs.
enum class Kept { kVectors, kEnds };

/// All eigenvalues of a symmetric tridiagonal matrix T, and eigenvectors, by divide and conquer: T
/// is torn into leaves, whose eigenvectors are found by QL iteration, and pairs of parts are merged
/// level by level, from the leaves to the whole. J. J. M. Cuppen, Numer. Math. 36, 177 (1981); M.
/// Gu, S. C. Eisenstat, SIAM J. Matrix Anal. Appl. 16, 172 (1995). Vectors are orthogonal to
/// rounding however close the eigenvalues are, and equal input gives equal bits on any number of
/// threads.
struct Divide {
    int n;               ///< at least 2
    int nFirst, nEnd;    ///< vectors nFirst .. nEnd - 1 are wanted, as by WidenRange
    double* vValues;     ///< diagonal of T in, of a norm near 1; eigenvalues out, ascending
    const double* vOff;  ///< vOff[i] joins i and i + 1
    Kept kept;           ///< with kEnds no vectors are wanted
    double* mVectors;    ///< n x n; eigenvector k is row k. Rows that are not wanted are scratch.
                         ///< With kEnds n x 2, all scratch
    double* mWork;       ///< scratch, n x n
    double* mSecular;    ///< scratch, n x n
    double* vWork;       ///< scratch, DivideWork(n)
    int* vIndex;         ///< scratch, DivideIndices(n)

    /// From one vector to the next.
    int Step() const { return kept == Kept::kEnds ? 2 : n; }
    /// What is kept of vector i, which belongs to a part that begins with row nFrom.
    double* VectorOf(int nFrom, int i) const {
        return Row(mVectors, Step(), i) + (kept == Kept::kEnds ? 0 : nFrom);
    }
};

/// Doubles and ints of scratch.
constexpr int DivideWork(int n) {
    return 8 * n;
}
constexpr int DivideIndices(int n) {
    return 4 * n;
}

/// Levels of parts: level 0 is the whole, and 1 << LevelsOfParts(n) is the number of leaves.
int LevelsOfParts(int n);

/// Tears T and solves the leaves.
void SolveLeaves(const Divide& divide);

/// Merges the parts below a level into those of the level; from LevelsOfParts(n) - 1 down to 0.
void MergeParts(const Divide& divide, int nLevel);

}  // namespace qsolve
