#include "tests/support/ci_reference.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/support/source_folder.h"

namespace qsolve {
namespace {

/// Reads one line into the windows; a window takes the molecule before it.
bool ReadLine(std::istringstream& line, const std::string& sKey, ReferenceWindow& molecule,
              std::vector<ReferenceWindow>& all) {
    if (sKey == "molecule") {
        molecule = ReferenceWindow{};
        line >> molecule.sName >> molecule.nMethod >> molecule.nMultiplicity;
        if (!line) return false;
        if (!(line >> molecule.nNextLowest)) molecule.nNextLowest = 0;
        return true;
    }
    if (sKey == "atom") {
        Place p{};
        line >> p.nElement >> p.x >> p.y >> p.z;
        molecule.Places.push_back(p);
        return !line.fail();
    }
    if (sKey == "window") {
        all.push_back(molecule);
        line >> all.back().nOccupied >> all.back().nUnoccupied;
        return !line.fail();
    }
    if (all.empty()) return false;
    ReferenceWindow& window = all.back();
    if (sKey == "heat") return static_cast<bool>(line >> window.dHeat);
    if (sKey == "occupation") return static_cast<bool>(line >> window.Occupations.emplace_back());
    ReferenceState state;
    if (!(line >> state.dSpin >> state.dEnergy)) return false;
    line >> state.dOscillator >> state.dDipole;
    if (sKey == "state") window.States.push_back(state);
    if (sKey == "peer") window.Peers.push_back(state);
    return sKey == "state" || sKey == "peer";
}

}  // namespace

std::vector<ReferenceWindow> ReadCiReference(const std::string& sFile) {
    std::ifstream file(SourcePath("tests/reference/" + sFile));
    if (!file) throw std::runtime_error("no reference values: " + sFile);
    ReferenceWindow molecule;
    std::vector<ReferenceWindow> all;
    for (std::string sLine, sKey; std::getline(file, sLine);) {
        std::istringstream line(sLine);
        if (!(line >> sKey) || sKey[0] == '#') continue;
        if (!ReadLine(line, sKey, molecule, all))
            throw std::runtime_error(sFile + ", not understood: " + sLine);
    }
    return all;
}

JobScript ScriptOf(const ReferenceWindow& window) {
    JobScript script = Molecule(window.nMethod, window.Places);
    script.Options.flConvergenceLimit = 1e-9F;
    script.Options.nIterationLimit = 300;
    script.Options.nMultiplicity = window.nMultiplicity;
    script.Options.fNextLowestState = window.nNextLowest;
    script.Options.flOverlapSigma = 1.267F;
    script.Options.flOverlapPi = 0.585F;
    return script;
}

}  // namespace qsolve
