#pragma once

#include <cstdio>
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

/// The molecules of an xyz file, one behind the other, Angstrom; none where it cannot be read.
inline std::vector<std::vector<Place>> ReadFrames(const std::string& sPath) {
    std::ifstream file(sPath);
    std::string sLine, sSymbol;
    std::vector<std::vector<Place>> molecules;
    std::size_t nAtoms = 0;
    while (file >> nAtoms) {
        std::getline(file, sLine);
        std::getline(file, sLine);
        std::vector<Place> places;
        double x, y, z;
        while (places.size() < nAtoms && file >> sSymbol >> x >> y >> z) {
            places.push_back({ElementNamed(sSymbol), x, y, z});
            std::getline(file, sLine);
        }
        molecules.push_back(places);
    }
    return molecules;
}

/// Atoms of the first molecule of an xyz file; none where it cannot be read.
inline std::vector<Place> ReadXyz(const char* sPath) {
    const std::vector<std::vector<Place>> molecules = ReadFrames(sPath);
    return molecules.empty() ? std::vector<Place>() : molecules.front();
}

/// The body of a benchmark whose arguments are pairs of a method and an xyz file: calls
/// measure(method, atoms) for each. Returns the exit status.
template <class Measure>
int MeasureMolecules(int nArguments, char** pArguments, Measure measure) {
    if (nArguments < 3 || nArguments % 2 == 0) {
        std::fprintf(stderr, "usage: %s METHOD FILE.xyz [METHOD FILE.xyz ...]\n", pArguments[0]);
        return 2;
    }
    for (int i = 1; i + 1 < nArguments; i += 2) {
        const int nMethod = MethodNamed(pArguments[i]);
        const std::vector<Place> places = ReadXyz(pArguments[i + 1]);
        if (nMethod == 0 || places.empty()) {
            std::fprintf(stderr, "cannot use method %s with %s\n", pArguments[i],
                         pArguments[i + 1]);
            return 2;
        }
        std::printf("%s %s: ", pArguments[i], pArguments[i + 1]);
        measure(nMethod, places);
    }
    return 0;
}

}  // namespace qsolve
