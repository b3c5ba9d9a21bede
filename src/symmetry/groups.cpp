#include "symmetry/groups.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <numbers>
#include <string_view>

#include "symmetry/operations.h"

namespace qsolve {
namespace {

struct GroupRow {
    const char* sName;
    int nNumber;
    const char* sOperations;
    const char* sTable[kMostSpecies + 1];  ///< line of classes, lines of species
};

constexpr GroupRow kGroupRows[] = {
#define GROUP(sName, nNumber, sOperations, ...) {sName, nNumber, sOperations, {__VA_ARGS__}},
#include "symmetry/groups.def"
#undef GROUP
};
static_assert(std::size(kGroupRows) == kGroups);

/// Takes the next word off a line; empty at its end.
std::string_view NextWord(std::string_view& sLine) {
    sLine.remove_prefix(std::min(sLine.find_first_not_of(' '), sLine.size()));
    const std::string_view sWord = sLine.substr(0, sLine.find(' '));
    sLine.remove_prefix(sWord.size());
    return sWord;
}

int OperationNamed(std::string_view sName) {
    int k = 0;
    while (k < kOperations && sName != OperationName(k)) ++k;
    return k;
}

/// A number below 10 is a character; above it stands 10 n + k for 2 cos(2 pi k / n).
double Decode(std::string_view sWord) {
    const int nCode = std::atoi(sWord.data());
    if (nCode < 10) return nCode;
    return 2.0 * std::cos(2.0 * std::numbers::pi * (nCode % 10) / (nCode / 10));
}

void DecodeSpecies(std::string_view sLine, Species& species) {
    const std::string_view sLabel = NextWord(sLine);
    std::memcpy(species.sLabel, sLabel.data(), std::min(sLabel.size(), sizeof species.sLabel));
    int nClass = 0;
    for (auto s = NextWord(sLine); !s.empty(); s = NextWord(sLine))
        species.dCharacter[nClass++] = Decode(s);
    species.nDegeneracy = static_cast<int>(species.dCharacter[0]);
}

}  // namespace

const char* GroupName(int nGroup) {
    return kGroupRows[nGroup].sName;
}

int SymmetryNumber(int nGroup) {
    return kGroupRows[nGroup].nNumber;
}

unsigned GroupMask(int nGroup) {
    unsigned nMask = 0;
    std::string_view sOperations = kGroupRows[nGroup].sOperations;
    for (auto s = NextWord(sOperations); !s.empty(); s = NextWord(sOperations))
        nMask |= 1u << (OperationNamed(s) - 1);
    return nMask;
}

int FindGroup(unsigned nMask) {
    for (int i = 0; i < kGroups; ++i)
        if (GroupMask(i) == nMask) return i;
    return -1;
}

void DecodeTable(int nGroup, CharacterTable& table) {
    table = CharacterTable{};
    const GroupRow& row = kGroupRows[nGroup];
    std::string_view sClasses = row.sTable[0];
    for (auto s = NextWord(sClasses); !s.empty(); s = NextWord(sClasses))
        table.nOperation[table.nClasses++] = OperationNamed(s);
    while (table.nSpecies < kMostSpecies && row.sTable[table.nSpecies + 1] != nullptr) {
        DecodeSpecies(row.sTable[table.nSpecies + 1], table.Rows[table.nSpecies]);
        ++table.nSpecies;
    }
}

}  // namespace qsolve
