#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "setup/parameters.h"
#include "tests/support/scf_job.h"

/// Methods and molecules as they are named on the command line of a benchmark.

namespace qsolve {

/// The method of a name such as "am1"; 0 for any other.
inline int MethodNamed(const std::string& sName) {
    static const std::vector<std::string> names = {"",    "cndo", "indo",   "mindo3", "mndo",
                                                   "am1", "pm3",  "zindo1", "zindos", "mndod"};
    for (std::size_t i = 1; i < names.size(); ++i)
        if (names[i] == sName) return static_cast<int>(i);
    return 0;
}

/// Atomic number of a symbol; 0 for what is none.
inline int ElementNamed(const std::string& sSymbol) {
    for (int i = 0; i < kHighestElement; ++i)
        if (sSymbol == kElementSymbol[i] + (kElementSymbol[i][0] == ' ' ? 1 : 0)) return i + 1;
    return 0;
}

/// Atoms of an xyz file, Angstrom; none where it cannot be read.
inline std::vector<Place> ReadXyz(const char* sPath) {
    std::ifstream file(sPath);
    std::string sLine, sSymbol;
    std::size_t nAtoms = 0;
    file >> nAtoms;
    std::getline(file, sLine);
    std::getline(file, sLine);
    std::vector<Place> places;
    double x, y, z;
    while (places.size() < nAtoms && file >> sSymbol >> x >> y >> z) {
        places.push_back({ElementNamed(sSymbol), x, y, z});
        std::getline(file, sLine);
    }
    return places;
}

}  // namespace qsolve
