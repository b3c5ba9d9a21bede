#pragma once

#include "symmetry/state.h"

namespace qsolve {

/// Labels of n levels or modes that nobody has classified: "  ?" and the numbers from 1.
void SetDefaultLabels(int n, char (*sLabels)[4], int* vNumbers);

/// Gives each of n levels or modes its species and the running number within it. Row k of
/// mCharacters, n x table.nClasses, holds the characters of the k-th, in ascending order of energy
/// or frequency. The members of a degenerate set, whose characters add up to those of the species,
/// share its label and one number; others may stand between them, where an open shell or a slight
/// distortion has split the set. Whether all have been labelled; those that have not keep what
/// sLabels and vNumbers hold.
bool AssignSpecies(const CharacterTable& table, int n, const double* mCharacters,
                   char (*sLabels)[4], int* vNumbers);

}  // namespace qsolve
