#pragma once

#include <map>
#include <string>
#include <vector>

#include "link/packets.h"

/// The product's parameter tables as a client reads and sends them.

namespace qsolve {

/// One file of parameters/: lines that begin with '#' are comments, the first other line names the
/// columns, and each further line holds an element's symbol, with '*' for a capping atom, and its
/// numbers.
struct ParameterFile {
    std::vector<std::string> Columns;         ///< without that of the symbol
    std::map<int, std::vector<double>> Rows;  ///< by 0-based row
};

/// What a client sends for one method after the word size and the method.
struct ParameterPackets {
    std::vector<unsigned char> Block;
    std::vector<MindoPairRecord> Pairs;  ///< MINDO/3 only
};

/// Row (0-based) of "C" or "*C"; throws std::invalid_argument for what is no element.
int RowOf(const std::string& sSymbol);

/// Name of a method's files in parameters/, without "_1.abp" and so on.
std::string MethodFileName(int nMethod);

/// Reads parameters/sName; throws std::runtime_error for a file or line that cannot be read.
ParameterFile ReadParameterFile(const std::string& sName);

/// Builds the packets of a method from its files.
ParameterPackets BuildParameterPackets(int nMethod);

/// Puts the packets of a method's intake into the scripted client: word size, method, block, pairs.
void PokeParameters(int nMethod);

/// Fills `parameters` with the tables of a method as the intake of a session leaves them, and sets
/// system.MethodId.
void LoadParameters(int nMethod);

}  // namespace qsolve
