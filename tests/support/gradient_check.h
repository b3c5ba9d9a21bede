#pragma once

#include <vector>

#include "tests/support/job_script.h"

/// An analytic gradient beside differences of energies.

namespace qsolve {

/// The gradient of the last SCF, computed anew from its densities: x y z by position of the
/// selection with the capping atoms, kcal/(mol Angstrom).
std::vector<double> GradientOfLastScf();

/// How a gradient stands beside the slope of the energy.
struct GradientCheck {
    double dWorst = 0.0;    ///< largest deviation of a component, kcal/(mol Angstrom)
    double dLargest = 0.0;  ///< largest component
    double dForce = 0.0;    ///< largest component of the sum of the forces
    double dTorque = 0.0;   ///< largest component of the sum of the torques, kcal/mol
};

/// Runs a job at vAngstrom (x y z by atom) and compares its gradient with central differences of
/// reconverged energies, without the half-electron correction, which has none. Components that are
/// no number count as infinite deviations.
GradientCheck CheckGradient(const JobScript& script, const std::vector<double>& vAngstrom);

}  // namespace qsolve
