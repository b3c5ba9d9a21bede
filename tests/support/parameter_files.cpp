#include "tests/support/parameter_files.h"

#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "job/state.h"
#include "setup/parameter_intake.h"
#include "setup/parameters.h"
#include "tests/support/scripted_client.h"
#include "tests/support/source_folder.h"

namespace qsolve {

namespace {

constexpr int kShortRows = 54;

std::vector<std::string> Words(const std::string& sLine) {
    std::istringstream stream(sLine);
    std::vector<std::string> words;
    for (std::string sWord; stream >> sWord;) words.push_back(sWord);
    return words;
}

std::vector<std::vector<std::string>> ReadLines(const std::string& sName) {
    std::ifstream file(SourcePath("parameters/" + sName));
    if (!file) throw std::runtime_error("cannot read " + sName);
    std::vector<std::vector<std::string>> lines;
    for (std::string sLine; std::getline(file, sLine);) {
        if (sLine.empty() || sLine[0] == '#') continue;
        lines.push_back(Words(sLine));
        if (lines.back().size() != lines.front().size())
            throw std::runtime_error(sName + ": " + sLine);
    }
    return lines;
}

void Append(std::vector<unsigned char>* pBlock, double d) {
    unsigned char bytes[sizeof d];
    std::memcpy(bytes, &d, sizeof d);
    pBlock->insert(pBlock->end(), bytes, bytes + sizeof d);
}

/// Appends the rows nFirst .. nFirst + nRows - 1 of a file, zeros for those that it has not.
void AppendRows(const ParameterFile& file, int nFirst, int nRows,
                std::vector<unsigned char>* pBlock) {
    const std::vector<double> zeros(file.Columns.size());
    for (int nRow = nFirst; nRow < nFirst + nRows; ++nRow) {
        const auto found = file.Rows.find(nRow);
        for (const double d : found == file.Rows.end() ? zeros : found->second) Append(pBlock, d);
    }
}

int CodeOf(const std::string& sSymbol) {
    const int nRow = RowOf(sSymbol);
    return nRow < kCappingOffset ? nRow + 1 : -(nRow - kCappingOffset + 1);
}

std::vector<MindoPairRecord> ReadPairs() {
    std::vector<MindoPairRecord> pairs;
    const auto lines = ReadLines("mindo3_3.abp");
    for (std::size_t i = 1; i < lines.size(); ++i)
        pairs.push_back({static_cast<double>(CodeOf(lines[i][0])),
                         static_cast<double>(CodeOf(lines[i][1])), std::stod(lines[i][2]),
                         std::stod(lines[i][3])});
    return pairs;
}

int Sections(int nMethod) {
    switch (nMethod) {
        case kMindo3:
        case kMndo:
        case kMndoD:
            return 2;
        case kZindoS:
            return 4;
        default:
            return 3;
    }
}

}  // namespace

int RowOf(const std::string& sSymbol) {
    const bool fCapping = sSymbol.starts_with('*');
    std::string sPadded = sSymbol.substr(fCapping ? 1 : 0);
    if (sPadded.size() == 1) sPadded.insert(sPadded.begin(), ' ');
    for (int i = 0; i < kCappingOffset; ++i)
        if (sPadded == kElementSymbol[i]) return fCapping ? kCappingOffset + i : i;
    throw std::invalid_argument("no element: " + sSymbol);
}

std::string MethodFileName(int nMethod) {
    constexpr const char* kNames[] = {"exhuckel", "cindo", "cindo",  "mindo3", "mndo",
                                      "am1",      "pm3",   "zindo1", "zindos", "mndod"};
    return kNames[nMethod];
}

ParameterFile ReadParameterFile(const std::string& sName) {
    const auto lines = ReadLines(sName);
    ParameterFile file;
    file.Columns.assign(lines.at(0).begin() + 1, lines[0].end());
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::vector<double>& row = file.Rows[RowOf(lines[i][0])];
        for (std::size_t k = 1; k < lines[i].size(); ++k) row.push_back(std::stod(lines[i][k]));
    }
    return file;
}

ParameterPackets BuildParameterPackets(int nMethod) {
    ParameterPackets packets;
    if (nMethod == kMindo3) packets.Pairs = ReadPairs();
    const std::string sMethod = MethodFileName(nMethod);
    if (FamilyOf(nMethod) == Family::kCndo) {
        const ParameterFile file = ReadParameterFile(sMethod + ".abp");
        AppendRows(file, 0, kShortRows, &packets.Block);
        AppendRows(file, kCappingOffset, kShortRows, &packets.Block);
        return packets;
    }
    for (int k = 1; k <= Sections(nMethod); ++k) {
        const ParameterFile file = ReadParameterFile(sMethod + "_" + std::to_string(k) + ".abp");
        if (FamilyOf(nMethod) == Family::kNddo) {
            AppendRows(file, 0, kRows, &packets.Block);
        } else {
            AppendRows(file, 0, kShortRows, &packets.Block);
            AppendRows(file, kCappingOffset, kShortRows, &packets.Block);
        }
    }
    return packets;
}

void PokeParameters(int nMethod) {
    const int nWordSize = 4;
    client.Poke(nWordSize);
    client.Poke(nMethod);
    if (nMethod == kExtendedHueckel) return;
    const ParameterPackets packets = BuildParameterPackets(nMethod);
    client.Poke(packets.Block.data(), packets.Block.size());
    if (nMethod != kMindo3) return;
    client.Poke(static_cast<int>(packets.Pairs.size()));
    if (packets.Pairs.empty()) return;
    client.Poke(packets.Pairs.data(), packets.Pairs.size() * sizeof(MindoPairRecord));
}

void LoadParameters(int nMethod) {
    parameters = ParameterState{};
    const ParameterPackets packets = BuildParameterPackets(nMethod);
    DecodeParameterBlock(nMethod, packets.Block.data(), &parameters);
    for (const MindoPairRecord& record : packets.Pairs)
        StoreMindoPair(record, parameters.pMindoPairs.Data());
    parameters.nParameterMethod = nMethod;
    parameters.fLoaded = true;
    system.MethodId = nMethod;
}

}  // namespace qsolve
