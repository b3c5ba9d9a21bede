#pragma once

#include "symmetry/operations.h"

/// Where the axes of a molecule may stand. What is proposed here are frames to try: only the test
/// of the operations decides what is present.

namespace qsolve {

enum class Top { kAsymmetric, kSymmetric, kSpherical, kLinear };

/// The distribution of the masses.
struct MassTensor {
    double dTotalMass = 0.0;
    double vMoment[3] = {};  ///< second moments about the principal axes, ascending, amu unit^2
    Frame Principal;         ///< by these moments, right-handed; z is the longest axis
    Frame Unique;            ///< the same, but for a symmetric top its unique axis is z
    Top nTop = Top::kAsymmetric;
};

/// Second moments of a molecule about its centre of mass. vCentred, nAtoms x 3, receives the
/// positions relative to it. Two moments count as equal within what a displacement of each atom by
/// kImageTolerance can do to them, since a molecule so distorted keeps its operations.
MassTensor FindPrincipalAxes(int nAtoms, const SymmetryAtom* pAtoms, double* vCentred);

/// Turns a frame whose z is right about z, so that xz is a mirror plane, or else x an axis of order
/// two; the frame as it stands where there is neither. Any of both exchanges an atom with another
/// at its height and distance from z, or keeps it, so the directions between one atom and its
/// partners are all that need to be tried.
Frame AlignSymmetricTop(const Frame& frame, OrientedAtoms& atoms);

/// A frame for a molecule with three equal moments: an axis of high order on z, and for a cubic or
/// icosahedral one the tilt that takes the three-fold operations to their axes. Fatal with
/// kMsgOutOfMemory where there is no memory for a table of its shells.
Frame AlignSphericalTop(const Frame& principal, OrientedAtoms& atoms);

/// A right-handed frame with a direction, of any length but 0, on z.
Frame FrameOnZ(const double* vDirection);

/// A frame turned about its z by an angle, radians, x towards y.
Frame TurnedAboutZ(const Frame& frame, double dAngle);

/// A frame in which axis nFrom, 0 or 1, has taken the place of z, and z its place, negated.
Frame ExchangedWithZ(const Frame& frame, int nFrom);

}  // namespace qsolve
