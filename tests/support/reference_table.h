#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/job_script.h"

/// Tables of tests/reference/ that hold molecules and what other programs compute for them.

namespace qsolve {

/// One molecule of nddo_geometries.txt.
struct ReferenceMolecule {
    std::string sName;
    int nCharge = 0, nMultiplicity = 1;
    bool fUnrestricted = false;
    std::vector<int> Elements;
    std::vector<double> Coordinates;  ///< x y z by atom, Angstrom
};

/// The molecules of a table of geometries, in its order; throws std::runtime_error for what cannot
/// be read.
std::vector<ReferenceMolecule> ReadReferenceMolecules(const std::string& sFile);

/// The rows of one molecule by their first word: "heat", "charges", ...
using ReferenceRows = std::map<std::string, std::vector<double>>;

/// The molecules of a table of values by name; throws std::runtime_error for what cannot be read.
std::map<std::string, ReferenceRows> ReadReferenceValues(const std::string& sFile);

/// A line of a table of names and numbers.
struct ReferenceRow {
    std::string sName;
    std::vector<double> Values;
};

/// The lines of such a table in their order; throws std::runtime_error for what cannot be read.
std::vector<ReferenceRow> ReadReferenceRows(const std::string& sFile);

/// A tightly converged single point of a molecule.
JobScript SinglePointOf(const ReferenceMolecule& molecule, int nMethod);

}  // namespace qsolve
