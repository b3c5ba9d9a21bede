#pragma once

#include "symmetry/state.h"

/// The 43 point groups that are told apart, and their character tables.

namespace qsolve {

constexpr int kGroups = 43;

/// Name of a group, three characters at most; nGroup from 0 in the order of groups.def.
const char* GroupName(int nGroup);

/// Its symmetry number: rotations that bring the molecule into coincidence with itself.
int SymmetryNumber(int nGroup);

/// Its mask: the sum of 2^(k-1) over the operations k that are present in its frame.
unsigned GroupMask(int nGroup);

/// The group whose mask this is; -1 where there is none.
int FindGroup(unsigned nMask);

/// Fills table with the decoded character table of a group.
void DecodeTable(int nGroup, CharacterTable& table);

}  // namespace qsolve
