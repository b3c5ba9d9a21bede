#pragma once

namespace qsolve {

struct Divide;

/// Merges the eigenvectors of two neighbouring parts, rows nFrom .. nMiddle - 1 and nMiddle .. nTo
/// - 1, into those of both together, sorted. Their values stand in divide.vValues, their vectors in
/// the same rows and columns of divide.mVectors, zero elsewhere. Of the whole matrix only the
/// wanted vectors are made.
void MergePair(const Divide& divide, int nFrom, int nMiddle, int nTo);

}  // namespace qsolve
