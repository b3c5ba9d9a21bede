#pragma once

#include <string>
#include <vector>

#include "tests/support/job_script.h"

/// Electronic structure without a session: a job is taken in and set up, and stays for the test.

namespace qsolve {

/// Plays the intake of a job into new state and sets it up; RunScf is next. Unwinds when refused.
void SetUpJob(const JobScript& script);

/// Puts atoms in their places to all digits of a double: x y z by atom, Angstrom. The wire carries
/// single precision.
void SetPositions(const std::vector<double>& vAngstrom);

/// Runs a job's SCF from its guess, at the geometry of the script or at one in double precision.
/// Returns the total energy, kcal/mol.
double EnergyOf(const JobScript& script);
double EnergyOf(const JobScript& script, const std::vector<double>& vAngstrom);

/// A job with the options of Water() on other atoms: pairs of element and place, Angstrom.
struct Place {
    int nElement;
    double x, y, z;
};
JobScript Molecule(int nMethod, const std::vector<Place>& places);

/// The places of a molecule, x y z by atom, for SetPositions.
std::vector<double> PositionsOf(const std::vector<Place>& places);

}  // namespace qsolve
