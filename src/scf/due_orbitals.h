#pragma once

/// Orbitals that are solved for when something reads them: many a job asks for levels alone, and
/// most steps of a search for neither.

namespace qsolve {

struct Electrons;
struct ScfRun;

/// What is taken of the present Fock matrices: levels, whose orbitals are due from then on; or
/// both, where something will read the orbitals soon.
enum class Wanted { kLevels, kOrbitals };

/// What the end of an SCF reads: orbitals where it tells of their species, and those are of a group
/// that holds more than the identity. The group is found then. Yields.
Wanted WantedAtTheEnd(ScfRun& run);

/// Takes what is wanted of the present Fock matrices, which stay. False where the densities are not
/// those of the lowest levels; all is to be solved for again then. Yields.
bool TakeLevels(Electrons& electrons, Wanted wanted);

/// Solves for the orbitals of the last SCF where they are due: to be called before scf.mVectorsA or
/// mVectorsB are read after an SCF, by plots too. Yields.
void SolveDueOrbitals();

}  // namespace qsolve
