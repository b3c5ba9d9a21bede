#pragma once

/// Lists over orbitals in lines of five columns. The first nFull orbitals, a multiple of five, fill
/// their lines; nRest more, 0 to 4, stand on a shorter last one.

namespace qsolve {

/// Columns of a full line.
constexpr int kListColumns = 5;

/// Symmetry and energy of each level: vEnergies in eV, sLabels the species (four characters, a NUL
/// only where shorter) and nLabels the number within the species. The short last line has its
/// symmetry only if symmetry.fOrbitalLabelsKnown; the full lines always have it.
void ReportEigenvalues(const float* vEnergies, const char (*sLabels)[4], const int* nLabels,
                       int nFull, int nRest);

/// Electrons in each atomic orbital, under the orbital's atom, label and element.
void ReportPopulations(const float* vPopulations, int nFull, int nRest);

/// The levels of the last SCF under their headings, then the populations under theirs; alpha and
/// beta in an unrestricted calculation.
void ReportLevels();
void ReportOrbitalPopulations();

}  // namespace qsolve
