#pragma once

namespace qsolve {

/// How the masses of a molecule lie.
struct Inertia {
    double vCentre[3] = {};    ///< of mass, in the unit of the positions
    double vMoment[3] = {};    ///< principal moments, ascending, amu Angstrom^2; 0 for none
    double vConstant[3] = {};  ///< rotational constants, 1/cm; 0 where there is no moment
    double mAxes[9] = {};      ///< principal axes, one a row, right-handed
};

/// Moments of inertia below this, amu Angstrom^2, are none: the axis of a linear molecule.
constexpr double kLeastMoment = 0.0003;

/// Rotational constant, 1/cm, of a moment of 1 amu Angstrom^2, and the moment in 1e-40 g cm^2.
constexpr double kConstantOfMoment = 16.8576522;
constexpr double kCgsOfMoment = 1.66057;

/// The inertia of nAtoms points, vXyz x y z by atom and vMass their weights. dAngstromSquared is
/// the square of the unit of length in Angstrom^2. Points of weight 0 do not count; without any
/// weight the centre is the origin.
Inertia ComputeInertia(int nAtoms, const double* vXyz, const double* vMass,
                       double dAngstromSquared);

/// Translations and rotations of a molecule: 6, or 5 where the first moment is none.
int CountExternalModes(const Inertia& inertia);

}  // namespace qsolve
