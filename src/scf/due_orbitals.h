#pragma once

/// Orbitals that are solved for when something reads them: many a job asks for levels alone, and
/// most steps of a search for neither.

namespace qsolve {

struct Electrons;

/// Levels of the present Fock matrices, which stay; their orbitals are due from then on. False,
/// with nothing done, where the densities are not those of the lowest levels. Yields.
bool TakeLevels(Electrons& electrons);

/// Solves for the orbitals of the last SCF where they are due: to be called before scf.mVectorsA or
/// mVectorsB are read after an SCF, by plots too. Yields.
void SolveDueOrbitals();

}  // namespace qsolve
