#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "ci/interaction.h"
#include "tests/support/scf_job.h"
#include "tests/support/second_quantised.h"

/// A converged SCF and a window of it, for tests of configuration interaction.

namespace qsolve {

/// What is asked for: the molecule, the state, the window.
struct CiCase {
    int nMethod;
    std::vector<Place> Places;
    int nMultiplicity = 1;
    bool fNextLowest = false;
    bool fMicrostates = false;
    int nOccupied = 2, nUnoccupied = 2;
};

/// Runs the SCF and leaves the options of the interaction set.
void RunCase(const CiCase& c);

/// Where the last SCF stands.
ScfLevels LevelsOfScf();

/// Chooses the window and places the configurations as the options say.
void PlaceConfigurations(Interaction& ci);

/// The same with integrals, matrix and states.
void SolveCase(const CiCase& c, Interaction& ci);

/// The state at a place of the list as determinants of the tests' own.
Vector VectorOf(const Interaction& ci, int nPlace);

/// Molecules without symmetry.
extern const std::vector<Place> kBentWater, kBentFormaldehyde, kBentMethyl;

/// Every family with closed, open and next lowest states.
std::vector<CiCase> AllCases();

/// One word for the name of a test.
std::string NameOf(const CiCase& c);

inline std::ostream& operator<<(std::ostream& out, const CiCase& c) {
    return out << NameOf(c);
}

}  // namespace qsolve
