#pragma once

#include "symmetry/state.h"

namespace qsolve {

/// Where the orbitals of an atom stand among those of the calculation, by position.
AtomRange OrbitalRangeOf(int nPosition);

/// The point group of the atoms of the calculation at system.pCoords, with `symmetry` anew but for
/// species. A single atom has no group. Yields. Fatal with kMsgOutOfMemory.
void FindSymmetry();

/// Whether the species in that group are to be told from the orbitals: where all operations leave
/// everything in its place they are all the same.
bool NeedsOrbitals();

/// The species of the orbitals in that group, as ReportSymmetry fills them; mVectors is read only
/// where NeedsOrbitals.
void LabelOrbitals(const double* mVectors);

/// The point group of the atoms of the calculation at system.pCoords and, with fDoOrbitals or
/// fDoModes, the species of orbitals or modes, which are the rows of mVectors.
///
/// Orbitals: nOrbitals x nOrbitals, in any order, of which results.Orbitals.vOrbitalOrder makes the
/// ascending one. What has no species keeps "  ?" and its number. Modes: those of results.Modes, in
/// the order of its records; with capping atoms none of them has a species. Translations and
/// rotations get an empty label and numbers from 1.
///
/// Fills `symmetry` and the labels of the results. A single atom has no group. Yields. Fatal with
/// kMsgOutOfMemory where there is no memory.
void ReportSymmetry(bool fDoPointGroup, bool fDoOrbitals, bool fDoModes, const double* mVectors);

}  // namespace qsolve
