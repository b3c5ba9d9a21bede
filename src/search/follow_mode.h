#pragma once

namespace qsolve {

/// A mode found again by what it looked like.
struct FoundMode {
    int nMode;        ///< from 0
    double dOverlap;  ///< of unit vectors
};

/// The mode of the first nModes rows of mVectors, n long each, that has the largest overlap, by
/// size, with vFollowed. The first mode stays where nothing overlaps: it has a bonus of 1e-6.
FoundMode FindFollowedMode(int nModes, int n, const double* mVectors, const double* vFollowed);

/// The mode with the largest overlap with a tangent, in a tie the first, taken with its sign or,
/// with fEitherSign, by size.
FoundMode FindModeAlong(int nModes, int n, const double* mVectors, const double* vTangent,
                        bool fEitherSign);

}  // namespace qsolve
