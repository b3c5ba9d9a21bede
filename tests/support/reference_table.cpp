#include "tests/support/reference_table.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/support/parameter_files.h"
#include "tests/support/source_folder.h"

namespace qsolve {

namespace {

/// The lines of a table that hold something.
std::vector<std::string> LinesOf(const std::string& sFile) {
    std::ifstream in(SourcePath("tests/reference/" + sFile));
    if (!in) throw std::runtime_error("no table " + sFile);
    std::vector<std::string> lines;
    for (std::string sLine; std::getline(in, sLine);)
        if (!sLine.empty() && sLine[0] != '#') lines.push_back(sLine);
    return lines;
}

void AppendNumbers(std::istringstream& words, std::vector<double>& v) {
    for (double d; words >> d;) v.push_back(d);
    if (!words.eof()) throw std::runtime_error("not a number: " + words.str());
}

}  // namespace

std::vector<ReferenceMolecule> ReadReferenceMolecules(const std::string& sFile) {
    std::vector<ReferenceMolecule> molecules;
    for (const std::string& sLine : LinesOf(sFile)) {
        std::istringstream words(sLine);
        std::string sFirst;
        words >> sFirst;
        if (sFirst == "molecule") {
            ReferenceMolecule m;
            std::string sSpin;
            words >> m.sName >> m.nCharge >> m.nMultiplicity >> sSpin;
            m.fUnrestricted = sSpin == "UHF";
            molecules.push_back(m);
            continue;
        }
        molecules.back().Elements.push_back(RowOf(sFirst) + 1);
        AppendNumbers(words, molecules.back().Coordinates);
    }
    return molecules;
}

std::map<std::string, ReferenceRows> ReadReferenceValues(const std::string& sFile) {
    std::map<std::string, ReferenceRows> table;
    ReferenceRows* pMolecule = nullptr;
    std::vector<double>* pRow = nullptr;
    for (const std::string& sLine : LinesOf(sFile)) {
        std::istringstream words(sLine);
        std::string sFirst;
        if (sLine[0] != ' ') words >> sFirst;
        if (sFirst == "molecule") {
            words >> sFirst;
            pMolecule = &table[sFirst];
            continue;
        }
        if (!pMolecule || (sFirst.empty() && !pRow)) throw std::runtime_error("astray: " + sLine);
        if (!sFirst.empty()) pRow = &(*pMolecule)[sFirst];
        AppendNumbers(words, *pRow);
    }
    return table;
}

std::vector<ReferenceRow> ReadReferenceRows(const std::string& sFile) {
    std::vector<ReferenceRow> rows;
    for (const std::string& sLine : LinesOf(sFile)) {
        std::istringstream words(sLine);
        ReferenceRow& row = rows.emplace_back();
        words >> row.sName;
        AppendNumbers(words, row.Values);
    }
    return rows;
}

JobScript SinglePointOf(const ReferenceMolecule& molecule, int nMethod) {
    JobScript script = Water(nMethod);
    script.Atoms.clear();
    for (std::size_t i = 0; i < molecule.Elements.size(); ++i) {
        const double* p = &molecule.Coordinates[3 * i];
        script.Add(molecule.Elements[i], static_cast<float>(p[0]), static_cast<float>(p[1]),
                   static_cast<float>(p[2]));
    }
    script.Options.nTotalCharge = molecule.nCharge;
    script.Options.nMultiplicity = molecule.nMultiplicity;
    script.Options.nSpinTreatment = molecule.fUnrestricted ? 1 : 0;
    return script;
}

}  // namespace qsolve
