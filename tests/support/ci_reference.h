#pragma once

#include <string>
#include <vector>

#include "tests/support/scf_job.h"

/// Tables of configuration interaction by other programs, from tests/reference.

namespace qsolve {

/// A state of a table; numbers that it does not give are 0.
struct ReferenceState {
    double dSpin = 0.0;
    double dEnergy = 0.0;  ///< above the first, eV
    double dOscillator = 0.0, dDipole = 0.0;
};

/// One window of one molecule.
struct ReferenceWindow {
    std::string sName;
    int nMethod = 0, nMultiplicity = 0, nNextLowest = 0;
    std::vector<Place> Places;
    int nOccupied = 0, nUnoccupied = 0;
    double dHeat = 0.0;                         ///< kcal/mol
    std::vector<ReferenceState> States, Peers;  ///< lines "state" and "peer"
    std::vector<double> Occupations;
};

/// All windows of a file, in its order. Throws where the file is missing or a line is not known.
std::vector<ReferenceWindow> ReadCiReference(const std::string& sFile);

/// A job in a window, without an interaction; levels are sharper than the tables.
JobScript ScriptOf(const ReferenceWindow& window);

}  // namespace qsolve
